// SPDX-License-Identifier: Apache-2.0
/* How vorlinctl ends: each exit status, and its message when something is missing. */
#include "tests/system/client_stage.h"

#include <csignal>
#include <cstring>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

class ClientExit : public ClientTest
{
      protected:
	/* Expect this line only. */
	static void expect_line(const answer &a, int status, const std::string &line)
	{
		EXPECT_EQ(a.status, status);
		EXPECT_EQ(a.out, "");
		EXPECT_EQ(a.err, "vorlinctl: " + line + "\n");
	}

	static bool runs(const program &of)
	{
		return kill(of.pid, 0) == 0 &&
		       !contains(content_of("/proc/" + std::to_string(of.pid) + "/stat"), ") Z ");
	}
};

static const char not_running[] = "vorlind is not running (no daemon serves the shared memory)";

TEST_F(ClientExit, BadUsageIs1AndSendsNothing)
{
	start_with("ti-08");
	memset(segment->cmd.argv[0], 'x', 3);
	const std::vector<std::vector<std::string>> bad = {
		{},
		{ "dance" },
		{ "--dance" },
		{ "beacon", "6", "on" },
		{ "beacon", "1", "--uuid", "0123" },
		{ "beacon", "1", "--major", "65536" },
		{ "set", "interval", "99" },
		{ "config", "interval", "99" },
		{ "config", "gap-param", "104", "1" },
		{ "show", "gap-param", "104" },
		{ "test", "rx", "40" },
		{ "test", "tx", "1", "38", "0" },
		{ "reset", "gently" },
		{ "start", "now" },
		{ "status", "--loud" },
		{ "start", "--timeout", "0" },
		{ "start", "--timeout" },
		{ "save", "file" },
		{ "help", "dance" },
	};
	for (const auto &words : bad) {
		SCOPED_TRACE(words.empty() ? "nothing" : words[0]);
		const answer a = ctl(words);
		EXPECT_EQ(a.status, 1) << a.err;
		EXPECT_EQ(a.out, "");
		EXPECT_EQ(a.err.rfind("vorlinctl: ", 0), 0U) << a.err;
		EXPECT_EQ(a.err.find('\n'), a.err.size() - 1) << "one line: " << a.err;
	}
	EXPECT_EQ(memcmp(segment->cmd.argv[0], "xxx", 3), 0) << "the words were not touched";
}

TEST_F(ClientExit, NoDaemonIs2AtOnce)
{
	for (const char *command : { "status", "start", "save" })
		expect_line(ctl({ command }), 2, not_running);
	expect_line(ctl({ "show", "version" }), 2, not_running);
	expect_line(ctl({ "beacon", "1", "on" }), 2, not_running);
	expect_line(ctl({ "wait", "--timeout", "1" }), 2, not_running);
}

TEST_F(ClientExit, ASegmentThatACrashedDaemonLeftIsNoDaemon)
{
	const program daemon = start_with("ti-08");

	EXPECT_EQ(stop(daemon, SIGKILL), 128 + SIGKILL);
	ASSERT_TRUE(segment_exists());
	expect_line(ctl({ "status" }), 2, not_running);
	expect_line(ctl({ "start" }), 2, not_running);
}

TEST_F(ClientExit, AfterACrashTheNextDaemonIsFoundThoughItDidNotCreateTheSegment)
{
	const program crashed = start_with("ti-08");

	EXPECT_EQ(stop(crashed, SIGKILL), 128 + SIGKILL);
	const program daemon = start_daemon();
	done({ "show", "version" });
	EXPECT_TRUE(
		contains(done({ "status" }), "process id " + std::to_string(daemon.pid) + "\n"));
}

TEST_F(ClientExit, AnotherProcessOfTheNameIsNeverSignalled)
{
	const program daemon = start_with("ti-08");

	EXPECT_EQ(stop(daemon, SIGKILL), 128 + SIGKILL);
	std::filesystem::copy_file("/bin/sleep", folder + "/vorlind");
	const program decoy = start({ folder + "/vorlind", "60" });
	ASSERT_TRUE(comes_true([&] {
		return content_of("/proc/" + std::to_string(decoy.pid) + "/comm") == "vorlind\n";
	}));
	expect_line(ctl({ "start" }), 2, not_running);
	EXPECT_TRUE(runs(decoy)) << "the signal for commands would have ended it";
}

TEST_F(ClientExit, ASegmentOfAnotherSizeServesTheClientAsItServesTheDaemon)
{
	ASSERT_GE(shmget(static_cast<key_t>(BLE_SHM_KEY), 64, IPC_CREAT | 0600), 0);
	expect_line(ctl({ "status" }), 2, not_running);
	start_with("ti-08");
	done({ "beacon", "1", "--uuid", "random", "on" });
	done({ "start" });
	EXPECT_TRUE(contains(done({ "status" }), "3 advertising"));
}

TEST_F(ClientExit, AnotherUserIsToldAndIs2)
{
	program as_other;

	if (run({ "/usr/bin/setpriv", "--reuid=65534", "--clear-groups", built("vorlinctl"),
		  "--version" },
		&as_other) != 0)
		GTEST_SKIP() << "cannot become another user here: " << content_of(as_other.err);
	start_with("ti-08");
	const std::string before(segment->cmd.argv[0]);
	for (const char *command : { "status", "start" }) {
		EXPECT_EQ(run({ "/usr/bin/setpriv", "--reuid=65534", "--clear-groups",
				built("vorlinctl"), command },
			      &as_other),
			  2);
		EXPECT_EQ(content_of(as_other.err),
			  "vorlinctl: permission denied: run as the user of vorlind, or as root\n");
	}
	EXPECT_EQ(segment->cmd.argv[0], before);
}

