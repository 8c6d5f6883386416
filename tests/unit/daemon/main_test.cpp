// SPDX-License-Identifier: Apache-2.0
/* Start and stop in main: their order, their messages, and what each failure undoes. */
#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"
#include "tests/unit/fakes/fake_pty_controller.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

/* The daemon's main, renamed. */
int daemon_main(int argc, char **argv);
#define main daemon_main
#include "daemon/main.cpp"
#undef main

static int refused_signal; /* signal() fails for it; 0: for none */
static std::vector<int> caught_signals;

/* Used instead of the C library's; does the same, and records. */
extern "C" sighandler_t signal(int signo, sighandler_t handler) noexcept
{
	struct sigaction action = {};
	struct sigaction before = {};

	if (signo == refused_signal)
		return SIG_ERR;
	if (handler != SIG_DFL)
		caught_signals.push_back(signo);
	action.sa_handler = handler;
	action.sa_flags = SA_RESTART;
	return sigaction(signo, &action, &before) == 0 ? before.sa_handler : SIG_ERR;
}

class Main : public DaemonTest
{
      protected:
	void SetUp() override
	{
		if (!has_own_ipc_objects())
			GTEST_SKIP() << "no IPC namespace of its own to be had here";
		DaemonTest::SetUp();
		fake_unplug();
		ble_ipc = {};
		ble_config = nullptr;
		refused_signal = 0;
		caught_signals.clear();
		path_before = getenv("PATH");
		setenv("PATH", (folder + ":" + path_before).c_str(), 1);
		pidof_prints(std::to_string(getpid()));
		fake_during_sleep = [] { raise(SIGTERM); };
	}

	void TearDown() override
	{
		if (path_before.empty())
			return; /* skipped */
		for (const int signo : { SIGINT, SIGTERM, SIGUSR1, SIGUSR2, SIGPIPE })
			signal(signo, SIG_DFL);
		setenv("PATH", path_before.c_str(), 1);
		DaemonTest::TearDown();
	}

	void pidof_prints(const std::string &text)
	{
		const std::string path = folder + "/pidof";
		std::ofstream(path) << "#!/bin/sh\necho '" << text << "'\n";
		std::filesystem::permissions(path, std::filesystem::perms::owner_all);
	}

	/* Run it: what it prints; keeps its result. */
	std::string run()
	{
		char name[] = "vorlind";
		char *words[] = { name, nullptr };
		return stderr_of([&] { result = daemon_main(1, words); });
	}

	/* The traces without the numbers that differ from run to run. */
	std::string traced()
	{
		const std::string text = replaced(console(), "(^|\n)daemon_main\\(", "$1main(");
		return without_lines(replaced(text, "(id=|0x)[0-9a-f]+", "$1X"));
	}

	static void expect_nothing_left()
	{
		EXPECT_LT(semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0), 0);
		EXPECT_LT(shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0), 0);
	}

	int result = 77;

      private:
	std::string path_before;
};

static const char no_mrd[] = "Open /proc/MRD failed.\n";

TEST_F(Main, StartsWaitsAndStopsWithStatus0)
{
	EXPECT_EQ(run(), std::string("Start vorlind daemon...\n") + no_mrd);
	EXPECT_EQ(result, 0);
	EXPECT_EQ(fake_sleeps, std::vector<unsigned>{ 100000 });
	EXPECT_EQ(caught_signals, (std::vector<int>{ SIGINT, SIGTERM, SIGUSR1, SIGUSR2, SIGPIPE }));
	expect_nothing_left();
}

TEST_F(Main, BothQuitSignalsEndIt)
{
	for (const int signo : { SIGINT, SIGTERM }) {
		flag_daemon_quit = 0;
		fake_during_sleep = [&] { raise(signo); };
		run();
		EXPECT_EQ(result, 0);
	}
}

