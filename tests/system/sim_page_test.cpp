// SPDX-License-Identifier: Apache-2.0
/* Sentences of the simulator's manual page that no other test checks, used as a user would. */
#include "tests/system/sim_program.h"

#include <csignal>
#include <filesystem>
#include <fstream>

class SimPage : public SimProgram
{
      protected:
	/* Start a simulator at link(), without pace, with its control socket. */
	program start_controlled(std::vector<std::string> more = {})
	{
		more.insert(more.begin(),
			    { "--link", link(), "--baud", "0", "--control", folder + "/control" });
		const program sim = start_sim(more);

		EXPECT_TRUE(comes_true([&] {
			return std::filesystem::exists(link()) &&
			       std::filesystem::exists(folder + "/control");
		}));
		return sim;
	}

	/* Start a transmitter test, and end it. */
	static void be_on_air(host &peer)
	{
		peer.say(transmitter_test, 7);
		peer.say(test_end, 9);
	}

	std::string first_line(std::vector<std::string> words)
	{
		program sim;

		words.insert(words.end(), { "--seconds", "0.1" });
		EXPECT_EQ(run_sim(words, &sim), 0) << content_of(sim.err);
		return content_of(sim.out);
	}
};

static const std::string reset_done = "04 0E 04 01 03 0C 00";

TEST_F(SimPage, LimitsThatDependOnTheVersionFollowIt)
{
	const std::string short_interval =
		"01 06 20 0F 20 00 20 00 03 00 00 00 00 00 00 00 00 07 00";

	for (const auto &[hci_version, status] : { std::pair("8", "12"), std::pair("9", "00") }) {
		const program sim = start_sim(
			{ "--link", link(), "--baud", "0", "--hci-version", hci_version });
		{
			host peer(link());
			EXPECT_EQ(peer.ask(short_interval),
				  std::string("04 0E 04 01 06 20 ") + status);
		}
		EXPECT_EQ(stop(sim, SIGTERM), 0);
	}
}

TEST_F(SimPage, TheFirstLineTellsTheSeedWhereChanceMatters)
{
	std::ofstream(folder + "/script") << "0 faults\n";
	EXPECT_EQ(first_line({}).find("seed"), std::string::npos);
	EXPECT_TRUE(first_line({ "--fault", "late" }).ends_with(", seed 1\n"));
	EXPECT_TRUE(first_line({ "--script", folder + "/script" }).ends_with(", seed 1\n"));
	EXPECT_TRUE(first_line({ "--control", folder + "/control", "--seed", "5" })
			    .ends_with(", seed 5\n"));
}

TEST_F(SimPage, ALineForEachChangeOfTheAir)
{
	const program sim = start_controlled();
	{
		host peer(link());
		be_on_air(peer);
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	const std::string out = content_of(sim.out);
	EXPECT_EQ(count_of(out, "\n"), 3u) << out;
	EXPECT_EQ(count_of(out, "on     transmitter test channel 5"), 1u);
	EXPECT_EQ(count_of(out, "s  off\n"), 1u);
}

TEST_F(SimPage, QuietSaysNothingAboutTheAir)
{
	const program sim = start_controlled({ "--quiet" });
	{
		host peer(link());
		be_on_air(peer);
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	EXPECT_EQ(count_of(content_of(sim.out), "\n"), 1u) << "the first line alone";
}

TEST_F(SimPage, ASummaryTellsEachOnceAndSumsUp)
{
	const program sim = start_controlled({ "--summary", "0.2" });
	{
		host peer(link());
		be_on_air(peer);
		be_on_air(peer);
	}
	EXPECT_TRUE(comes_true([&] {
		return content_of(sim.out).find(" in    2 times  transmitter test") !=
		       std::string::npos;
	}));
	EXPECT_EQ(stop(sim, SIGTERM), 0);
}

TEST_F(SimPage, LogsMayBeMoreThanOneAndAreTheSame)
{
	const program sim = start_controlled({ "--log", folder + "/a", "--log", folder + "/b" });
	{
		host peer(link());
		be_on_air(peer);
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	EXPECT_EQ(content_of(folder + "/a"), content_of(folder + "/b"));
	EXPECT_EQ(count_of(content_of(folder + "/a"), "\"what\":\"command\""), 2u);
}

TEST_F(SimPage, AllFaultsThatAreGivenAreSet)
{
	start_controlled({ "--fault", "late:200", "--fault", "refuse:opcode=0x2008" });
	EXPECT_EQ(control("faults"), "late:200 (struck 0)\nrefuse:opcode=0x2008 (struck 0)\n");
	EXPECT_EQ(control("clear"), "");
	EXPECT_EQ(control("faults"), "");
}

TEST_F(SimPage, ExampleAnAnswerEndsTooEarlyAndLaterTheRestOfItComes)
{
	start_controlled();
	host peer(link());

	EXPECT_EQ(control("fault cut:at=3"), "");
	EXPECT_EQ(host::in_hex(peer.say(host::from_hex("01 03 0C 00"), 3)), "04 0E 04");
	EXPECT_EQ(control("send 01 03 0C 00"), "");
	EXPECT_EQ(host::in_hex(peer.say("", 4)), "01 03 0C 00");
	EXPECT_EQ(peer.ask("01 03 0C 00"), reset_done);
}

TEST_F(SimPage, ExampleEveryThirdAnswerLosesAByteTheSameOnesInEachRun)
{
	std::string runs[2];

	for (std::string &sent : runs) {
		const program sim = start_controlled({ "--fault", "drop:times=always,chance=33",
						       "--seed", "7", "--log", folder + "/log" });
		{
			host peer(link());
			std::string all;
			for (int i = 0; i < 30; i++)
				all += host::from_hex("01 03 0C 00");
			peer.say(all, 190); /* some of the 210 are lost */
			EXPECT_TRUE(comes_true([&] {
				return count_of(content_of(folder + "/log"),
						"\"what\":\"event\"") == 30;
			}));
		}
		EXPECT_EQ(stop(sim, SIGTERM), 0);
		const std::string log = content_of(folder + "/log");
		for (size_t at = 0; (at = log.find("\"bytes\":\"04", at)) != std::string::npos;
		     at++)
			sent += log.substr(at, log.find('}', at) - at);
	}
	EXPECT_EQ(runs[0], runs[1]);
	EXPECT_NE(runs[0].find("\"04 0E 04 01 03 0C 00\""), std::string::npos);
}

TEST_F(SimPage, ThePortGoesAndComesBack)
{
	start_controlled();
	EXPECT_EQ(control("unplug 3600000"), "");
	EXPECT_FALSE(std::filesystem::is_symlink(link()));
	EXPECT_EQ(control("plug"), "");
	EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(link()); }));
	EXPECT_EQ(host(link()).ask("01 03 0C 00"), reset_done);
}

