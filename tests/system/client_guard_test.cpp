// SPDX-License-Identifier: Apache-2.0
/* What vorlinctl guard does and does not do; tests/heal measures how fast it heals. */
#include "tests/system/client_stage.h"

#include <algorithm>
#include <csignal>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

class ClientGuard : public ClientTest
{
      protected:
	void start_guard(std::vector<std::string> options = {})
	{
		options.insert(options.begin(), { built("vorlinctl"), "guard" });
		keeper = start(options);
	}

	[[nodiscard]] std::string said() const
	{
		return content_of(keeper.err);
	}

	[[nodiscard]] bool says(const std::string &text) const
	{
		return comes_true([&] { return contains(said(), text); });
	}

	/* Start daemon and simulator, and put a beacon on the air. */
	void put_on_air(const std::string &controller = "ti-08")
	{
		make_patch_for(controller);
		simulator = start_simulator(controller, { "--control", folder + "/control" });
		daemon = start_daemon();
		done({ "set", "mac", "NONE" });
		done({ "beacon", "1", "--uuid", "random", "--minor", "1", "on" });
		done({ "beacon", "2", "--uuid", "random", "--minor", "2", "on" });
		done({ "start" });
	}

	void control(const std::string &command)
	{
		program client;

		EXPECT_EQ(run({ built("vorlin-sim"), "control", folder + "/control", command },
			      &client),
			  0);
	}

	/* Wait for this many checks of the guard: it sleeps once between two. */
	void let_it_look(int times) const
	{
		usleep(static_cast<useconds_t>(times) * 2000000);
	}

	static size_t lines_in(const std::string &text)
	{
		return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
	}

	program daemon;
	program keeper;
};

class ClientGuardOf : public ClientGuard, public testing::WithParamInterface<const char *>
{
};

INSTANTIATE_TEST_SUITE_P(Controllers, ClientGuardOf, testing::Values("ti-06", "ti-08", "qualcomm"));

TEST_P(ClientGuardOf, ResetsAControllerThatHasFallenSilentAndSaysSo)
{
	put_on_air(GetParam());
	start_guard();
	control("fault silent");
	EXPECT_TRUE(says("guard: the beacons are on the air again"));
	EXPECT_EQ(said(),
		  "vorlinctl: guard: the beacons are not on the air (status unconfirmed): reset "
		  "soft, step 1\n"
		  "vorlinctl: guard: the beacons are on the air again\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(kill(daemon.pid, 0), 0) << "it is the same daemon";
}

TEST_P(ClientGuardOf, TriesAHardResetWhereASoftOneDidNotHelp)
{
	put_on_air(GetParam());
	start_guard();
	control("fault silent:times=always");
	EXPECT_TRUE(says("guard: the beacons are not on the air (status unconfirmed): reset soft, "
			 "step 1\n"));
	EXPECT_TRUE(says("guard: the beacons are not on the air (status unconfirmed): reset hard, "
			 "step 2\n"));
	control("clear");
	EXPECT_TRUE(says("guard: the beacons are on the air again\n"));
}

TEST_F(ClientGuard, OnlyLooksWhileAllIsWell)
{
	put_on_air();
	start_guard({ "--restarts" });
	const int lock = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
	const std::string words(reinterpret_cast<const char *>(&segment->cmd),
				sizeof(segment->cmd));
	const int last = semctl(lock, 0, GETPID);
	let_it_look(3);
	EXPECT_EQ(std::string(reinterpret_cast<const char *>(&segment->cmd), sizeof(segment->cmd)),
		  words);
	EXPECT_EQ(semctl(lock, 0, GETPID), last) << "it took the lock";
	EXPECT_EQ(said(), "");
}

TEST_P(ClientGuardOf, LeavesAProductionTestAloneWhateverElseIsWrong)
{
	put_on_air(GetParam());
	done({ "test", "rx", "3" });
	segment->config.opt.action = ACTION_START; /* as if a start were pending */
	start_guard({ "--restarts" });
	EXPECT_EQ(kill(daemon.pid, SIGSTOP), 0); /* and the daemon hung */
	let_it_look(4);
	EXPECT_EQ(said(), "");
	EXPECT_EQ(kill(daemon.pid, SIGCONT), 0);
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_TESTING);
	segment->config.opt.action = ACTION_NONE;
	EXPECT_EQ(done({ "test", "end" }), "Num of packets: 0\n");
}

