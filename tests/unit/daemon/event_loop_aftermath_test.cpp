// SPDX-License-Identifier: Apache-2.0
/* Several rounds of the loop: the effect of a pending task on the next event. */
#include "tests/unit/daemon/event_loop_fixture.h"
#include "tests/unit/fakes/fake_pty_controller.h"

#define OFF      "01 0A 20 01 00"
#define ON       "01 0A 20 01 01"
#define OK       "04 0E 04 01 0A 20 00 "
#define REFUSED  "04 0E 04 01 0A 20 0C "
#define TEST_END "04 0E 06 01 1F 20 00 01 00 "

using strings = std::vector<std::string>;

/* A Qualcomm controller: one event answers each command. */
class Aftermath : public EventLoop
{
      protected:
	void SetUp() override
	{
		EventLoop::SetUp();
		hci_ver_index = 2;
		fake_ac_result = 1;
		write_field(ble_config->mac, "NONE");
		write_field(ble_config->power_index, "max");
	}

	void TearDown() override
	{
		tty_deinit(); /* before the pty closes */
		EventLoop::TearDown();
	}

	/* In the n-th sleep a client writes this command. */
	void say_in_sleep(size_t n, const strings &words)
	{
		in_sleep[n] = [words] {
			client_says(words);
			ble_ipc.buf->cmd_doing = 1;
			flag_cmd_change = 1;
		};
	}

	/* The commands sent, without the parameters of advertising data. */
	static strings commands()
	{
		std::string heard = fake_heard();
		strings list;

		while (heard.size() >= 11) {
			const size_t params = std::stoul(heard.substr(9, 2), nullptr, 16);
			const size_t size = 3 * (4 + params);
			const std::string packet = heard.substr(0, size - 1);
			list.push_back(packet.starts_with("01 08 20") ? "data" : packet);
			heard.erase(0, size);
		}
		return list;
	}
};

/* A TI controller that answers all commands of a start-up and of a single beacon. */
static const std::map<std::string, std::string> ti_06 = {
	{ "01 01 10", "04 0E 0C 01 01 10 00 06 01 00 00 0D 00 00 02" },
	{ "01 1B FC", "04 FF 09 1B 04 00 1B FC 01 02 03 04" },
	{ "01 1D FC", "04 FF 05 1D 04 00 1D FC" },
	{ "01 30 FE", "04 FF 06 7F 06 00 30 FE 00" },
	{ "01 01 FC", "04 FF 05 01 04 00 01 FC" },
	{ "01 00 FE", "04 FF 06 7F 06 00 00 FE 00 04 FF 03 00 06 00" },
	{ "01 06 FE", "04 FF 06 7F 06 00 06 FE 00 04 FF 03 03 06 00" },
	{ "01 07 FE", "04 FF 06 7F 06 00 07 FE 00 04 FF 04 02 06 00 01" },
	{ "01 08 FE", "04 FF 06 7F 06 12 08 FE 00" },
};

TEST_F(Aftermath, AStartWaitsForAControllerAndRunsInTheRoundThatBringsOne)
{
	PtyController controller(ti_06);
	fake_unplug();
	ble_config->opt.status = 0;
	enable_entry(0);
	say_in_sleep(1, { "ibeacon", "start" });
	in_sleep[3] = [&] {
		EXPECT_EQ(ble_config->opt.action, 2U);
		EXPECT_EQ(ble_config->opt.status, 0U);
		fake_file("/dev/ttyMSM1", controller.path);
		flag_uevent_change = 1;
	};
	last_sleep = 6; /* 4: after the reset, 5: the dwell */
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(fake_sleeps.size(), 6U);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(ble_config->opt.action, 2U);
	EXPECT_EQ(fake_reports, 3) << "the loop's start, the command, the beacon";
	EXPECT_EQ(fake_event_log,
		  strings{ "67 5 67 0 0 0 0 \"\" \"BLE device has been connected.\"" });
	EXPECT_EQ(controller.heard().back().substr(0, 11), "01 06 FE 0A");
}

TEST_F(Aftermath, AFailedStartIsRepeatedByTheResetThatBringsTheControllerBack)
{
	PtyController controller(ti_06);
	fake_file("/dev/ttyMSM1", controller.path);
	enable_entry(0);
	fake_answers(REFUSED);
	say_in_sleep(1, { "ibeacon", "start" });
	say_in_sleep(2, { "config", "ble-reset", "soft" });
	last_sleep = 5;
	EXPECT_EQ(run_loop(), "WARNING: do_beacon_advertising(ACTION_START) failed!!\n"
			      "WARNING: do_ble_task() failed!!\n");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(ble_config->opt.action, 2U);
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
}

