// SPDX-License-Identifier: Apache-2.0
/* What vorlinctl guard does and what it leaves alone; how fast it heals is in tests/heal. */
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

	/* Daemon and simulator with a beacon on the air. */
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

	/* How often the guard has looked: it sleeps once between two looks. */
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
		long amount = 0;
		if (sscanf(line.c_str(), "Private_Dirty: %ld", &amount) == 1 ||
		    sscanf(line.c_str(), "Private_Clean: %ld", &amount) == 1)
			kib += amount;
	}
	EXPECT_GT(kib, 0);
	EXPECT_LT(kib, 200) << "KiB private memory";
	RecordProperty("private_kib", std::to_string(kib));
	std::ifstream stat(proc + "/stat");
	std::getline(stat, line);
	long user = 0;
	long system = 0;
	sscanf(line.c_str() + line.rfind(')'),
	       ") %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld", &user, &system);
	EXPECT_LE(user + system, 1) << "ticks of the clock for its start and four looks";
}
