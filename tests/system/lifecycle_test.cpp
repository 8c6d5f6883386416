// SPDX-License-Identifier: Apache-2.0
/* Start, second start, crash, recovery and end of the shipped daemon. */
#include "tests/default_beacons.h"
#include "tests/system/stage.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

class Lifecycle : public SystemTest
{
};

static const char started[] = "Start vorlind daemon...\n"
			      "Open /proc/MRD failed.\n"
			      "BLE configuration utility: 0.3.0\n";

TEST_F(Lifecycle, WithoutAControllerItStartsAndWaitsForCommands)
{
	const program daemon = start_daemon();

	EXPECT_EQ(content_of(daemon.err), started);
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_NONE);
	say_and_wait(daemon, { "hcicmd" });
	EXPECT_EQ(printed(daemon), "Not implemented yet\n");
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_EQ(content_of(daemon.out), "") << "nothing is ever written to standard output";
}

TEST_F(Lifecycle, TheSegmentHoldsTheDefaultSettings)
{
	start_daemon();
	const ble_record &config = segment->config;

	EXPECT_STREQ(config.interval, "100");
	EXPECT_STREQ(config.mac, "") << "no manufacturing data on this machine";
	EXPECT_STREQ(config.measured_power, "202");
	EXPECT_STREQ(config.power_index, "max");
	expect_default_beacons(config);
}

