// SPDX-License-Identifier: Apache-2.0
/* A command without effect, or that the controller would refuse, is not sent. */
#include "tests/system/client_stage.h"

#include <cstring>

class ClientLimits : public ClientTest
{
      protected:
	/* Refused with one line; nothing is sent or changed. */
	void expect_refusal(const std::vector<std::string> &words, int status,
			    const std::string &line)
	{
		const ble_record before = segment->config;

		memset(segment->cmd.argv[0], 'x', 3);
		const answer a = ctl(words);
		EXPECT_EQ(a.status, status);
		EXPECT_EQ(a.out, "");
		EXPECT_EQ(a.err, "vorlinctl: " + line + "\n");
		EXPECT_EQ(memcmp(segment->cmd.argv[0], "xxx", 3), 0) << "a command was sent";
		EXPECT_EQ(memcmp(&before, &segment->config, sizeof(before)), 0);
	}
};

TEST_F(ClientLimits, BeaconFieldsThatTheDaemonDoesNotReadAreRefused)
{
	start_with("ti-08");
	expect_refusal({ "beacon", "1", "--interval", "200", "on" }, 1,
		       "beacon: interval of a beacon has no effect, vorlind does not read it: "
		       "set interval is for all beacons (vorlinctl help beacon)");
	EXPECT_EQ(ctl({ "beacon", "1", "--mac", "A1B2C3D4E5F6" }).status, 1);
	EXPECT_EQ(ctl({ "beacon", "1", "type=ibeacon" }).status, 1);
	EXPECT_STREQ(segment->config.beacon[0].interval, "100");
}

TEST_F(ClientLimits, AFileThatWasSavedWithThemIsStillTakenAndSaysSo)
{
	start_with("ti-08");
	write_file("saved", "beacon 1 --uuid " + std::string(an_uuid) +
				    " --mac A1B2C3D4E5F6 --id 7 --major 5 on\nstart\n");
	const answer apply = ctl({ "apply", folder + "/saved" });
	EXPECT_EQ(apply.status, 0);
	EXPECT_EQ(apply.err,
		  "vorlinctl: " + folder +
			  "/saved: line 1: id of a beacon has no effect, vorlind does not read it: "
			  "it is the number of the beacon\n");
	EXPECT_STREQ(segment->config.beacon[0].major, "5");
	EXPECT_STREQ(segment->config.beacon[0].mac, "NONE");
}

TEST_F(ClientLimits, AnIntervalThatNoControllerTakesIsRefused)
{
	start_with("ti-08");
	done({ "set", "interval", "10240" });
	expect_refusal({ "set", "interval", "10241" }, 1,
		       "set: interval: \"10241\" does not fit; it takes 100 to 10240 "
		       "(milliseconds) (vorlinctl help set)");
	expect_refusal({ "config", "interval", "10241" }, 1,
		       "config interval: \"10241\" does not fit; INTERVAL takes 100 to 10240 "
		       "milliseconds (vorlinctl help config)");
	write_file("plan", "set interval 12000\nstart\n");
	expect_refusal({ "apply", folder + "/plan" }, 1,
		       folder + "/plan: line 1: interval: \"12000\" does not fit; it takes 100 to "
				"10240 (milliseconds); nothing was changed");
}

TEST_F(ClientLimits, TheLongestIntervalIsTakenByEachController)
{
	for (const char *controller : { "ti-06", "ti-08", "qualcomm" }) {
		SCOPED_TRACE(controller);
		const program daemon = start_with(controller);
		done({ "set", "interval", "10240" });
		done({ "reset", "soft" });
		EXPECT_EQ(printed(daemon), "") << "the controller was set up with it";
		done({ "config", "interval", "10240" });
		EXPECT_EQ(stop(daemon, SIGTERM), 0);
		EXPECT_EQ(stop(simulator, SIGTERM), 0);
	}
}

TEST_F(ClientLimits, APowerIndexThatTheControllerDoesNotHaveIsRefused)
{
	start_with("ti-06");
	expect_refusal({ "set", "power-index", "4" }, 4,
		       "set: power-index: a ti-06 controller takes 0 to 3, or max, not 4");
	done({ "set", "power-index", "3" });
	done({ "set", "interval", "200" });
	write_file("plan", "set power-index 7\nbeacon 1 --major 9\nstart\n");
	expect_refusal({ "apply", folder + "/plan" }, 4,
		       folder + "/plan: power-index: a ti-06 controller takes 0 to 3, or max, "
				"not 7; nothing was changed");
}

TEST_F(ClientLimits, WhatAControllerDoesNotHaveIsRefused)
{
	start_with("qualcomm");
	expect_refusal({ "config", "txpower-index", "5" }, 4,
		       "config txpower-index: it would have no effect: "
		       "a qualcomm controller has no transmit power index");
	expect_refusal({ "config", "gap-param", "6", "300" }, 4,
		       "config gap-param: it would have no effect: "
		       "a qualcomm controller has no GAP parameters");
	expect_refusal({ "set", "power-index", "5" }, 4,
		       "set: power-index would have no effect: a qualcomm controller has none");
	done({ "set", "power-index", "max" });
}

TEST_F(ClientLimits, WithoutAControllerAnyIndexMayBeSet)
{
	start_daemon();
	done({ "set", "power-index", "7" });
	EXPECT_STREQ(segment->config.power_index, "7");
}
