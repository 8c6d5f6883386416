// SPDX-License-Identifier: Apache-2.0
/* Each command of vorlinctl, with the real daemon and each kind of controller. */
#include "tests/system/client_stage.h"

#include <csignal>
#include <cstring>

class ClientCommands : public ClientTest
{
};

class ClientOnEachController : public ClientTest, public testing::WithParamInterface<const char *>
{
      protected:
	bool is_ti() const
	{
		return strcmp(GetParam(), "qualcomm") != 0;
	}
};

INSTANTIATE_TEST_SUITE_P(, ClientOnEachController, testing::Values("ti-06", "ti-08", "qualcomm"),
			 [](const auto &kind) {
				 std::string name = kind.param;
				 std::erase(name, '-');
				 return name;
			 });

TEST_P(ClientOnEachController, TwoCommandsPutABeaconOnTheAir)
{
	start_with(GetParam());
	EXPECT_EQ(done({ "beacon", "1", "--uuid", an_uuid, "--major", "1", "--minor", "2", "on" }),
		  std::string("beacon 1 on: ") + an_uuid + ", major 1, minor 2, -54 dBm\n");
	EXPECT_EQ(done({ "start" }), "");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_TRUE(comes_true([&] {
		return contains(content_of(simulator.out),
				std::string("uuid ") + an_uuid + " major 1 minor 2 power -54 dBm");
	})) << content_of(simulator.out);
	EXPECT_EQ(done({ "stop" }), "");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
}

TEST_P(ClientOnEachController, StatusTellsWhoTheControllerIs)
{
	start_with(GetParam());
	const std::string text = done({ "status" });

	EXPECT_TRUE(contains(text, std::string("controller   ") + GetParam() + "\n")) << text;
	EXPECT_TRUE(contains(text, is_ti() ? "manufacturer 0x000D Texas Instruments\n"
					   : "manufacturer 0x001D Qualcomm\n"))
		<< text;
	EXPECT_EQ(contains(text, "build        user"), is_ti()) << text;
	EXPECT_TRUE(contains(text, "status       2 available\n")) << text;
}