TEST_F(ClientGuard, EndsADaemonThatHangsOnlyWhereItIsStartedAgain)
{
	put_on_air();
	start_guard();
	control("fault cut:at=3");
	EXPECT_TRUE(says("hangs"));
	EXPECT_EQ(said(), "vorlinctl: guard: vorlind hangs, waiting for the rest of an event from "
			  "the controller; nobody starts it again, so it is left alone\n");
	EXPECT_EQ(kill(daemon.pid, 0), 0);
	EXPECT_EQ(stop(keeper, SIGTERM), 128 + SIGTERM);
	start_guard({ "--restarts" });
	EXPECT_TRUE(says("SIGTERM, step 1"));
	EXPECT_TRUE(says("SIGKILL, step 2"));
	EXPECT_EQ(wait_for_end(daemon), 128 + SIGKILL);
}

TEST_F(ClientGuard, DoesNothingWhereNothingIsWanted)
{
	put_on_air();
	done({ "stop" });
	start_guard();
	EXPECT_EQ(stop(simulator, SIGTERM), 0);
	kill(daemon.pid, SIGUSR2);
	EXPECT_TRUE(comes_true([&] { return segment->config.opt.status == BLE_STATUS_NONE; }));
	let_it_look(3);
	EXPECT_EQ(said(), "");
}

TEST_F(ClientGuard, WaitsForALineThatIsGoneAndThenActsAtOnce)
{
	put_on_air();
	start_guard();
	EXPECT_EQ(stop(simulator, SIGTERM), 0);
	EXPECT_TRUE(says("guard: there is no serial line: waiting for one"));
	let_it_look(3);
	EXPECT_EQ(lines_in(said()), 1U) << said();
	simulator = start_simulator("ti-08");
	EXPECT_TRUE(says("guard: the beacons are on the air again")) << said();
}

TEST_F(ClientGuard, GivesUpItsTurnToOthers)
{
	put_on_air();
	start_guard();
	control("fault silent:times=always");
	EXPECT_TRUE(says("step 1"));
	const answer a = ctl({ "show", "version" });
	EXPECT_EQ(a.status, 0) << a.err;
}

TEST_F(ClientGuard, IsSmallAndUsesNoTime)
{
#ifdef VORLIND_SANITIZED
	GTEST_SKIP() << "a sanitizer's memory is its own";
#endif
	put_on_air();
	start_guard();
	let_it_look(3);
	const std::string proc = "/proc/" + std::to_string(keeper.pid);
	std::ifstream rollup(proc + "/smaps_rollup");
	std::string line;
	long kib = 0;
	while (std::getline(rollup, line)) {
		/* The clean ones are of files, and private only while no other program maps them.
		 */
		if (sscanf(line.c_str(), "Private_Dirty: %ld", &kib) == 1)
			break;
	}
	EXPECT_GT(kib, 0);
	EXPECT_LT(kib, 200) << "KiB private memory that it has written to";
	RecordProperty("private_kib", std::to_string(kib));
	std::ifstream stat(proc + "/stat");
	std::getline(stat, line);
	long user = 0;
	long system = 0;
	sscanf(line.c_str() + line.rfind(')'),
	       ") %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld", &user, &system);
	EXPECT_LE(user + system, 1) << "ticks of the clock for its start and four looks";
}

/* Minutes pass for the guard alone, as soon as the test wants it. */
class ClientProbe : public ClientGuard
{
      protected:
	void start_guard_with_clock(const std::vector<std::string> &options)
	{
		/* A list of names with spaces between them: the build's folder may have one. */
		const std::string shim = folder + "/clock_shim.so";

		be_ahead(0);
		std::filesystem::create_symlink(built("tests/libclock_shim.so"), shim);
		setenv("VORLIND_TEST_AHEAD", (folder + "/ahead").c_str(), 1);
		setenv("LD_PRELOAD", shim.c_str(), 1);
		start_guard(options);
		unsetenv("LD_PRELOAD");
		unsetenv("VORLIND_TEST_AHEAD");
		/* Its minutes count from its first look, behind which it sleeps. */
		EXPECT_TRUE(comes_true([&] {
			return contains(content_of("/proc/" + std::to_string(keeper.pid) + "/stat"),
					"(vorlinctl) S");
		}));
	}

	/* In one step: the guard reads it whenever it likes. */
	void be_ahead(int seconds)
	{
		write_file("ahead.new", std::to_string(seconds));
		std::filesystem::rename(folder + "/ahead.new", folder + "/ahead");
	}