TEST_F(SimPage, APortThatCannotComeBackEndsItWithOne)
{
	const program sim = start_controlled();

	EXPECT_EQ(control("unplug 3600000"), "");
	std::ofstream(link()) << "precious";
	control("plug");
	EXPECT_EQ(wait_for_end(sim), 1);
	EXPECT_EQ(content_of(sim.err),
		  "vorlin-sim: cannot come back: " + link() +
			  " exists and is not a link of a simulator; it is left alone\n");
	EXPECT_EQ(content_of(link()), "precious");
}

TEST_F(SimPage, AScriptCanEndItWhileNothingElseHappens)
{
	std::ofstream(folder + "/script") << "# a comment\n0.1 faults\n+0.1 quit\n";
	program sim;

	EXPECT_EQ(run_sim({ "--script", folder + "/script" }, &sim), 0);
}

TEST_F(SimPage, APortThatCannotComeBackAtItsTimeEndsItToo)
{
	const program sim = start_controlled();

	std::filesystem::remove(link());
	std::ofstream(link()) << "precious";
	EXPECT_EQ(control("unplug 500"), "");
	EXPECT_EQ(wait_for_end(sim), 1);
	EXPECT_EQ(content_of(link()), "precious");
}

TEST_F(SimPage, ControlCommandsDoWhatTheySay)
{
	const program sim = start_controlled();
	host peer(link());

	EXPECT_EQ(control("air"), "off\n");
	peer.say(receiver_test, 7);
	EXPECT_EQ(control("air"), "receiver test channel 5 (2412 MHz)\n");
	EXPECT_EQ(control("hear 7"), "");
	EXPECT_EQ(host::in_hex(peer.say(test_end, 9)), "04 0E 06 01 1F 20 00 07 00");
	peer.say(receiver_test, 7);
	EXPECT_EQ(control("reboot 1"), "");
	EXPECT_EQ(control("air"), "off\n");
	EXPECT_EQ(control("scan"), "");
	EXPECT_NE(control("help").find("  quit"), std::string::npos);
	program client;
	EXPECT_EQ(run_sim({ "control", folder + "/control", "dance" }, &client), 1);
	EXPECT_EQ(content_of(client.err),
		  "vorlin-sim: there is no command 'dance'; help lists them\n");
	EXPECT_EQ(control("quit"), "");
	EXPECT_EQ(wait_for_end(sim), 0);
}

TEST_F(SimPage, AHostWithoutCreditIsToldOfInTheRecords)
{
	start_controlled({ "--log", folder + "/log", "--latency", "20" });
	host peer(link());

	EXPECT_EQ(peer.say(version + version, 30).size(), 30u) << "and yet it is carried out";
	EXPECT_TRUE(comes_true([&] {
		return count_of(content_of(folder + "/log"),
				"the host had no credit for this command") == 1;
	}));
}

TEST_F(SimPage, ABridgeCutsALongWrite)
{
	start_controlled({ "--fault", "write-limit:bytes=6", "--log", folder + "/log" });
	host peer(link());

	EXPECT_EQ(host::in_hex(peer.say(host::from_hex("01 03 0C 00 01 01 10 00"), 7)), reset_done);
	EXPECT_EQ(host::in_hex(peer.say(host::from_hex("10 00"), 15)),
		  "04 0E 0C 01 01 10 00 08 10 00 08 0D 00 10 01")
		<< "the two bytes that the bridge has lost";
}
