// SPDX-License-Identifier: Apache-2.0
/* vorlinctl check says why nothing is on the air; status marks what differs from the settings.
 */
#include "tests/system/client_stage.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

class ClientCheck : public ClientTest
{
      protected:
	/* Check the exit status, the first line, and the reason somewhere after it. */
	void expect_verdict(int status, const std::string &verdict, const std::string &reason = "")
	{
		const answer a = ctl({ "check" });

		EXPECT_EQ(a.status, status) << a.out << a.err;
		EXPECT_EQ(a.out.substr(0, a.out.find('\n')), verdict);
		EXPECT_TRUE(contains(a.out, reason)) << a.out;
		EXPECT_EQ(a.err, "");
	}

	void start_controlled(const std::string &controller, std::vector<std::string> options = {})
	{
		options.insert(options.end(), { "--control", folder + "/control" });
		simulator = start_simulator(controller, options);
	}

	void control(const std::string &command)
	{
		program client;

		EXPECT_EQ(run({ built("vorlin-sim"), "control", folder + "/control", command },
			      &client),
			  0);
	}

	void put_on_air()
	{
		done({ "beacon", "1", "--uuid", "random", "on" });
		done({ "start" });
	}
};

class ClientCheckOf : public ClientCheck, public testing::WithParamInterface<const char *>
{
      protected:
	[[nodiscard]] std::string controller() const
	{
		return GetParam();
	}
};

INSTANTIATE_TEST_SUITE_P(Controllers, ClientCheckOf, testing::Values("ti-06", "ti-08", "qualcomm"));

TEST_F(ClientCheck, NoDaemonIs2)
{
	expect_verdict(2, "vorlind is not running (no daemon serves the shared memory)");
}

TEST_F(ClientCheck, NoPermissionIs2)
{
	program as_other;

	start_with("ti-08");
	const int status = run({ "/usr/bin/setpriv", "--reuid=65534", "--clear-groups",
				 built("vorlinctl"), "check" },
			       &as_other);
	if (status == 1 || status == 127)
		GTEST_SKIP() << "cannot become another user here: " << content_of(as_other.err);
	EXPECT_EQ(status, 2) << content_of(as_other.err);
	EXPECT_TRUE(contains(content_of(as_other.out), "permission denied"));
}

TEST_F(ClientCheck, NoLineIs3)
{
	start_daemon();
	expect_verdict(3, "no controller: no serial line is there", "ttyMSM1");
}

TEST_F(ClientCheck, ALineThatAnotherProgramHoldsIs3AndSaysWhich)
{
	start_controlled("ti-08");
	const program other =
		start({ "/bin/sh", "-c", "exec flock /dev/ttyMSM1 sleep 60 </dev/ttyMSM1" });
	ASSERT_TRUE(comes_true([&] {
		return contains(content_of("/proc/locks"), std::to_string(other.pid) + " ");
	}));
	start_daemon();
	expect_verdict(3,
		       "no controller: /dev/ttyMSM1 is held by flock (process id " +
			       std::to_string(other.pid) + ")",
		       "vorlind said: WARNING: flock failed.");
}

TEST_F(ClientCheck, ALineThatTheDaemonMayNotOpenIs3)
{
	program as_other;
	const std::string vorlind = daemon_for_anyone();

	if (run({ "/usr/bin/setpriv", "--reuid=65534", "--clear-groups", vorlind, "--version" },
		&as_other) != 0)
		GTEST_SKIP() << "cannot become another user here: " << content_of(as_other.err);
	start_controlled("ti-08");
	ASSERT_EQ(run({ "/bin/sh", "-c", "chmod 600 /dev/ttyMSM1" }, &as_other), 0);
	start({ "/usr/bin/setpriv", "--reuid=65534", "--clear-groups", vorlind });
	ASSERT_EQ(ctl({ "wait", "--status", "none" }).status, 0);
	done({ "show", "version" }); /* it is up */
	expect_verdict(3, "no controller: vorlind has not opened /dev/ttyMSM1",
		       "look who may open it");
}