	/* The number of commands that the controller got. */
	[[nodiscard]] size_t questions() const
	{
		const std::string text = content_of(daemon.err);
		size_t count = 0;

		for (size_t at = text.find(answer); at != std::string::npos;
		     at = text.find(answer, at + 1))
			count++;
		return count;
	}

	void SetUp() override
	{
#ifdef VORLIND_SANITIZED
		GTEST_SKIP() << "a sanitizer's library wants to be the first one loaded";
#endif
		ClientGuard::SetUp();
	}

	static constexpr const char *answer = "BLE MAC Address: ";
};

class ClientProbeOf : public ClientProbe, public testing::WithParamInterface<const char *>
{
};

INSTANTIATE_TEST_SUITE_P(Controllers, ClientProbeOf, testing::Values("ti-06", "ti-08", "qualcomm"));

TEST_P(ClientProbeOf, BringsBackABeaconThatStandsAloneAndThatNothingElseMisses)
{
	put_on_air(GetParam());
	done({ "beacon", "2", "off" });
	done({ "restart" });
	start_guard_with_clock({ "--probe", "1" });
	control("reboot");
	const size_t before = content_of(simulator.out).size();
	let_it_look(2);
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING) << "nothing shows it";
	EXPECT_FALSE(contains(content_of(simulator.out).substr(before), " minor 1 "));
	be_ahead(60);
	EXPECT_TRUE(comes_true([&] {
		return contains(content_of(simulator.out).substr(before), " minor 1 ");
	})) << said();
	EXPECT_EQ(kill(daemon.pid, 0), 0) << "it is the same daemon";
}

TEST_P(ClientProbeOf, NobodyIsAskedDuringAProductionTest)
{
	put_on_air(GetParam());
	done({ "test", "rx", "3" });
	start_guard_with_clock({ "--probe", "1" });
	for (int hours = 1; hours <= 3; hours++) {
		be_ahead(hours * 3600);
		let_it_look(1);
	}
	EXPECT_EQ(questions(), 0U);
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_TESTING);
	EXPECT_EQ(done({ "test", "end" }), "Num of packets: 0\n");
}

TEST_F(ClientProbe, AsksOnceInSoManyMinutes)
{
	put_on_air();
	start_guard_with_clock({ "--probe=2" });
	be_ahead(100);
	let_it_look(2);
	EXPECT_EQ(questions(), 0U);
	be_ahead(120);
	EXPECT_TRUE(comes_true([&] { return questions() == 1; }));
	let_it_look(2);
	EXPECT_EQ(questions(), 1U);
	be_ahead(260);
	EXPECT_TRUE(comes_true([&] { return questions() == 2; }));
	EXPECT_EQ(said(), "") << "a question is no step";
}

TEST_F(ClientProbe, NobodyIsAskedWhereItWasNotToldTo)
{
	put_on_air();
	start_guard_with_clock({});
	be_ahead(30 * 86400);
	let_it_look(2);
	EXPECT_EQ(questions(), 0U);
	EXPECT_EQ(said(), "");
}

TEST_F(ClientProbe, AProductionTestThatBeganWhileItWaitedForTheLockIsLeftAlone)
{
	sembuf take = { 0, -1, SEM_UNDO };
	sembuf give = { 0, 1, SEM_UNDO };

	put_on_air();
	start_guard_with_clock({ "--probe", "1" });
	let_it_look(1);
	const int lock = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
	ASSERT_EQ(semop(lock, &take, 1), 0);
	be_ahead(60);
	ASSERT_TRUE(comes_true([] { return waiting_for_lock() > 0; }));
	const std::string words = segment->cmd.argv[0];
	segment->config.opt.status = BLE_STATUS_TESTING; /* as the daemon would say */
	ASSERT_EQ(semop(lock, &give, 1), 0);
	let_it_look(2);
	EXPECT_EQ(segment->cmd.argv[0], words);
	EXPECT_EQ(questions(), 0U);
}

TEST_F(ClientGuard, ProbesInWholeMinutes)
{
	for (const char *minutes : { "0", "-1", "1.5", "x", "86401" }) {
		const answer a = ctl({ "guard", "--probe", minutes });
		EXPECT_EQ(a.status, 1) << minutes;
		EXPECT_EQ(a.err, "vorlinctl: guard: --probe takes whole minutes, 1 to 86400 "
				 "(vorlinctl help guard)\n");
	}
	EXPECT_EQ(ctl({ "guard", "--probe" }).status, 1);
}