TEST_F(Lifecycle, ASecondStartIsRefusedAndLeavesTheSegmentUntouched)
{
	const program daemon = start_daemon();
	char before[sizeof(ble_segment)];
	program second;

	memcpy(before, segment, sizeof(before));
	EXPECT_EQ(run({ built("vorlind") }, &second), 255);
	EXPECT_EQ(content_of(second.err), "vorlind has exist\nvorlind exits with errors (-1).\n");
	EXPECT_EQ(memcmp(before, segment, sizeof(before)), 0);
	say_and_wait(daemon, { "show", "version" });
	EXPECT_EQ(printed(daemon), "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}

TEST_F(Lifecycle, AskedAboutItselfAsTheOnlyArgumentItTellsAndEnds)
{
	for (const char *const argument : { "--version", "-V", "--help", "-h" }) {
		const bool version = strchr(argument, 'V') || strstr(argument, "version");
		program asked;
		EXPECT_EQ(run({ built("vorlind"), argument }, &asked), 0) << argument;
		EXPECT_EQ(content_of(asked.err), "") << argument;
		const std::string said = content_of(asked.out);
		if (version)
			EXPECT_EQ(said, "vorlind 0.3.0\n");
		else
			EXPECT_TRUE(said.starts_with("Usage: vorlind\n")) << said;
		EXPECT_FALSE(segment_exists());
	}
}

TEST_F(Lifecycle, WithAnyOtherArgumentsItStarts)
{
	const std::vector<std::string> others[] = {
		{ "--bogus" }, { "version" }, { "" }, { "--help", "--help" }, { "-V", "x" },
	};

	for (std::vector<std::string> words : others) {
		words.insert(words.begin(), built("vorlind"));
		const program daemon = start(words);
		EXPECT_TRUE(comes_true([&] {
			return content_of(daemon.err).find("/proc/MRD") != std::string::npos;
		}));
		EXPECT_EQ(stop(daemon, SIGTERM), 0);
		EXPECT_EQ(content_of(daemon.out), "");
	}
}

TEST_F(Lifecycle, UnderAnotherFileNameItRefusesToStart)
{
	const std::string copy = folder + "/renamed";
	program renamed;

	std::filesystem::copy_file(built("vorlind"), copy);
	std::filesystem::create_directory_symlink(built("lib"), folder + "/lib");
	EXPECT_EQ(run({ copy }, &renamed), 255);
	EXPECT_EQ(content_of(renamed.err), "vorlind has exist\nvorlind exits with errors (-1).\n");
	EXPECT_FALSE(segment_exists());
}

TEST_F(Lifecycle, SigtermEndsItWithStatus0AndRemovesSegmentAndSemaphore)
{
	const program daemon = start_daemon();

	ASSERT_TRUE(segment_exists());
	ASSERT_TRUE(semaphore_exists());
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_FALSE(segment_exists());
	EXPECT_FALSE(semaphore_exists());
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_UNCONFIRMED) << "the line was closed";
}

TEST_F(Lifecycle, SigintEndsItTheSameWay)
{
	const program daemon = start_daemon();

	EXPECT_EQ(stop(daemon, SIGINT), 0);
	EXPECT_FALSE(segment_exists());
	EXPECT_FALSE(semaphore_exists());
}

TEST_F(Lifecycle, AfterACrashItSaysSoAndTakesOverWhatWasLeft)
{
	const program crashed = start_daemon();

	segment->unused = 0x12345678;
	segment->config.opt.action = 77;
	strcpy(segment->config.interval, "250");
	strcpy(segment->config.beacon[1].enable, "1");
	EXPECT_EQ(stop(crashed, SIGKILL), 128 + SIGKILL);
	ASSERT_TRUE(segment_exists());
	ASSERT_TRUE(semaphore_exists());

	const program daemon = start_daemon();
	const std::string recovery =
		"Start vorlind daemon...\n"
		"Previous vorlind may not shutdown cleanly. Try to init SEM lock again.\n"
		"Previous vorlind may not shutdown cleanly. Try to init SHM buffer again.\n";
	EXPECT_EQ(content_of(daemon.err).substr(0, recovery.size()), recovery);
	EXPECT_EQ(segment->unused, 0x12345678U) << "content that is not the daemon's is kept";
	EXPECT_EQ(segment->config.opt.action, 77U) << "a pending task survives";
	EXPECT_STREQ(segment->config.interval, "100") << "settings start from the defaults";
	EXPECT_STREQ(segment->config.beacon[1].enable, "0");
	segment->config.opt.action = ACTION_NONE;
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_FALSE(segment_exists());
}

TEST_F(Lifecycle, ALockThatADeadDaemonHeldIsReleasedByTheNext)
{
	const program crashed = start_daemon();

	EXPECT_EQ(stop(crashed, SIGKILL), 128 + SIGKILL);
	const int id = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
	ASSERT_EQ(semctl(id, 0, SETVAL, 0), 0);

	const program daemon = start_daemon(); /* it has answered a command, under the lock */
	EXPECT_EQ(semctl(id, 0, GETVAL), 1);
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}

TEST_F(Lifecycle, ALockThatAKilledClientHeldIsGivenBack)
{
	const program daemon = start_daemon();
	const int id = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
	const pid_t client = fork();

	if (client == 0) {
		sembuf lock = { 0, -1, SEM_UNDO };
		semop(id, &lock, 1);
		pause();
		_exit(0);
	}
	ASSERT_TRUE(comes_true([&] { return semctl(id, 0, GETVAL) == 0; }));
	segment->cmd.argc = 2;
	strcpy(segment->cmd.argv[0], "show");
	strcpy(segment->cmd.argv[1], "version");
	segment->cmd_doing = 1;
	kill(daemon.pid, SIGUSR1);
	EXPECT_TRUE(comes_true([] { return waiting_for_lock() == 1; })) << "the daemon";
	EXPECT_EQ(printed(daemon), "");
	kill(client, SIGKILL);
	waitpid(client, nullptr, 0);

	EXPECT_TRUE(comes_true([&] { return segment->cmd_doing == 0; }));
	EXPECT_EQ(printed(daemon), "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(semctl(id, 0, GETVAL), 1);
}

TEST_F(Lifecycle, ASemaphoreRemovedUnderAWaitingDaemonLosesTheCommandAndNothingElse)
{
	const program daemon = start_daemon();
	const int id = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);

	ASSERT_EQ(semctl(id, 0, SETVAL, 0), 0);
	segment->cmd_doing = 1;
	kill(daemon.pid, SIGUSR1);
	EXPECT_TRUE(comes_true([] { return waiting_for_lock() == 1; })) << "the daemon";
	ASSERT_EQ(semctl(id, 0, IPC_RMID), 0);
	EXPECT_TRUE(comes_true([&] { return segment->cmd_doing == 0; }));
	EXPECT_EQ(printed(daemon), "user_cmd_change() failed.\n");
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_FALSE(segment_exists());
}

TEST_F(Lifecycle, AQuitSignalDuringStartUpIsActedOnWhenTheLoopBegins)
{
	start_simulator("ti-08");
	const program daemon = start({ built("vorlind") });

	ASSERT_TRUE(comes_true([&] { return semaphore_exists() && segment_exists(); }));
	/* The handlers follow the segment within microseconds; the controller takes much longer. */
	ASSERT_TRUE(comes_true([&] {
		return content_of(daemon.err).find("Open /proc/MRD") != std::string::npos;
	}));
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_FALSE(segment_exists());
	EXPECT_FALSE(semaphore_exists());
}

TEST_F(Lifecycle, AQuitSignalDuringAPatchDownloadEndsItAtThisSegment)
{
	const std::string log = folder + "/log";
	program maker;

	ASSERT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin" }, &maker), 0);
	/* Four seconds for each answer: the daemon waits for one when the signal comes. */
	const program simulator =
		start_simulator("qualcomm", { "--latency", "0xFC00=4000", "--log", log,
					      "--patch-out", folder + "/received" });
	const program daemon = start({ built("vorlind") });
	const std::string stat = "/proc/" + std::to_string(daemon.pid) + "/stat";

	ASSERT_TRUE(comes_true([&] {
		return content_of(log).find("Patch Download") != std::string::npos &&
		       content_of(stat).find(") S ") != std::string::npos;
	}));
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_FALSE(segment_exists());
	EXPECT_FALSE(semaphore_exists());
	const std::string said = content_of(daemon.err);
	EXPECT_NE(said.find("WARNING: failed to read HCI response.\n"
			    "WARNING: patch download failed(times="),
		  std::string::npos)
		<< said;
	EXPECT_TRUE(said.ends_with("WARNING: func_download_patch_file() failed.\n")) << said;
	EXPECT_EQ(stop(simulator, SIGTERM), 0);
	EXPECT_FALSE(std::filesystem::exists(folder + "/received"));
}

TEST_F(Lifecycle, TheLineIsLockedWhileItRunsAndFreeAfterIt)
{
	start_simulator("ti-08");
	const program daemon = start_daemon();
	const int line = open("/dev/ttyMSM1", O_RDWR | O_NOCTTY);

	ASSERT_GE(line, 0);
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_NE(flock(line, LOCK_EX | LOCK_NB), 0);
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_EQ(flock(line, LOCK_EX | LOCK_NB), 0);
	close(line);
}

TEST_F(Lifecycle, ALineThatSomebodyElseHoldsIsNotUsed)
{
	start_simulator("ti-08");
	const int line = open("/dev/ttyMSM1", O_RDWR | O_NOCTTY);

	ASSERT_GE(line, 0);
	ASSERT_EQ(flock(line, LOCK_EX | LOCK_NB), 0);
	const program daemon = start_daemon();
	EXPECT_EQ(content_of(daemon.err), "Start vorlind daemon...\n"
					  "Open /proc/MRD failed.\n"
					  "WARNING: flock failed.\n"
					  "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_NONE);
	close(line);
}
