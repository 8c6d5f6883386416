// SPDX-License-Identifier: Apache-2.0
/* apply changes only what differs: no unneeded reset, no unneeded start. */
#include "tests/system/client_stage.h"

#include <csignal>
#include <unistd.h>

class ClientApply : public ClientTest
{
      protected:
	std::string plan(const std::string &text)
	{
		write_file("plan", text);
		return folder + "/plan";
	}
};

class ClientApplyOnEach : public ClientApply, public testing::WithParamInterface<const char *>
{
};

INSTANTIATE_TEST_SUITE_P(Controllers, ClientApplyOnEach,
			 testing::Values("ti-06", "ti-08", "qualcomm"));

static const char two_beacons[] =
	"set interval 120\n"
	"beacon 1 --uuid E2C56DB5-DFFB-48D2-B060-D0F5A71096E0 --minor 1 on\n"
	"beacon 2 --uuid E2C56DB5-DFFB-48D2-B060-D0F5A71096E0 --minor 2 on\n"
	"start\n";

TEST_P(ClientApplyOnEach, WhatIsSoAlreadyIsNotSentAgainAndTheRotationGoesOn)
{
	start_with(GetParam());
	const std::string file = plan(two_beacons);
	EXPECT_EQ(ctl({ "apply", "--check", file }).status, 4);
	done({ "apply", file });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);

	memset(segment->cmd.argv[0], 'x', 3);
	EXPECT_EQ(done({ "apply", "--check", file }), "nothing would change\n");
	EXPECT_EQ(done({ "apply", "--dry-run", file }), "nothing would change\n");
	EXPECT_EQ(done({ "apply", file }), "");
	EXPECT_EQ(done({ "apply", plan("beacon 1 --minor 1\n") }), "");
	EXPECT_EQ(memcmp(segment->cmd.argv[0], "xxx", 3), 0) << "a command was sent";
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	/* A change of a beacon that is off needs no start. */
	EXPECT_EQ(done({ "apply", plan("beacon 5 --major 9 off\nstart\n") }), "");
	EXPECT_STREQ(segment->config.beacon[4].major, "9");
	EXPECT_EQ(memcmp(segment->cmd.argv[0], "xxx", 3), 0) << "a command was sent";

	const std::string changed = plan("beacon 2 --major 7\nstart\n");
	const answer check = ctl({ "apply", "--check", changed });
	EXPECT_EQ(check.status, 4);
	EXPECT_EQ(check.out, "beacon 2 major: 0 -> 7\nthen: start\n");
	EXPECT_STREQ(segment->config.beacon[1].major, "0") << "a check changes nothing";
	done({ "apply", changed });
	EXPECT_TRUE(comes_true([&] { return contains(content_of(simulator.out), "major 7"); }));
}