TEST_F(Main, TracesTheSegmentAndWhatItUndoes)
{
	dbg_level = TRACE_IPC;
	run();
	EXPECT_EQ(traced(), "ipc_init(N) Start...\n"
			    "bleipc_semget(N) buffer=0xX, key=0xX, val=1, option=1\n"
			    "bleipc_semget(N) bleipc_errno=0\n"
			    "bleipc_shmget(N) bleipc_errno=0, shmid=X\n"
			    "main(N) ble_ipc.shm.id=X\n"
			    "main(N) run_daemon_task()\n"
			    "main(N) flag_tty_is_init=1\n"
			    "main(N) flag_ipc_is_init=1\n"
			    "ipc_deinit(N) Start...\n"
			    "bleipc_semctl(N) bleipc_errno=0\n");
}

TEST_F(Main, TracesItsWay)
{
	static const char *const way[] = {
		"main(N) ble_data_init()\nble_data_init(N) Start...\n",
		"ble_data_init(N) Got BLE MAC from MRD: \n",
		"main(N) ble_chip_init()\nble_chip_init(N) action=2\n",
		"run_daemon_task(N) Start...\n",
		"signal_daemon_quit(N) Received signo=15",
		"main(N) flag_daemon_quit=1\ntty_deinit(N) ble_config->opt.status=0\n",
		"main(N) vorlind is terminated normally.\n",
	};

	dbg_level = TRACE_FLOW;
	run();
	const std::string text = traced();
	size_t at = 0;
	for (const char *step : way) {
		at = text.find(step, at);
		ASSERT_NE(at, std::string::npos) << step << "\nin\n" << text;
	}
	EXPECT_EQ(text.substr(at), way[std::size(way) - 1]) << "the last trace of all";
}

TEST_F(Main, WithAControllerItIsUpBeforeTheLoop)
{
	PtyController controller({
		{ "01 01 10", "04 0E 0C 01 01 10 00 08 01 00 00 0D 00 00 02" },
		{ "01 1B FC", "04 FF 09 1B 04 00 1B FC 01 02 03 04" },
		{ "01 30 FE", "04 FF 06 7F 06 00 30 FE 00" },
		{ "01 01 FC", "04 FF 05 01 04 00 01 FC" },
		{ "01 0C FC", "04 FF 05 0C 04 00 0C FC" },
	});
	const std::string mrd = folder + "/mrd";
	std::ofstream(mrd, std::ios::binary) << std::string(232, 'x') << "\x10\x32\x54\x76\x98\x01";
	fake_file("/proc/MRD", mrd);
	fake_file("/dev/ttyMSM1", controller.path);
	fake_during_sleep = [] {
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
		EXPECT_STREQ(ble_config->mac, "103254769806");
		EXPECT_STREQ(ble_config->beacon[4].mac, "103254769806");
		EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
		EXPECT_GT(ble_fd, 0);
		raise(SIGTERM);
	};
	EXPECT_EQ(run(), "Start vorlind daemon...\n");
	EXPECT_EQ(controller.heard().back(), "01 0C FC 06 06 98 76 54 32 10");
	EXPECT_EQ(ble_fd, -1) << "closed at the end";
}

TEST_F(Main, AQuitSignalDuringTheStartIsActedOnWhenTheLoopBegins)
{
	PtyController controller({
		{ "01 01 10", "04 0E 0C 01 01 10 00 06 01 00 00 0D 00 00 02" },
		{ "01 1B FC", "04 FF 09 1B 04 00 1B FC 01 02 03 04" },
		{ "01 1D FC", "04 FF 05 1D 04 01 1D FC" },
	});
	fake_file("/dev/ttyMSM1", controller.path);
	EXPECT_EQ(run(), std::string("Start vorlind daemon...\n") + no_mrd +
				 "WARNING: func_reset_system_cmd() failed.\n");
	EXPECT_EQ(result, 0);
	EXPECT_EQ(fake_sleeps, std::vector<unsigned>{ 100000 }) << "the reset's alone";
	EXPECT_EQ(fake_report_attempts, 1) << "the loop begins all the same";
}

