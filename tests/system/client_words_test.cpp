// SPDX-License-Identifier: Apache-2.0
/* What all commands have in common: options, messages, the display of a power. */
#include "tests/system/client_stage.h"

#include <csignal>

class ClientWords : public ClientTest
{
      protected:
	std::string complaint(const std::vector<std::string> &words)
	{
		const answer a = ctl(words);

		EXPECT_EQ(a.status, 1) << a.out;
		return a.err;
	}
};

TEST_F(ClientWords, AMessageBeginsWithTheWordsTyped)
{
	EXPECT_EQ(complaint({ "beacon" }), "vorlinctl: beacon: which one? They are numbered 1 to 5 "
					   "(vorlinctl help beacon)\n");
	EXPECT_EQ(complaint({ "show" }), "vorlinctl: show: what? There are version mac txpower "
					 "gap-param (vorlinctl help show)\n");
	EXPECT_EQ(complaint({ "show", "gap-param" }),
		  "vorlinctl: show gap-param: ID is missing; it takes 0 to 103 "
		  "(vorlinctl help show)\n");
	EXPECT_EQ(complaint({ "test", "rx" }),
		  "vorlinctl: test rx: CHANNEL is missing; it takes 0 to 39 "
		  "(vorlinctl help test)\n");
	EXPECT_EQ(complaint({ "test", "end", "now" }),
		  "vorlinctl: test end: \"now\" is too much (vorlinctl help test)\n");
}

TEST_F(ClientWords, HelpBehindAnUnknownCommandIs1)
{
	const char there_is_none[] =
		"vorlinctl: there is no command \"dance\" (vorlinctl --help)\n";

	EXPECT_EQ(complaint({ "dance", "--help" }), there_is_none);
	EXPECT_EQ(complaint({ "help", "dance" }), there_is_none);
	EXPECT_EQ(complaint({ "dance" }), there_is_none);
	EXPECT_EQ(ctl({ "--help", "start" }).status, 0);
}

TEST_F(ClientWords, TwoHyphensEndTheOptions)
{
	start_with("ti-08");
	write_file("--dry-run", "beacon 1 --major 7\n");
	std::filesystem::current_path(folder);
	done({ "apply", "--", "--dry-run" });
	EXPECT_STREQ(segment->config.beacon[0].major, "7");
	done({ "--", "start" });
	EXPECT_EQ(complaint({ "status", "--", "--json" }),
		  "vorlinctl: status: unknown argument \"--json\" (vorlinctl help status)\n");
	EXPECT_EQ(complaint({ "wait", "--", "--status" }),
		  "vorlinctl: wait: unknown argument \"--status\" (vorlinctl help wait)\n");
}

TEST_F(ClientWords, TheTimeoutEndsAWatchToo)
{
	start_with("ti-08");
	const answer watch = ctl({ "--timeout", "1", "status", "--watch" });
	EXPECT_EQ(watch.status, 5);
	EXPECT_TRUE(contains(watch.out, "2 available"));
	EXPECT_EQ(watch.err, "vorlinctl: timeout: watched for as long as --timeout says\n");
}

TEST_F(ClientWords, OnAndOffOfATraceStandAlone)
{
	start_with("ti-08");
	EXPECT_EQ(complaint({ "trace", "hci,off" }),
		  "vorlinctl: trace: on and off stand alone, without a comma "
		  "(vorlinctl help trace)\n");
	done({ "trace", "hci,ipc" });
}

TEST_F(ClientWords, APowerIsShownAndSavedInDbm)
{
	start_with("ti-08");
	done({ "set", "power", "-59" });
	done({ "beacon", "1", "--power", "-60" });
	EXPECT_STREQ(segment->config.measured_power, "197");
	EXPECT_TRUE(contains(done({ "status" }), "power -59 dBm, power-index max\n"));
	const std::string saved = done({ "save" });
	EXPECT_TRUE(contains(saved, "\nset power -59\n")) << saved;
	EXPECT_TRUE(contains(saved, "\nbeacon 1 --power -60 off\n")) << saved;
	write_file("plan", "set power -70\nbeacon 1 --power 200\n");
	EXPECT_EQ(done({ "apply", "--dry-run", folder + "/plan" }),
		  "power: -59 -> -70\nbeacon 1 power: -60 -> -56\n");
}

TEST_F(ClientWords, AFailedStartSaysWhatBringsTheControllerBack)
{
	const program daemon = start_with("ti-08");

	done({ "beacon", "1", "--uuid", "random", "on" });
	EXPECT_EQ(kill(simulator.pid, SIGSTOP), 0);
	const answer failed = ctl({ "start" });
	EXPECT_EQ(failed.status, 4);
	EXPECT_TRUE(contains(failed.err, "vorlinctl reset soft")) << failed.err;
	const answer start = ctl({ "start" });
	EXPECT_EQ(start.status, 3);
	EXPECT_TRUE(contains(start.err, "vorlinctl reset soft")) << start.err;
	EXPECT_EQ(kill(simulator.pid, SIGCONT), 0);
	/* The earlier commands get late answers; one of the resets drops them. */
	EXPECT_TRUE(comes_true([&] { return ctl({ "reset", "soft" }).status == 0; }));
	done({ "wait", "--status", "advertising" });
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}
