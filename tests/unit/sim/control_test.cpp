// SPDX-License-Identifier: Apache-2.0
/* The ways to control the simulator: options, scripts, commands. */
#include "sim/program/command_line.h"
#include "sim/program/control.h"
#include "sim/program/script.h"
#include "tests/unit/sim/talk.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

static std::string parse(std::vector<const char *> words, sim::options &result)
{
	return sim::parse_options(words, result);
}

static std::string complaint(std::vector<const char *> words)
{
	sim::options ignored;

	return parse(std::move(words), ignored);
}

TEST(SimOptions, AreTakenInBothSpellings)
{
	sim::options o;

	ASSERT_EQ(parse({ "--controller", "qualcomm", "--link=/dev/ttyMSM1", "--seconds=2.5",
			  "--baud", "0", "--fault", "late:delay=7", "--quirk", "credit-0",
			  "--latency", "2", "--latency", "0xFC1D=20", "--address",
			  "02:11:22:33:44:55", "--json" },
			o),
		  "");
	EXPECT_STREQ(o.session.controller.kind->name, "qualcomm");
	EXPECT_EQ(o.session.controller.manufacturer, 0x001D);
	EXPECT_EQ(o.session.controller.hci_version, 11);
	EXPECT_EQ(o.link, "/dev/ttyMSM1");
	EXPECT_EQ(o.run_time, 2500ms);
	EXPECT_EQ(o.session.baud, 0u);
	EXPECT_EQ(o.session.faults, std::vector<std::string>{ "late:delay=7" });
	EXPECT_EQ(o.session.controller.quirks, sim::QUIRK_CREDIT_0);
	EXPECT_EQ(o.session.latency, 2ms);
	EXPECT_EQ(o.session.latency_of.at(0xFC1D), 20ms);
	EXPECT_EQ(sim::address_text(o.session.controller.address), "02:11:22:33:44:55");
	EXPECT_EQ(o.shown, sim::view::json);
	EXPECT_EQ(o.what, sim::verb::simulate);
}

TEST(SimOptions, MakerAndVersionHoldWhereverTheyStand)
{
	sim::options o;

	ASSERT_EQ(parse({ "--hci-version", "9", "--manufacturer", "0x1D", "--controller", "ti-06" },
			o),
		  "");
	EXPECT_EQ(o.session.controller.manufacturer, 0x001D);
	EXPECT_EQ(o.session.controller.hci_version, 9);
}

TEST(SimOptions, ABadOneGetsOneClearLine)
{
	EXPECT_EQ(complaint({ "--foo" }), "unknown option '--foo'; --help lists them");
	EXPECT_EQ(complaint({ "foo" }), "unknown option 'foo'; --help lists them");
	EXPECT_EQ(complaint({ "--link" }), "--link needs a value: --link PATH");
	EXPECT_EQ(complaint({ "--live=1" }), "--live takes no value");
	EXPECT_EQ(complaint({ "--controller", "x" }),
		  "--controller cannot be 'x': it is ti-06, ti-08 or qualcomm");
	EXPECT_EQ(complaint({ "--baud", "-1" }),
		  "--baud cannot be '-1': it is a number from 0 to 4000000");
	EXPECT_EQ(complaint({ "--seconds", "soon" }),
		  "--seconds cannot be 'soon': it is a time above 0, such as 2.5");
	EXPECT_EQ(complaint({ "--seconds", "0" }),
		  "--seconds cannot be '0': it is a time above 0, such as 2.5");
	EXPECT_EQ(complaint({ "--summary", "0" }),
		  "--summary cannot be '0': it is a time above 0, such as 2.5");
	EXPECT_EQ(complaint({ "--rssi", "-128" }),
		  "--rssi cannot be '-128': it is a number from -127 to 20");
	EXPECT_EQ(complaint({ "--rssi", "21" }),
		  "--rssi cannot be '21': it is a number from -127 to 20");
	EXPECT_EQ(complaint({ "--patch-size", "27" }),
		  "--patch-size cannot be '27': it is a number from 28 to 1048576");
	EXPECT_EQ(complaint({ "--address", "1" }),
		  "--address cannot be '1': it is six pairs of digits such as 02:00:00:00:00:01");
	EXPECT_EQ(complaint({ "--latency", "x=1" }),
		  "--latency cannot be 'x=1': it is milliseconds, or such as 0xFC1D=20");
	EXPECT_EQ(complaint({ "--quirk", "x" }),
		  "--quirk cannot be 'x': it is one that --help=quirks lists");
	EXPECT_EQ(complaint({ "--fault", "x" }), "there is no fault 'x'; --help=faults lists them");
	EXPECT_EQ(complaint({ "--help=x" }),
		  "--help cannot be 'x': it is --help, --help=faults or --help=quirks");
	EXPECT_EQ(complaint({ "scan" }), "say: vorlin-sim scan SOCKET");
	EXPECT_EQ(complaint({ "control", "/s" }), "say: vorlin-sim control SOCKET COMMAND");
}