TEST_P(ClientCheckOf, AWrongBaudRateIs3)
{
	make_patch_for(controller());
	start_controlled(controller(), { "--fault", "wrong-baud:times=always" });
	start_daemon();
	expect_verdict(3,
		       "no usable controller: nothing that vorlind knows answers on /dev/ttyMSM1",
		       "another baud rate than 115200");
}

TEST_P(ClientCheckOf, AFirstCommandThatWasLostAtTheBootIs3AndTheAdviceHelps)
{
	make_patch_for(controller());
	start_controlled(controller(), { "--quirk", "first-unanswered" });
	start_daemon();
	done({ "set", "mac", "NONE" });
	expect_verdict(3,
		       "no usable controller: nothing that vorlind knows answers on /dev/ttyMSM1",
		       "vorlinctl reset soft");
	done({ "reset", "soft" });
	put_on_air();
	expect_verdict(0, "ok: 1 beacon on the air");
}

TEST_F(ClientCheck, AMissingPatchIsToldAsSuch)
{
	start_controlled("qualcomm");
	start_daemon();
	done({ "beacon", "1", "--uuid", "random", "on" });
	EXPECT_NE(ctl({ "start" }).status, 0);
	expect_verdict(3, "no usable controller: it has failed while it was in use",
		       "the controller is without its patch");
	expect_verdict(3, "no usable controller: it has failed while it was in use",
		       "install it under /lib/firmware/IPQ5018");
}

TEST_P(ClientCheckOf, ADaemonThatHangsWithinAnEventIs5)
{
	start_with(controller());
	EXPECT_EQ(stop(simulator, SIGTERM), 0);
	start_controlled(controller());
	done({ "reset", "soft" });
	put_on_air();
	control("fault cut:at=3");
	EXPECT_EQ(ctl({ "show", "mac", "--timeout", "1" }).status, 5);
	expect_verdict(5, "vorlind hangs, waiting for the rest of an event from the controller",
		       "vorlinctl guard --restarts");
	EXPECT_TRUE(contains(ctl({ "status" }).out,
			     "it hangs, waiting for the rest of an event from the controller"));
	EXPECT_EQ(ctl({ "wait", "--timeout", "1" }).status, 5) << "it is not usable";
}

TEST_F(ClientCheck, ADaemonWhoseMessagesNobodyReadsIs5)
{
	program maker;

	ASSERT_EQ(run({ "/bin/sh", "-c", "mkfifo pipe" }, &maker), 0);
	const int reader = open((folder + "/pipe").c_str(), O_RDWR);
	start_controlled("ti-08");
	const program daemon = start(
		{ "/bin/sh", "-c",
		  "exec 2>pipe; head -c 65000 /dev/zero >&2; exec " + quoted(built("vorlind")) });
	EXPECT_TRUE(comes_true([&] { return ctl({ "wait", "--timeout", "1" }).status == 0; }));
	for (int i = 0; i < 100 && ctl({ "show", "version", "--timeout", "1" }).status != 5; i++)
		;
	expect_verdict(5, "vorlind hangs, waiting for a reader of its messages",
		       "vorlind's messages cannot be read");
	close(reader);
	EXPECT_EQ(stop(daemon, SIGKILL), 128 + SIGKILL);
}

TEST_F(ClientCheck, AStoppedDaemonIs5)
{
	const program daemon = start_with("ti-08");

	EXPECT_EQ(kill(daemon.pid, SIGSTOP), 0);
	expect_verdict(5, "vorlind hangs, waiting for a signal to go on: it is stopped");
	EXPECT_EQ(kill(daemon.pid, SIGCONT), 0);
}

TEST_F(ClientCheck, ADaemonThatIsAtWorkForLongIs4)
{
	program maker;

	/* At 115200 baud this patch takes a minute and a half. */
	ASSERT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin", "--patch-size",
			"1000000" },
		      &maker),
		  0)
		<< content_of(maker.err);
	start_controlled("qualcomm");
	start({ built("vorlind") });
	ASSERT_TRUE(comes_true([&] { return contains(ctl({ "status" }).out, "busy"); }));
	expect_verdict(4, "vorlind is at work with the controller, for more than 8 seconds",
		       "a patch may take so long");
}

