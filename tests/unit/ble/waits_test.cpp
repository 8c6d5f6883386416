// SPDX-License-Identifier: Apache-2.0
/* Which waits a command or an attach event may cut short, and which it must not. */
#include "ble/beacon.h"
#include "ble/task.h"
#include "daemon/event_loop.h"
#include "hci/qualcomm_commands.h"
#include "hci/ti_commands.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <csignal>
#include <filesystem>
#include <fstream>

class Waits : public DaemonTest
{
      protected:
	struct wait {
		unsigned microseconds;
		bool holds_commands; /* blocks SIGUSR1 and SIGUSR2 */
		bool holds_the_end;  /* blocks SIGINT or SIGTERM */

		bool operator==(const wait &) const = default;
	};

	/* The waits of an action; checks that no signal is blocked after it. */
	template <typename Action> std::vector<wait> waits_of(Action action)
	{
		std::vector<wait> waits;

		fake_during_sleep = [&] {
			waits.push_back({ fake_sleeps.back(), holds(SIGUSR1) && holds(SIGUSR2),
					  holds(SIGINT) || holds(SIGTERM) });
			flag_daemon_quit = 1;
		};
		stderr_of(action);
		EXPECT_FALSE(holds(SIGUSR1) || holds(SIGUSR2));
		return waits;
	}

	void enable_two()
	{
		write_field(ble_config->interval, "250");
		for (const size_t i : { size_t{ 0 }, size_t{ 4 } }) {
			write_field(ble_config->beacon[i].enable, "1");
			write_field(ble_config->beacon[i].uuid, std::string(32, 'A'));
		}
	}

	using wait_list = std::vector<wait>;

      private:
	static bool holds(int signo)
	{
		sigset_t held;

		sigprocmask(SIG_BLOCK, nullptr, &held);
		return sigismember(&held, signo) == 1;
	}
};

TEST_F(Waits, TheOneAfterAResetIsWhole)
{
	fake_answers("04 FF 05 1D 04 00 1D FC");
	EXPECT_EQ(waits_of([] { _hci_func_ext_reset_system_cmd_ti_06(0); }),
		  (wait_list{ { 100000, true, false } }));
	fake_answers("04 FF 05 1D 04 00 1D FC");
	EXPECT_EQ(waits_of([] { _hci_func_ext_reset_system_cmd_ti_08(0); }),
		  (wait_list{ { 100000, true, false } }));
}

TEST_F(Waits, TheOneAfterAPatchIsWhole)
{
	const auto before = std::filesystem::current_path();

	std::filesystem::current_path(folder);
	std::ofstream("mpnv10.bin") << "\x02";
	fake_answers("04 0E 05 01 00 FC 00 1E");
	EXPECT_EQ(waits_of([] { _hci_func_download_patch_file_qualcomm(); }),
		  (wait_list{ { 1500000, true, false } }));
	std::filesystem::current_path(before);
}

TEST_F(Waits, TheOneBetweenStopAndStartIsWhole)
{
	hci_ver_index = 2;
	fake_answers("04 0E 04 01 0A 20 00 04 0E 04 01 0A 20 00");
	EXPECT_EQ(waits_of([] { do_ble_task(ACTION_RESTART); }),
		  (wait_list{ { 100000, true, false } }));
}

TEST_F(Waits, ABeaconsTurnAndTheLoopsSleepAreCutShort)
{
	hci_ver_index = 2;
	enable_two();
	for (int i = 0; i < 5; i++)
		fake_answers("04 0E 04 01 0A 20 00");
	EXPECT_EQ(waits_of([] { do_beacon_advertising(ACTION_START); }),
		  (wait_list{ { 250000, false, false } }));
	flag_daemon_quit = 0;
	EXPECT_EQ(waits_of([] { run_daemon_task(); }), (wait_list{ { 100000, false, false } }));
}
