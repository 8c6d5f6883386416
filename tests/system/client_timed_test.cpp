// SPDX-License-Identifier: Apache-2.0
/* Production tests in one command: with a time, a limit, a sweep, and an end in every case. */
#include "tests/system/client_stage.h"

#include <csignal>

class ClientTimed : public ClientTest
{
      protected:
	/* The number of packets in a text, or -1. */
	static int packets_of(const std::string &text)
	{
		const size_t at = text.find("Num of packets: ");

		return at == std::string::npos ? -1 : std::stoi(text.substr(at + 16));
	}
};

class ClientTimedOnEach : public ClientTimed, public testing::WithParamInterface<const char *>
{
};

INSTANTIATE_TEST_SUITE_P(, ClientTimedOnEach, testing::Values("ti-06", "ti-08", "qualcomm"),
			 [](const auto &kind) {
				 std::string name = kind.param;
				 std::erase(name, '-');
				 return name;
			 });

TEST_P(ClientTimedOnEach, OneCommandBeginsWaitsEndsAndJudges)
{
	start_with(GetParam(), { "--receiver-count", "1500" });
	const answer passed = ctl({ "test", "rx", "19", "--seconds", "1", "--min", "1500" });
	EXPECT_EQ(passed.status, 0) << passed.err;
	EXPECT_EQ(passed.out, "Num of packets: 1500\npassed: 1500 packets, at least 1500 wanted\n");
	EXPECT_EQ(passed.err, "") << "no terminal, no progress";
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);

	const answer failed = ctl({ "test", "rx", "19", "--seconds=1", "--min=1501" });
	EXPECT_EQ(failed.status, 7) << failed.err;
	EXPECT_EQ(failed.out, "Num of packets: 1500\nfailed: 1500 packets, at least 1501 wanted\n");

	EXPECT_EQ(done({ "test", "tx", "0", "37", "7", "--seconds", "1" }), "Num of packets: 0\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
}

TEST_P(ClientTimedOnEach, ASweepIsATable)
{
	start_with(GetParam(), { "--receiver-count", "1500" });
	EXPECT_EQ(done({ "test", "sweep", "--channels", "0,38-39", "--min", "1500" }),
		  "channel   MHz  packets    min  verdict\n"
		  "      0  2402     1500   1500  pass\n"
		  "     38  2478     1500   1500  pass\n"
		  "     39  2480     1500   1500  pass\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
}

TEST_F(ClientTimed, ASweepTakesAFileWithABoundForEachChannel)
{
	start_with("ti-08", { "--receiver-count", "1500" });
	write_file("channels", "# the fixture's\n12\n19 1501 # too many\n");
	const answer sweep = ctl({ "test", "sweep", folder + "/channels", "--csv", "--min", "1" });
	EXPECT_EQ(sweep.status, 7) << "channel 19 counts fewer";
	EXPECT_EQ(sweep.out, "channel,mhz,packets,min,verdict\n"
			     "12,2426,1500,1,pass\n"
			     "19,2440,1500,1501,fail\n");
}

TEST_F(ClientTimed, BadOptionsAre1)
{
	start_with("ti-08");
	write_file("bad", "12 x\n");
	write_file("empty", "# nothing\n");
	const std::vector<std::vector<std::string>> bad = {
		{ "rx", "19", "--seconds", "0" },
		{ "rx", "19", "--seconds", "x" },
		{ "rx", "19", "--min", "5" },
		{ "rx", "19", "--seconds", "1", "--min", "65536" },
		{ "tx", "19", "37", "0", "--seconds", "1", "--min", "5" },
		{ "end", "--seconds", "1" },
		{ "rx", "19", "--csv" },
		{ "rx", "40", "--seconds", "1" },
		{ "sweep" },
		{ "sweep", "--channels", "40" },
		{ "sweep", "--channels", "3-1" },
		{ "sweep", "--channels", "" },
		{ "sweep", "--channels", "1,x" },
		{ "sweep", "--channels", "0-39,0-39,0" },
		{ "sweep", folder + "/bad" },
		{ "sweep", folder + "/empty" },
		{ "sweep", folder + "/missing" },
		{ "sweep", folder + "/bad", "--channels", "1" },
		{ "sweep", folder + "/bad", "more" },
	};
	for (std::vector<std::string> words : bad) {
		words.insert(words.begin(), "test");
		const answer a = ctl(words);
		EXPECT_EQ(a.status, 1) << words[1] << " " << words.back() << ": " << a.err;
		EXPECT_EQ(a.err.find('\n'), a.err.size() - 1) << "one line: " << a.err;
		EXPECT_EQ(a.out, "");
	}
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE) << "no test was begun";
}