TEST_F(Main, AnotherDaemonIsLeftUntouched)
{
	pidof_prints("1 " + std::to_string(getpid()));
	dbg_level = TRACE_IPC;
	EXPECT_EQ(run(), "vorlind has exist\n"
			 "vorlind exits with errors (-1).\n");
	EXPECT_EQ(result, -1);
	EXPECT_EQ(traced(), "main(N) flag_tty_is_init=0\n"
			    "main(N) flag_ipc_is_init=0\n");
	EXPECT_TRUE(caught_signals.empty());
	EXPECT_TRUE(fake_file_uses.empty());
	expect_nothing_left();
}

TEST_F(Main, WithoutASegmentItDoesNotStart)
{
	static const char limit[] = "/proc/sys/kernel/shmmni"; /* of this namespace */
	if (!(std::ofstream(limit) << 0 << std::flush))
		GTEST_SKIP() << "may not forbid segments here";
	dbg_level = TRACE_IPC;
	EXPECT_EQ(run(), "Start vorlind daemon...\n"
			 "ipc_init() failed\n"
			 "vorlind exits with errors (-1).\n");
	std::ofstream(limit) << 4096;
	EXPECT_EQ(result, -1);
	const std::string text = traced();
	EXPECT_EQ(text.substr(text.find("ipc_init(N) bleipc_semctl()")),
		  "ipc_init(N) bleipc_semctl()\n"
		  "bleipc_semctl(N) bleipc_errno=0\n"
		  "ipc_init(N) retval=6\n"
		  "main(N) flag_tty_is_init=0\n"
		  "main(N) flag_ipc_is_init=0\n");
	EXPECT_TRUE(caught_signals.empty());
	expect_nothing_left();
}

TEST_F(Main, ASignalThatCannotBeCaughtEndsItAndRemovesTheSegmentOnce)
{
	for (const int signo : { SIGINT, SIGTERM, SIGUSR1, SIGUSR2, SIGPIPE }) {
		SCOPED_TRACE(signo);
		refused_signal = signo;
		dbg_level = TRACE_IPC;
		EXPECT_EQ(run(), "Start vorlind daemon...\n"
				 "vorlind: Error on catching signal.\n"
				 "system_data_init() failed\n"
				 "vorlind exits with errors (-1).\n");
		EXPECT_EQ(result, -1);
		const std::string text = traced();
		EXPECT_EQ(text.substr(text.find("main(N)")), "main(N) flag_tty_is_init=0\n"
							     "main(N) flag_ipc_is_init=1\n"
							     "ipc_deinit(N) Start...\n"
							     "bleipc_semctl(N) bleipc_errno=0\n");
		EXPECT_EQ(sigismember(&ble_sig_set, SIGUSR1), 1);
		EXPECT_EQ(sigismember(&ble_sig_set, SIGUSR2), 1);
		EXPECT_TRUE(fake_file_uses.empty()) << "no line was opened";
		expect_nothing_left();
	}
}

TEST_F(Main, WhatACrashLeftIsSaidAndTakenOver)
{
	bleipc_sem sem;
	bleipc_shm shm;
	ASSERT_GE(bleipc_semget(&sem, BLE_SEM_KEY, 0, BLEIPC_CREATE), 0);
	ASSERT_GE(bleipc_shmget(&shm, BLE_SHM_KEY, sizeof(ble_segment), BLEIPC_CREATE), 0);
	bleipc_shmat(&shm);
	static_cast<ble_segment *>(shm.addr)->config.opt.action = 2;
	static_cast<ble_segment *>(shm.addr)->config.opt.status = 3;
	bleipc_shmdt(&shm);
	fake_during_sleep = [] {
		EXPECT_EQ(ble_config->opt.action, 2U) << "waits for the first event";
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_NONE);
		EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
		raise(SIGTERM);
	};
	EXPECT_EQ(
		run(),
		std::string(
			"Start vorlind daemon...\n"
			"Previous vorlind may not shutdown cleanly. Try to init SEM lock again.\n"
			"Previous vorlind may not shutdown cleanly. Try to init SHM buffer again.\n") +
			no_mrd);
	EXPECT_EQ(result, 0);
	expect_nothing_left();
}