TEST_P(ClientOnEachController, ReadOutsGiveTheirValue)
{
	start_with(GetParam());
	EXPECT_EQ(done({ "show", "version" }), "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(done({ "show", "mac" }).substr(0, 17), "BLE MAC Address: ");
	EXPECT_EQ(done({ "show", "txpower" }).substr(0, 24), "BLE TX Power Setting: 0x");
	const answer gap = ctl({ "show", "gap-param", "6" });
	if (is_ti()) {
		EXPECT_EQ(gap.out, "GAP Param ID: 6, Value: 160\n");
	} else {
		EXPECT_EQ(gap.status, 4) << "it has no such parameters";
		EXPECT_EQ(gap.err, "vorlinctl: show gap-param: it would have no effect: "
				   "a qualcomm controller has no GAP parameters\n");
	}
}

TEST_P(ClientOnEachController, SettingsReachTheController)
{
	start_with(GetParam());
	done({ "config", "mac", "A1B2C3D4E5F6" });
	EXPECT_EQ(done({ "show", "mac" }), "BLE MAC Address: A1B2C3D4E5F6\n");
	done({ "config", "interval", "200" });
	if (is_ti()) {
		EXPECT_EQ(done({ "show", "gap-param", "8" }), "GAP Param ID: 8, Value: 320\n");
	}
	const answer power = ctl({ "config", "txpower-index", "12" });
	EXPECT_EQ(power.status, strcmp(GetParam(), "ti-08") == 0 ? 0 : 4)
		<< "the older TI has no level 12, the other no levels: " << power.err;
}

TEST_P(ClientOnEachController, ATestIsBegunAndEnded)
{
	start_with(GetParam());
	done({ "test", "rx", "39" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_TESTING);
	EXPECT_EQ(done({ "test", "end" }).substr(0, 16), "Num of packets: ");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	done({ "test", "tx", "0", "37", "7" });
	done({ "test", "end" });
}

TEST_P(ClientOnEachController, AResetSetsTheControllerUpAnew)
{
	start_with(GetParam());
	done({ "set", "interval", "300" });
	done({ "reset", "soft" });
	done({ "reset", "hard" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	if (is_ti()) {
		EXPECT_EQ(done({ "show", "gap-param", "6" }), "GAP Param ID: 6, Value: 480\n");
	}
}

TEST_F(ClientCommands, ATestStopsTheBeaconsFirst)
{
	start_with("ti-08");
	done({ "beacon", "1", "--uuid", "random", "on" });
	done({ "start" });
	const answer test = ctl({ "test", "rx", "5" });
	EXPECT_EQ(test.status, 0) << test.err;
	EXPECT_TRUE(contains(test.err, "the beacons are stopped for the test")) << test.err;
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_TESTING);
	done({ "test", "end" });
	done({ "start" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
}

TEST_F(ClientCommands, CommandsAreServedWhileBeaconsRotateAndTheRotationGoesOn)
{
	start_with("ti-08");
	done({ "beacon", "1", "--uuid", "random", "on" });
	done({ "beacon", "2", "--uuid", "random", "on" });
	done({ "start" });
	for (int i = 0; i < 5; i++)
		EXPECT_EQ(done({ "show", "gap-param", "6" }), "GAP Param ID: 6, Value: 160\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(segment->config.opt.action, static_cast<uint32_t>(ACTION_START));
}

TEST_F(ClientCommands, AChangedBeaconGoesOnTheAirWithRestart)
{
	start_with("ti-08");
	done({ "beacon", "1", "uuid=" + std::string(an_uuid), "enable=1" });
	done({ "start" });
	const answer change = ctl({ "beacon", "1", "--major", "7" });
	EXPECT_EQ(change.status, 0);
	EXPECT_TRUE(contains(change.err, "what is on the air changes with restart")) << change.err;
	EXPECT_FALSE(contains(content_of(simulator.out), "major 7"));
	done({ "restart" });
	EXPECT_TRUE(comes_true([&] { return contains(content_of(simulator.out), "major 7"); }));
}

TEST_F(ClientCommands, BeaconsAreListedShownAndCleared)
{
	start_with("ti-08");
	done({ "beacon", "3", "--uuid", an_uuid, "--major", "258", "on" });
	const std::string list = done({ "beacon", "list", "--payload" });
	EXPECT_TRUE(contains(list, "0201061AFF4C000215E2C56DB5DFFB48D2B060D0F5A71096E001020000CA"))
		<< list;
	EXPECT_TRUE(contains(done({ "beacon", "show", "3" }), "25  01 02"));
	done({ "beacon", "clear", "3" });
	EXPECT_FALSE(contains(done({ "beacon", "list" }), an_uuid));
	EXPECT_STREQ(segment->config.beacon[2].uuid, "NONE");
}

TEST_F(ClientCommands, AStartWithoutABeaconSaysSo)
{
	start_with("ti-08");
	const answer start = ctl({ "start" });
	EXPECT_EQ(start.status, 0);
	EXPECT_TRUE(contains(start.err, "no beacon is on")) << start.err;
}

TEST_F(ClientCommands, TheTraceIsSwitchedByNames)
{
	start_with("ti-08");
	done({ "trace", "hci-tx,flow" });
	EXPECT_EQ(std::string(segment->cmd.argv[2]), "1000010");
	done({ "trace", "off" });
	EXPECT_EQ(ctl({ "trace", "noise" }).status, 1);
}

TEST_F(ClientCommands, RawWordsAreSentAsTheyAre)
{
	start_with("ti-08");
	EXPECT_EQ(done({ "raw", "show", "version", "--json" }),
		  "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(segment->cmd.argc, 3);
	EXPECT_EQ(std::string(segment->cmd.argv[2]), "--json");
	EXPECT_EQ(ctl({ "raw", "hcicmd" }).status, 4);
	EXPECT_EQ(ctl({ "raw", std::string(64, 'x') }).status, 1);
	EXPECT_EQ(ctl({ "raw", std::string(63, 'x') }).status, 4) << "sent, but not known";
	EXPECT_EQ(ctl(std::vector<std::string>(23, "raw")).status, 1) << "there are 21 slots";
}

TEST_F(ClientCommands, AFileIsAppliedInOneStep)
{
	start_with("ti-08");
	write_file("plan", "set interval 120\n"
			   "beacon 1 --uuid " +
				   std::string(an_uuid) +
				   " --major 3 on\n"
				   "beacon 2 --uuid random on\n"
				   "start\n");
	const std::string plan = folder + "/plan";
	const std::string dry = done({ "apply", "--dry-run", plan });
	EXPECT_TRUE(contains(dry, "interval: 100 -> 120\n")) << dry;
	EXPECT_TRUE(contains(dry, "beacon 1 major: 0 -> 3\n")) << dry;
	EXPECT_TRUE(contains(dry, "then: start\n")) << dry;
	EXPECT_STREQ(segment->config.interval, "100") << "nothing was done yet";

	EXPECT_EQ(done({ "apply", plan }), "");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_STREQ(segment->config.interval, "120");
	EXPECT_TRUE(comes_true([&] { return contains(content_of(simulator.out), "major 3"); }))
		<< content_of(simulator.out);
	EXPECT_EQ(done({ "show", "gap-param", "6" }), "GAP Param ID: 6, Value: 192\n")
		<< "the controller was told of the interval, too";
}

TEST_F(ClientCommands, WhatWasSavedIsRestoredAfterARestartOfTheDaemon)
{
	const program first = start_with("ti-08");

	done({ "beacon", "4", "--uuid", "random", "--minor", "9", "--power", "NONE", "on" });
	done({ "start" });
	const std::string saved = done({ "save" });
	write_file("saved", saved);
	EXPECT_EQ(stop(first, SIGTERM), 0);

	start_daemon();
	EXPECT_FALSE(contains(done({ "save" }), "beacon 4"));
	done({ "apply", folder + "/saved" });
	EXPECT_EQ(done({ "save" }), saved);
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
}

TEST_F(ClientCommands, AFaultInAFileChangesNothing)
{
	start_with("ti-08");
	write_file("faulty", "beacon 1 --major 5 on\n\n\n\n\n\nbeacon 2 --minor x\nstart\n");
	const answer apply = ctl({ "apply", folder + "/faulty" });

	EXPECT_EQ(apply.status, 1);
	EXPECT_TRUE(contains(apply.err, "line 7: minor: \"x\" does not fit")) << apply.err;
	EXPECT_STREQ(segment->config.beacon[0].major, "0");
	EXPECT_EQ(ctl({ "apply", folder + "/missing" }).status, 1);
}

TEST_F(ClientCommands, WaitEndsWhenTheStatusIsReached)
{
	start_with("ti-08");
	done({ "beacon", "1", "--uuid", "random", "on" });
	const program waiting = start({ built("vorlinctl"), "wait", "--status", "advertising" });

	done({ "start" });
	EXPECT_EQ(wait_for_end(waiting), 0);
	done({ "wait" });
	EXPECT_EQ(ctl({ "wait", "--status", "testing", "--timeout", "1" }).status, 5);
	EXPECT_EQ(ctl({ "wait", "--status", "sleeping" }).status, 1);
}

TEST_F(ClientCommands, WaitEndsWhenItIsKnownWhoTheControllerIs)
{
	const program waiting = start({ built("vorlinctl"), "wait" });

	start_simulator("ti-08", { "--fault", "late:opcode=0xFC1B,delay=1000" });
	start({ built("vorlind") });
	EXPECT_EQ(wait_for_end(waiting), 0);
	EXPECT_TRUE(contains(done({ "status" }), "controller   ti-08\n"));
}

TEST_F(ClientCommands, WaitEndsWithAControllerThatDoesNotTellWhoItIs)
{
	start_simulator("ti-08", { "--fault", "refuse:opcode=0xFC1B,times=always" });
	start_daemon();
	done({ "wait" });
	EXPECT_TRUE(contains(done({ "status" }), "controller   unknown\n"));
}

TEST_F(ClientCommands, WaitWaitsForTheDaemonItself)
{
	const program waiting = start({ built("vorlinctl"), "wait", "--status", "none" });

	start_daemon();
	EXPECT_EQ(wait_for_end(waiting), 0);
}

TEST_F(ClientCommands, AWatchedStatusIsShownAgainWhenItChanges)
{
	const program daemon = start_with("ti-08");
	const program watching = start({ built("vorlinctl"), "status", "--watch" });

	EXPECT_TRUE(comes_true([&] { return contains(content_of(watching.out), "2 available"); }));
	done({ "test", "rx", "1" });
	EXPECT_TRUE(comes_true([&] { return contains(content_of(watching.out), "5 testing"); }));
	EXPECT_FALSE(contains(content_of(watching.out), "\033")) << "it is no terminal";
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_EQ(wait_for_end(watching), 2);
}

TEST_F(ClientCommands, EachHasAHelpThatNamesItsArguments)
{
	const std::string help = done({ "--help" });

	for (const char *name :
	     { "beacon", "start", "stop", "restart", "status", "set", "show", "config", "test",
	       "reset", "trace", "apply", "save", "wait", "raw", "help" }) {
		EXPECT_TRUE(contains(help, std::string("\n  ") + name + " ")) << name;
		const std::string own = done({ "help", name });
		EXPECT_EQ(own.rfind(std::string("Usage: vorlinctl ") + name, 0), 0U) << own;
		if (strcmp(name, "raw") != 0) { /* raw passes all words to the daemon */
			EXPECT_EQ(done({ name, "--help" }), own);
		}
	}
	EXPECT_EQ(done({ "--version" }), "vorlinctl 0.3.0\n");
}

TEST_F(ClientCommands, TheTwoCommandsOfTheHelpAreTheTwoThatItTakes)
{
	std::vector<std::vector<std::string>> examples;
	std::istringstream help(done({ "--help" }));

	for (std::string line; std::getline(help, line);) {
		if (line.rfind("  vorlinctl ", 0) != 0)
			continue;
		std::istringstream words(line.substr(12));
		examples.emplace_back();
		for (std::string word; words >> word;)
			examples.back().push_back(word);
	}
	ASSERT_EQ(examples.size(), 2U);
	start_with("ti-08");
	for (const auto &example : examples)
		done(example);
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
}