TEST_F(Aftermath, EveryCommandDuringARotationStartsItAgain)
{
	enable_entry(0);
	enable_entry(3);
	fake_answers(OK OK OK OK OK "04 0E 0A 01 09 10 00 66 55 44 33 22 11 " OK OK OK OK OK);
	say_in_sleep(1, { "ibeacon", "start" });
	say_in_sleep(3, { "show", "mac" });
	last_sleep = 6;
	EXPECT_EQ(run_loop(), "BLE MAC Address: 112233445566\n");
	EXPECT_EQ(commands(), (strings{ OFF, "data", ON, "data", OFF, "01 09 10 00", OFF, "data",
					ON, "data", OFF }));
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
	EXPECT_EQ(fake_reports, 3) << "the loop's start, and each rotation";
}

TEST_F(Aftermath, AnUnknownTaskDuringARotationLeavesItOffThoughTheStatusStays)
{
	enable_entry(0);
	enable_entry(3);
	fake_answers(OK OK OK OK OK);
	say_in_sleep(1, { "ibeacon", "start" });
	say_in_sleep(3, { "ibeacon", "bogus" });
	last_sleep = 5;
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(commands(), (strings{ OFF, "data", ON, "data", OFF }));
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(ble_config->opt.action, 0U);
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
}

TEST_F(Aftermath, ASingleBeaconStaysOnTheAirWhenTheDaemonQuits)
{
	enable_entry(2);
	fake_answers(OK OK OK);
	say_in_sleep(1, { "ibeacon", "start" });
	last_sleep = 3;
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(commands(), (strings{ OFF, "data", ON }));
}

TEST_F(Aftermath, AStartWithoutEntriesLeavesOneStopForTheNextEvent)
{
	fake_answers(OK OK);
	say_in_sleep(1, { "ibeacon", "start" });
	in_sleep[3] = [] { EXPECT_EQ(ble_config->opt.action, 1U) << "no event, so it waits"; };
	say_in_sleep(4, { "hcicmd" });
	last_sleep = 6;
	EXPECT_EQ(run_loop(), "Not implemented yet\n");
	EXPECT_EQ(commands(), (strings{ OFF, OFF }));
	EXPECT_EQ(ble_config->opt.action, 0U);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
}

TEST_F(Aftermath, APendingStartEndsATestInTheRoundThatStartsIt)
{
	enable_entry(0);
	ble_config->opt.action = 2;
	fake_answers("04 0E 04 01 1D 20 00 " TEST_END);
	say_in_sleep(1, { "config", "le-receiver-test", "7" });
	EXPECT_EQ(run_loop(), "Num of packets: 1\n"
			      "WARNING: do_beacon_advertising(ACTION_START) failed!!\n"
			      "WARNING: do_ble_task() failed!!\n");
	EXPECT_EQ(commands(), (strings{ "01 1D 20 01 07", "01 1F 20 00" }));
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_UNCONFIRMED);
	EXPECT_EQ(ble_config->opt.action, 2U);
}

TEST_F(Aftermath, APendingTestStatusComesBackAfterTheTestsEnd)
{
	ble_config->opt.action = 4;
	ble_config->opt.status = BLE_STATUS_TESTING;
	fake_answers(TEST_END);
	say_in_sleep(1, { "config", "le-test-end" });
	EXPECT_EQ(run_loop(), "Num of packets: 1\n");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_TESTING);
	EXPECT_EQ(ble_config->opt.action, 4U);
}

TEST_F(Aftermath, EntriesSwitchedOffDuringARotationCountAtItsEnd)
{
	enable_entry(0);
	enable_entry(3);
	fake_answers(OK OK OK OK);
	say_in_sleep(1, { "ibeacon", "start" });
	in_sleep[2] = [] {
		write_field(ble_config->beacon[0].enable, "0");
		write_field(ble_config->beacon[3].enable, "0");
		flag_daemon_quit = 1;
	};
	in_sleep[3] = [] { EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE); };
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(fake_sleeps.size(), 3U);
	EXPECT_EQ(ble_config->opt.action, 2U);
	EXPECT_EQ(fake_reports, 3) << "the loop's start, the rotation, and the round";
}