TEST_P(ClientApplyOnEach, ARunningTestIsEndedFirstAndTold)
{
	start_with(GetParam(), { "--receiver-count", "1500" });
	done({ "test", "rx", "3" });
	const std::string file = plan(two_beacons);
	EXPECT_TRUE(contains(ctl({ "apply", "--check", file }).out,
			     "then the production test that is running would be ended\n"));
	const answer apply = ctl({ "apply", file });
	EXPECT_EQ(apply.status, 0) << apply.err;
	EXPECT_EQ(apply.err,
		  "vorlinctl: a production test was running: it is ended, with 1500 packets\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_TRUE(comes_true([&] { return contains(content_of(simulator.out), "minor 2"); }));

	done({ "test", "rx", "3" });
	const answer reset = ctl({ "reset", "soft" });
	EXPECT_EQ(reset.status, 0);
	EXPECT_TRUE(contains(reset.err, "a production test was running: it is ended"));
	EXPECT_EQ(ctl({ "test", "end" }).status, 4) << "none runs any more";
}

TEST_P(ClientApplyOnEach, TheAddressGoesBackToTheControllersOwn)
{
	start_with(GetParam());
	const std::string own = done({ "show", "mac" });
	done({ "apply", plan("set mac AABBCCDDEEFF\n") });
	EXPECT_EQ(done({ "show", "mac" }), "BLE MAC Address: AABBCCDDEEFF\n");
	const std::string back = plan("set mac NONE\n");
	EXPECT_TRUE(contains(ctl({ "apply", "--check", back }).out,
			     std::string("then the controller would be set up anew (") +
				     (GetParam() == std::string("ti-08") ? "hard" : "soft") +
				     " reset)\n"));
	done({ "apply", back });
	EXPECT_EQ(done({ "show", "mac" }), own);
}

TEST_F(ClientApply, ASoftResetThatLeavesTheAddressSaysSo)
{
	start_with("ti-08");
	done({ "config", "mac", "AABBCCDDEEFF" });
	done({ "set", "mac", "NONE" });
	const answer reset = ctl({ "reset", "soft" });
	EXPECT_EQ(reset.status, 0);
	EXPECT_EQ(reset.err, "vorlinctl: this controller keeps its address until reset hard\n");
	done({ "reset", "hard" });
	EXPECT_NE(done({ "show", "mac" }), "BLE MAC Address: AABBCCDDEEFF\n");
}

TEST_F(ClientApply, ASettingThatWaitsForAResetIsTold)
{
	start_with("ti-08");
	done({ "set", "interval", "200" });
	const std::string file = plan("set interval 200\n");
	EXPECT_EQ(ctl({ "apply", "--check", file }).status, 4) << "the controller has not got it";
	done({ "apply", file });
	EXPECT_EQ(done({ "show", "gap-param", "6" }), "GAP Param ID: 6, Value: 320\n");
	done({ "apply", "--check", file });
}

TEST_F(ClientApply, AStopThatIsDoneIsNotSentAgain)
{
	start_with("ti-08");
	done({ "apply", plan("beacon 1 --uuid random on\nstart\n") });
	const std::string file = plan("stop\n");
	EXPECT_EQ(ctl({ "apply", "--check", file }).status, 4);
	done({ "apply", file });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(done({ "apply", "--check", file }), "nothing would change\n");
	EXPECT_EQ(ctl({ "apply", "--check", plan("restart\n") }).status, 4) << "always new";
}

TEST_F(ClientApply, ADryRunNeedsNoDaemonAndMarksWhatTheControllerDecides)
{
	const std::string file =
		plan("set power-index 7 interval 200\nbeacon 1 --major 3 on\nstart\n");
	const answer dry = ctl({ "apply", "--dry-run", file });
	EXPECT_EQ(dry.status, 0);
	EXPECT_EQ(dry.err,
		  "vorlinctl: vorlind is not running (no daemon serves the shared memory); "
		  "compared with what it begins with\n");
	EXPECT_EQ(dry.out, "interval: 100 -> 200\n"
			   "power-index: max -> 7\n"
			   "beacon 1 major: 0 -> 3\n"
			   "beacon 1 enable: 0 -> 1\n"
			   "then: start\n"
			   "the controller decides: power-index 7 (ti-06 does not, ti-08 takes it, "
			   "qualcomm has none)\n"
			   "the controller decides: a reset before that\n");
	EXPECT_EQ(ctl({ "apply", "--dry-run", plan("beacon 6 on\n") }).status, 1);
	EXPECT_EQ(ctl({ "apply", "--check", plan("start\n") }).status, 2) << "a check needs it";
	EXPECT_EQ(ctl({ "apply", plan("start\n") }).status, 2);
}

/* A minute is the usual deadline, and two dwells come on top: of the interval that is to be. */
TEST_F(ClientApply, WaitsForDwellsOfTheNewInterval)
{
	const program daemon = start_with("ti-08");
	ASSERT_EQ(kill(daemon.pid, SIGSTOP), 0);
	const program applying =
		start({ built("vorlinctl"), "apply", plan("set interval 10240\n") });
	EXPECT_EQ(sleep(63), 0u);
	EXPECT_EQ(kill(daemon.pid, SIGCONT), 0);
	EXPECT_EQ(wait_for_end(applying), 0) << content_of(applying.err);
	EXPECT_STREQ(segment->config.interval, "10240");
}