TEST(SimOptions, HelpHasAShortName)
{
	sim::options o;

	ASSERT_EQ(parse({ "-h" }, o), "");
	EXPECT_EQ(o.what, sim::verb::help);
}

TEST(SimOptions, TheHelpFitsAScreen)
{
	std::istringstream help(sim::help_text());
	std::string line;
	int count = 0;

	for (; std::getline(help, line); count++)
		EXPECT_LE(line.size(), 80u) << line;
	EXPECT_LE(count, 24);
}

/* The words of a help text that begin with "--", without their values. */
static std::vector<std::string> options_in(const std::string &help)
{
	std::istringstream words(help);
	std::vector<std::string> found;

	for (std::string word; words >> word;)
		if (word.starts_with("--"))
			found.push_back(word.substr(0, word.find_first_of("=,")));
	return found;
}

TEST(SimOptions, TheManualPageKnowsAllOfThem)
{
	std::ifstream file(VORLIND_SOURCE "/docs/vorlin-sim.1");
	const std::string page(std::istreambuf_iterator<char>(file), {});
	const std::vector<std::string> options = options_in(sim::help_text());

	ASSERT_GT(options.size(), 20u);
	for (const std::string &option : options)
		EXPECT_NE(page.find("Fl " + option.substr(1)), std::string::npos) << option;
}

TEST(SimOptions, WordsReachARunningSimulator)
{
	sim::options o;

	ASSERT_EQ(parse({ "control", "/s", "fault", "late:delay=7" }, o), "");
	EXPECT_EQ(o.what, sim::verb::control);
	EXPECT_EQ(o.control, "/s");
	EXPECT_EQ(o.remote_command, "fault late:delay=7");
	ASSERT_EQ(parse({ "scan", "/a" }, o), "");
	EXPECT_EQ(o.what, sim::verb::scan);
	EXPECT_EQ(o.air, "/a");
}

TEST(SimScript, CommandsHaveTheirTimes)
{
	std::vector<sim::timed_command> script;

	ASSERT_EQ(sim::parse_script("# first\n\n2.5 fault silent\n+0.5   clear\n1 unplug 200\n",
				    script),
		  "");
	ASSERT_EQ(script.size(), 3u);
	EXPECT_EQ(script[0].at, 1s);
	EXPECT_EQ(script[0].text, "unplug 200");
	EXPECT_EQ(script[1].at, 2500ms);
	EXPECT_EQ(script[1].text, "fault silent");
	EXPECT_EQ(script[2].at, 3s);
	EXPECT_EQ(script[2].text, "clear");
}