TEST_F(ClientTimed, WhatRunsAlreadyIsSaidAndNotBegunTwice)
{
	start_with("ti-08");
	done({ "test", "rx", "3" });
	const std::vector<std::vector<std::string>> again = {
		{ "test", "rx", "3" },
		{ "test", "rx", "3", "--seconds", "1" },
		{ "test", "tx", "3", "37", "0" },
		{ "test", "sweep", "--channels", "0" },
	};
	for (const auto &words : again) {
		const answer a = ctl(words);
		EXPECT_EQ(a.status, 4);
		EXPECT_EQ(a.err, "vorlinctl: test " + words[1] +
					 ": a test is running already; test end ends it and tells "
					 "its packets\n");
		EXPECT_EQ(segment->config.opt.status, BLE_STATUS_TESTING) << "it goes on";
	}
	EXPECT_GE(packets_of(done({ "test", "end" })), 0);
}

TEST_F(ClientTimed, CtrlCEndsTheTestAndTellsItsPackets)
{
	start_with("ti-08");
	for (const int signo : { SIGINT, SIGTERM, SIGHUP }) {
		const program test = start({ built("vorlinctl"), "test", "rx", "3", "--seconds",
					     "3600", "--min", "1" });
		done({ "wait", "--status", "testing" });
		EXPECT_EQ(kill(test.pid, signo), 0);
		EXPECT_EQ(wait_for_end(test), 128 + signo);
		EXPECT_GE(packets_of(content_of(test.out)), 0) << content_of(test.err);
		EXPECT_FALSE(contains(content_of(test.out), "wanted")) << "it was not a whole test";
		EXPECT_TRUE(contains(content_of(test.err), "interrupted")) << content_of(test.err);
		EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	}
}

TEST_F(ClientTimed, CtrlCEndsASweepAfterTheChannelsThatItHas)
{
	start_with("ti-08");
	const program sweep = start(
		{ built("vorlinctl"), "test", "sweep", "--channels", "0-39", "--seconds", "3600" });
	done({ "wait", "--status", "testing" });
	EXPECT_EQ(kill(sweep.pid, SIGINT), 0);
	EXPECT_EQ(wait_for_end(sweep), 128 + SIGINT);
	EXPECT_EQ(content_of(sweep.out), "channel   MHz  packets    min  verdict\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
}

TEST_F(ClientTimed, ATestThatSomebodyElseEndsIs4)
{
	start_with("ti-08");
	const program test = start({ built("vorlinctl"), "test", "rx", "3", "--seconds", "3600" });
	done({ "wait", "--status", "testing" });
	done({ "test", "end" });
	EXPECT_EQ(wait_for_end(test), 4);
	EXPECT_TRUE(contains(content_of(test.err), "ended by something else"))
		<< content_of(test.err);
}

TEST_F(ClientTimed, ADaemonThatEndsIs2)
{
	const program daemon = start_with("ti-08");
	const program test = start({ built("vorlinctl"), "test", "rx", "3", "--seconds", "3600" });

	done({ "wait", "--status", "testing" });
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_EQ(wait_for_end(test), 2) << content_of(test.err);
}

TEST_F(ClientTimed, OnATerminalItTellsHowFarItIs)
{
	start_with("ti-08");
	program typescript;
	if (run({ "/usr/bin/env", "script", "-qec",
		  quoted(built("vorlinctl")) + " test rx 3 --seconds 2", "/dev/null" },
		&typescript) == 127)
		GTEST_SKIP() << "there is no script(1) here";
	EXPECT_TRUE(contains(content_of(typescript.out), "\rtest rx 3: ") &&
		    contains(content_of(typescript.out), " of 2 s"))
		<< content_of(typescript.out) << content_of(typescript.err);
}