TEST_F(Aftermath, AnEventThatComesWhileOneIsHandledCountsForTheNextRound)
{
	PtyController controller(ti_06);
	fake_file("/dev/ttyMSM1", controller.path);
	in_sleep[1] = [] { flag_uevent_change = 1; };
	in_sleep[2] = [] { flag_uevent_change = 1; }; /* the wait after the reset */
	last_sleep = 6;
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(fake_event_log.size(), 2U);
	EXPECT_EQ(flag_uevent_change, 0);
}

TEST_F(Aftermath, ACommandThatComesWhileOneIsCarriedOutIsNotLost)
{
	PtyController controller(ti_06);
	fake_file("/dev/ttyMSM1", controller.path);
	say_in_sleep(1, { "config", "ble-reset", "hard" });
	say_in_sleep(2, { "show", "version" }); /* the wait after the reset */
	last_sleep = 4;
	EXPECT_EQ(run_loop(), "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(flag_cmd_change, 0);
	EXPECT_EQ(fake_reports, 3);
}

TEST_F(Aftermath, ARoundReportsBeforeItClearsTheHandShake)
{
	std::vector<uint32_t> doing;
	fake_during_report = [&] { doing.emplace_back(ble_ipc.buf->cmd_doing); };
	ble_ipc.buf->cmd_doing = 5;
	say_in_sleep(1, { "hcicmd" });
	run_loop();
	EXPECT_EQ(doing, (std::vector<uint32_t>{ 0, 1 })) << "the loop's start clears it first";
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
}

TEST_F(Aftermath, BeaconsClearTheHandShakeBeforeTheyReport)
{
	std::vector<uint32_t> doing, status;
	fake_during_report = [&] {
		doing.emplace_back(ble_ipc.buf->cmd_doing);
		status.emplace_back(ble_config->opt.status);
	};
	enable_entry(0);
	fake_answers(OK OK OK);
	say_in_sleep(1, { "ibeacon", "start" });
	run_loop();
	EXPECT_EQ(doing, (std::vector<uint32_t>{ 0, 0 }));
	EXPECT_EQ(status, (std::vector<uint32_t>{ 2, 3 }));
}

/* A task during a production test, and a failure without an active beacon. */
static const struct {
	const char *name;
	int32_t index;
	uint32_t status, action;
	const char *answers;
	strings sent;
	uint32_t status_after, action_after;
	const char *printed;
} rows[] = {
	{ "a stop on TI ends the test and counts as done",
	  1,
	  5,
	  1,
	  TEST_END,
	  { "01 1F 20 00" },
	  2,
	  0,
	  "Num of packets: 1\n" },
	{ "a stop on Qualcomm ends the test and fails",
	  2,
	  5,
	  1,
	  TEST_END,
	  { "01 1F 20 00" },
	  1,
	  0,
	  "Num of packets: 1\n"
	  "WARNING: do_beacon_advertising(ACTION_STOP) failed!!\n"
	  "WARNING: do_ble_task() failed!!\n" },
	{ "a restart on Qualcomm ends the test and fails twice",
	  2,
	  5,
	  3,
	  TEST_END,
	  { "01 1F 20 00" },
	  1,
	  1,
	  "Num of packets: 1\n"
	  "WARNING: do_beacon_advertising(ACTION_STOP) failed!!\n"
	  "WARNING: do_beacon_advertising(ACTION_START) failed!!\n"
	  "WARNING: do_ble_task() failed!!\n" },
	{ "a refused start without entries leaves a stop",
	  2,
	  2,
	  2,
	  REFUSED,
	  { OFF },
	  1,
	  1,
	  "WARNING: do_beacon_advertising(ACTION_START) failed!!\n"
	  "WARNING: do_ble_task() failed!!\n" },
	{ "a restart without entries switches off twice", 2, 3, 3, OK OK, { OFF, OFF }, 2, 1, "" },
};

TEST_F(Aftermath, ATaskWithoutEntriesLeavesWhatTheTableSays)
{
	for (const auto &row : rows) {
		SCOPED_TRACE(row.name);
		fake_sleeps.clear();
		fake_reports = 0;
		flag_daemon_quit = 0;
		hci_ver_index = row.index;
		ble_config->opt.status = row.status;
		ble_config->opt.action = row.action;
		fake_answers(row.answers);
		say_in_sleep(1, { "show", "none" });
		EXPECT_EQ(run_loop(), row.printed);
		EXPECT_EQ(commands(), row.sent);
		EXPECT_EQ(ble_config->opt.status, row.status_after);
		EXPECT_EQ(ble_config->opt.action, row.action_after);
		EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
		EXPECT_EQ(fake_reports, 2);
		EXPECT_EQ(fake_unread(), 0U);
	}
}