TEST_F(ClientExit, NoUsableControllerIs3)
{
	start_daemon();
	expect_line(ctl({ "show", "mac" }), 3, "no usable controller (status none)");
	expect_line(ctl({ "config", "interval", "100" }), 3, "no usable controller (status none)");
	expect_line(ctl({ "test", "rx", "1" }), 3, "no usable controller (status none)");
	EXPECT_EQ(done({ "show", "version" }), "BLE configuration utility: 0.3.0\n");
	expect_line(ctl({ "reset", "soft" }), 3, "no usable controller answers");
}

TEST_F(ClientExit, AStartWithoutAControllerIs3AndIsDoneWhenOneComes)
{
	const program daemon = start_daemon();

	done({ "beacon", "1", "--uuid", "random", "on" });
	expect_line(ctl({ "start" }), 3,
		    "no usable controller (status none); vorlind does it as soon as one comes; "
		    "if it is there: vorlinctl reset soft");
	start_simulator("ti-08");
	EXPECT_EQ(kill(daemon.pid, SIGUSR2), 0);
	done({ "wait", "--status", "advertising" });
}

TEST_F(ClientExit, ARefusalIs4WithTheCodeAndItsName)
{
	start_with("ti-08");
	const answer end = ctl({ "test", "end" });

	EXPECT_EQ(end.status, 4);
	EXPECT_EQ(end.out, "");
	EXPECT_EQ(end.err, "WARNING: func_le_test_end_command() failed.\n"
			   "WARNING: ble_ptm_test(PTM_ACTION_END) failed.\n"
			   "WARNING: HCI run failed (error code: 0xc)\n"
			   "vorlinctl: the controller refused: 0x0c Command Disallowed\n");
}

TEST_F(ClientExit, TheSameCodeOfATiCommandHasTisName)
{
	const program daemon = start_with("ti-08");

	const answer ti = ctl({ "config", "gap-param", "6", "1" });
	EXPECT_EQ(ti.status, 4);
	EXPECT_TRUE(contains(ti.err, "0x12 Wrong Role or Mode, or Invalid Parameter")) << ti.err;
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_EQ(stop(simulator, SIGTERM), 0);

	start_with("qualcomm");
	const answer other = ctl({ "raw", "config", "interval", "65534" });
	EXPECT_EQ(other.status, 4);
	EXPECT_TRUE(contains(other.err, "0x12 Invalid HCI Command Parameters")) << other.err;
}

TEST_F(ClientExit, AFailureWhileAFileIsAppliedIs4ThoughTheBeaconsAreOn)
{
	start_simulator("ti-08");
	start_daemon(); /* no address is set: the controller's start-up ends with a warning */
	write_file("plan", "set interval 120\nbeacon 1 --uuid random on\nstart\n");
	const answer apply = ctl({ "apply", folder + "/plan" });
	EXPECT_EQ(apply.status, 4);
	EXPECT_TRUE(contains(apply.err, "hci_fun_set_bdaddr() failed.")) << apply.err;
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
}

TEST_F(ClientExit, AFailureOfTheStartUpIsNotTheCommandsThatWaitsForIt)
{
	program maker;

	EXPECT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin" }, &maker), 0);
	start_simulator("qualcomm"); /* the patch download keeps the daemon busy */
	const program daemon = start({ built("vorlind") });
	answer config = { 2, "", "" };
	EXPECT_TRUE(comes_true([&] {
		config = ctl({ "config", "interval", "200" });
		return config.status != 2;
	}));
	EXPECT_EQ(config.status, 0) << config.err;
	EXPECT_TRUE(contains(content_of(daemon.err), "WARNING: hci_fun_set_bdaddr() failed."))
		<< "there was to be one";
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}

TEST_F(ClientExit, AControllerThatFallsSilentIs4)
{
	start_with("ti-08");
	EXPECT_EQ(kill(simulator.pid, SIGSTOP), 0);
	const answer mac = ctl({ "show", "mac" });

	EXPECT_EQ(kill(simulator.pid, SIGCONT), 0);
	EXPECT_EQ(mac.status, 4) << mac.err;
	EXPECT_EQ(mac.out, "");
}

TEST_F(ClientExit, TimeoutIs5AndTheCommandGoesOn)
{
	start_with("ti-08");
	done({ "beacon", "1", "--uuid", "random", "on" });
	set_long_interval("12000"); /* the start ends with its first dwell */
	expect_line(ctl({ "start", "--timeout", "2" }), 5,
		    "timeout: vorlind has not finished; it may still do so");
	done({ "wait", "--status", "advertising", "--timeout", "180" });
}

TEST_F(ClientExit, TheUsualTimeoutAllowsForTheDwell)
{
	start_with("ti-08");
	done({ "beacon", "1", "--uuid", "random", "on" });
	set_long_interval("16000"); /* one second more than the default timeout */
	done({ "start" });
}

TEST_F(ClientExit, ALockThatIsNotGivenBackIsBusyAndIs5)
{
	start_with("ti-08");
	const int sem = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
	sembuf take = { 0, -1, SEM_UNDO };
	sembuf give = { 0, 1, SEM_UNDO };

	ASSERT_EQ(semop(sem, &take, 1), 0);
	expect_line(ctl({ "show", "version", "--timeout", "1" }), 5,
		    "busy: vorlind is still starting, or carrying out another command");
	expect_line(ctl({ "beacon", "1", "on", "--timeout", "1" }), 5,
		    "busy: vorlind is still starting, or carrying out another command");
	ASSERT_EQ(semop(sem, &give, 1), 0);
	EXPECT_EQ(done({ "show", "version" }), "BLE configuration utility: 0.3.0\n");
}