TEST(SimScript, ABadLineIsNamed)
{
	std::vector<sim::timed_command> script;

	EXPECT_EQ(sim::parse_script("1 clear\nsoon clear\n", script),
		  "line 2: 'soon' is no time; 2.5 or +0.5 is one");
	EXPECT_EQ(sim::parse_script("1 dance\n", script),
		  "line 1: there is no command 'dance'; help lists them");
	EXPECT_EQ(sim::parse_script("1 fault dance\n", script),
		  "line 1: there is no fault 'dance'; --help=faults lists them");
	EXPECT_EQ(sim::read_script("/tmp", script), "cannot read /tmp: Is a directory");
	EXPECT_EQ(sim::read_script("/dev/null", script), "") << "there is nothing to do";
	EXPECT_EQ(sim::read_script("/nowhere", script),
		  "cannot read /nowhere: No such file or directory");
}

/* A session without pace, and its control. */
struct attached {
	sim::session session = sim::session({ .controller = settings_named("ti-08"), .baud = 0 },
					    [](const sim::record &) {});
	sim::neighbours others = {};
	sim::controlled target = { session, others, {} };

	std::string say(const std::string &command)
	{
		session.receive(sim::parse_hex(command).value(), {});
		return sim::hex_text(session.advance({}));
	}
};

TEST(SimControl, FaultsAreSetListedAndCleared)
{
	attached on;

	EXPECT_EQ(sim::run_control("fault refuse:status=0x11,times=always", on.target), "ok\n");
	EXPECT_EQ(on.say(RESET), "04 0E 04 01 03 0C 11");
	EXPECT_EQ(sim::run_control("faults", on.target),
		  "refuse:status=0x11,times=always (struck 1)\nok\n");
	EXPECT_EQ(sim::run_control("clear", on.target), "ok\n");
	EXPECT_EQ(on.say(RESET), "04 0E 04 01 03 0C 00");
	EXPECT_EQ(sim::run_control("faults", on.target), "ok\n");
}

TEST(SimControl, TheControllerIsHandled)
{
	attached on;

	on.say(GAP_INIT);
	on.say(GAP_DATA);
	on.say(GAP_ON);
	EXPECT_EQ(sim::run_control("air", on.target),
		  "uuid 00112233-4455-6677-8899-AABBCCDDEEFF major 1 minor 515 power -59 dBm "
		  "interval 100 ms address 02:00:00:00:00:01\nok\n");
	EXPECT_EQ(sim::run_control("reboot", on.target), "ok\n");
	EXPECT_EQ(sim::run_control("air", on.target), "off\nok\n");
	EXPECT_EQ(sim::run_control("send 04 0E 00", on.target), "ok\n");
	EXPECT_EQ(sim::hex_text(on.session.advance({})), "04 0E 00");
	on.say("01 1D 20 01 00");
	EXPECT_EQ(sim::run_control("hear 7", on.target), "ok\n");
	EXPECT_EQ(on.say("01 1F 20 00"), "04 0E 06 01 1F 20 00 07 00");
	EXPECT_EQ(sim::run_control("unplug 250", on.target), "ok\n");
	EXPECT_EQ(on.target.unplug_for, sim::moment(250ms));
	EXPECT_EQ(sim::run_control("plug", on.target), "ok\n");
	EXPECT_TRUE(on.target.plug);
	EXPECT_FALSE(on.target.quit);
	EXPECT_EQ(sim::run_control("quit", on.target), "ok\n");
	EXPECT_TRUE(on.target.quit);
}

TEST(SimControl, WhatItDoesNotUnderstandChangesNothing)
{
	attached on;

	EXPECT_EQ(sim::run_control("dance", on.target),
		  "error: there is no command 'dance'; help lists them\n");
	EXPECT_EQ(sim::run_control("send xx", on.target), "error: 'xx' is not hexadecimal\n");
	EXPECT_EQ(sim::run_control("send", on.target), "error: '' is not hexadecimal\n");
	EXPECT_EQ(sim::run_control("hear", on.target), "error: '' is no number up to 65535\n");
	EXPECT_EQ(sim::run_control("reboot x", on.target),
		  "error: 'x' is no time in milliseconds\n");
	EXPECT_EQ(sim::run_control("clear now", on.target), "error: clear takes nothing more\n");
	EXPECT_TRUE(sim::run_control("help", on.target).ends_with("ok\n"));
}