TEST_P(ClientCheckOf, TheStatusTellsWhatKeepsTheDaemonBusy)
{
	make_patch_for(controller());
	start_controlled(controller());
	start_daemon();
	done({ "set", "mac", "NONE" });
	put_on_air();
	EXPECT_FALSE(contains(done({ "status" }), "busy"));
	/* It stays: the rotation's own exchanges look busy as well, before this one is reached. */
	control("fault silent:opcode=0x1009,times=always");
	const program asking = start({ built("vorlinctl"), "show", "mac" });
	EXPECT_TRUE(comes_true([&] {
		return contains(done({ "status" }),
				"busy, waiting for an answer of the controller\n");
	}));
	EXPECT_EQ(wait_for_end(asking), 4);
}

TEST_P(ClientCheckOf, AProductionTestThatWasLeftRunningIs4)
{
	start_with(controller());
	done({ "test", "rx", "3" });
	expect_verdict(4, "a production test runs, so no beacon is on the air",
		       "vorlinctl test end");
}

TEST_P(ClientCheckOf, WhatWasNeverStartedIs4AndTheRestIsTold)
{
	start_with(controller());
	expect_verdict(4, "no beacon is active, so nothing is on the air");
	strcpy(segment->config.beacon[2].enable, "1");
	expect_verdict(4, "no beacon is active, so nothing is on the air",
		       "beacon 3 is on without a UUID");
	strcpy(segment->config.beacon[2].enable, "0");
	done({ "beacon", "1", "--uuid", "random", "on" });
	expect_verdict(4, "1 beacon is set, but never started", "vorlinctl start");
	done({ "start" });
	expect_verdict(0, "ok: 1 beacon on the air");
	done({ "stop" });
	expect_verdict(0, "ok: stopped, nothing is to be on the air");
}

TEST_P(ClientCheckOf, WhatIsSetAndNotOnTheAirIs4AndMarked)
{
	start_with(controller());
	done({ "reset", "soft" });
	put_on_air();
	done({ "beacon", "2", "--uuid", "random", "on" });
	expect_verdict(4, "what is set differs from what was started",
		       "beacon 2: vorlinctl restart");
	EXPECT_TRUE(contains(done({ "beacon", "list" }), "(not so on the air: restart)"));
	done({ "restart" });
	expect_verdict(0, "ok: 2 beacons on the air");
	EXPECT_FALSE(contains(done({ "status" }), "(not so on the air"));
	done({ "beacon", "1", "off" });
	EXPECT_TRUE(contains(done({ "status" }), "(not so on the air: restart)"));
	done({ "restart" });
	done({ "set", "interval", "150" });
	expect_verdict(4, "what is set differs from what was started",
		       "interval: vorlinctl reset soft");
	EXPECT_TRUE(contains(done({ "status" }),
			     "interval 150 (the controller has another: reset soft)"));
	done({ "reset", "soft" });
	done({ "wait", "--status", "advertising" });
	expect_verdict(0, "ok: 1 beacon on the air");
}

TEST_P(ClientCheckOf, AnIntervalThatTheControllerRefusesIs4)
{
	start_with(controller());
	put_on_air();
	strcpy(segment->config.interval, "12000"); /* another program's */
	expect_verdict(4, "the controller refuses the setting interval 12000",
		       "100 to 10240 milliseconds");
}

TEST_F(ClientCheck, ABeaconThatIsOnWithoutAUuidSaysSo)
{
	start_with("ti-08");
	const answer a = ctl({ "beacon", "1", "on" });
	EXPECT_TRUE(contains(a.err, "beacon 1 is on, but without a UUID it is not sent")) << a.err;
	EXPECT_TRUE(contains(done({ "beacon", "list" }), "(on, but without a UUID)"));
}
