// SPDX-License-Identifier: Apache-2.0
/* The faults: names, keys, agreement with the manual page, and the effect of several of them. */
#include "sim/line/fault.h"
#include "tests/unit/sim/attached.h"

#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

TEST(SimFault, EveryKeyIsTaken)
{
	sim::fault one;

	ASSERT_EQ(sim::parse_fault("insert:opcode=0x2008,event=2,skip=3,times=always,chance=50,"
				   "at=7,byte=0x55,way=in",
				   one),
		  "");
	EXPECT_EQ(one.kind, sim::fault_kind::insert);
	EXPECT_EQ(one.opcode, 0x2008);
	EXPECT_EQ(one.event, 2u);
	EXPECT_EQ(one.skip, 3u);
	EXPECT_EQ(one.times, 0u);
	EXPECT_EQ(one.chance, 50u);
	EXPECT_EQ(one.at.how, sim::choice::fixed);
	EXPECT_EQ(one.at.value, 7u);
	EXPECT_EQ(one.value.value, 0x55u);
	EXPECT_TRUE(one.from_host);
	ASSERT_EQ(sim::parse_fault("split:at=each,delay=20", one), "");
	EXPECT_EQ(one.at.how, sim::choice::each);
	EXPECT_EQ(one.delay, 20ms);
	EXPECT_EQ(one.times, 1u);
	ASSERT_EQ(sim::parse_fault("refuse:status=0x0C,times=2", one), "");
	EXPECT_EQ(one.status, 0x0C);
	EXPECT_EQ(one.times, 2u);
}

TEST(SimFault, WhatCannotBeIsSaid)
{
	sim::fault one;
	const auto problem = [&](const char *text) { return sim::parse_fault(text, one); };

	EXPECT_EQ(problem("silent:at=3"),
		  "fault silent: 'at=3' cannot be: it is no key of this fault");
	EXPECT_EQ(problem("late:delay=soon"),
		  "fault late: 'delay=soon' cannot be: it is a number from 0 to 3600000");
	EXPECT_EQ(problem("drop:at=x"),
		  "fault drop: 'at=x' cannot be: it is a number from 0 to 300, or random or each");
	EXPECT_EQ(problem("drop:times=0"),
		  "fault drop: 'times=0' cannot be: it is a number from 1 to 1000000, or always");
	EXPECT_EQ(problem("drop:opcode=x"),
		  "fault drop: 'opcode=x' cannot be: it is a number from 0 to 65535, or any");
	EXPECT_EQ(problem("drop:way=up"), "fault drop: 'way=up' cannot be: it is out or in");
}

TEST(SimFault, ValuesOutsideTheirRangeAreRefused)
{
	for (const char *text : { "flip:mask=256",
				  "flip:mask=0",
				  "drop:at=301",
				  "drop:at=all",
				  "refuse:status=0",
				  "refuse:status=256",
				  "split:at=0",
				  "junk:count=0",
				  "short-length:by=0",
				  "wrong-baud:baud=0",
				  "wrong-baud:baud=random",
				  "refuse-segment:segment=0",
				  "late:delay=3600001",
				  "silent:chance=0",
				  "silent:event=10",
				  "deaf-after-reset:ms=0",
				  "write-limit:bytes=0",
				  "unasked:event=0",
				  "unasked:event=",
				  "unasked:when=now",
				  "hardware-error:code=256",
				  "silent:5",
				  "unasked:0E",
				  "nop-at-start:ms=5",
				  "late:delay",
				  "late:=5" }) {
		sim::fault one;
		EXPECT_NE(sim::parse_fault(text, one), "") << text;
	}
}

TEST(SimFault, OfASingleKeyTheValueIsEnough)
{
	sim::fault one;

	ASSERT_EQ(sim::parse_fault("write-limit:20", one), "");
	EXPECT_EQ(one.count, 20u);
	ASSERT_EQ(sim::parse_fault("late:200,opcode=0x1001", one), "");
	EXPECT_EQ(one.delay, 200ms);
	EXPECT_EQ(one.opcode, 0x1001);
	ASSERT_EQ(sim::parse_fault("unasked:event=04 3E 00", one), "");
	EXPECT_EQ(sim::hex_text(one.unasked), "04 3E 00");
}

/* The manual page's section about the faults. */
static std::string page_of_faults()
{
	std::ifstream file(VORLIND_SOURCE "/docs/vorlin-sim.1");
	const std::string page(std::istreambuf_iterator<char>(file), {});
	const size_t begin = page.find("\n.Sh FAULTS");

	return page.substr(begin, page.find("\n.Sh ", begin + 1) - begin);
}

TEST(SimFault, HelpAndPageTellEachWithItsKeysAsTheyAreUnlessTold)
{
	const std::string page = page_of_faults();
	const std::string help = sim::fault_help();

	ASSERT_GE(sim::all_faults().size(), 24u);
	for (const sim::described &one : sim::all_faults()) {
		sim::fault parsed;
		EXPECT_EQ(sim::parse_fault(one.name, parsed), "");
		EXPECT_STREQ(sim::fault_name(parsed.kind), one.name);
		EXPECT_NE(help.find(std::string("\n  ") + one.name + " "), std::string::npos);
		const size_t item = page.find(std::string("\n.It Cm ") + one.name + "\n");
		ASSERT_NE(item, std::string::npos) << one.name;
		const std::string told = page.substr(item, page.find("\n.It", item + 1) - item);
		EXPECT_EQ(told.find("Default:") != std::string::npos, !one.values.empty())
			<< one.name;
		EXPECT_NE(told.find(one.values), std::string::npos) << one.name;
	}
}

TEST(SimFault, HelpAndPageTellWhatEachKeyCanBe)
{
	const std::string page = page_of_faults();
	const std::string help = sim::fault_help();

	for (const sim::described &key : sim::all_fault_keys()) {
		EXPECT_NE(page.find(std::string("\n.It Cm ") + key.name + "\n"), std::string::npos)
			<< key.name;
		EXPECT_NE(page.find("\n" + key.values), std::string::npos) << key.values;
		EXPECT_NE(help.find(std::string("\n") + key.name + "= is " + key.values),
			  std::string::npos);
	}
}

static const std::string NOP = "04 0F 04 00 01 00 00";

TEST(SimFault, UnaskedComesBeforeTheAnswer)
{
	attached on("ti-08", { "unasked" });

	EXPECT_EQ(on.say(RESET), NOP + " " + RESET_DONE);
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimFault, UnaskedComesAfterTheAnswer)
{
	attached on("ti-08", { "unasked:when=after,event=043E020D00" });

	EXPECT_EQ(on.say(RESET), RESET_DONE + " 04 3E 02 0D 00");
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimFault, UnaskedComesBetweenTwoEvents)
{
	attached on("ti-08", { "unasked:when=between" });

	EXPECT_EQ(on.say(RESET), RESET_DONE) << "one event only: not met";
	on.session.faults().clear();
	on.say(GAP_INIT);
	on.session.faults().add("unasked:when=between");
	EXPECT_EQ(on.say(GAP_ON), "04 FF 06 7F 06 00 06 FE 00 " + NOP + " 04 FF 03 03 06 00");
}

TEST(SimFault, NopAtStartComesWithThePowerAndOnlyThen)
{
	const std::string credit = "04 0E 03 01 00 00";
	attached on("ti-08", { "nop-at-start:times=2" });

	EXPECT_EQ(on.hear(1ms), credit);
	EXPECT_EQ(on.say(RESET), RESET_DONE);
	on.session.restart(on.now, 50ms);
	EXPECT_EQ(on.hear(40ms), "") << "it has no power yet";
	EXPECT_EQ(on.hear(20ms), credit);
	on.session.restart(on.now, {});
	EXPECT_EQ(on.hear(1ms), "") << "it was to strike twice";
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimFault, DeafAfterResetLosesWhatComesTooEarly)
{
	attached on("ti-08", { "deaf-after-reset:ms=90" });

	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08) << "no reset: not met";
	EXPECT_EQ(on.say("01 1D FC 01 00", 80ms), "04 FF 05 1D 04 00 1D FC");
	EXPECT_EQ(on.say(VERSION, 5ms), "");
	on.hear(10ms);
	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08);
	EXPECT_EQ(on.say(RESET), RESET_DONE);
	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08) << "once, unless told";
}

TEST(SimFault, HardwareErrorWantsAReset)
{
	attached on("qualcomm", { "hardware-error:code=0x42,opcode=0x1001" });

	EXPECT_EQ(on.say(VERSION), "04 10 01 42");
	EXPECT_EQ(on.say(VERSION + VERSION), "") << "it hears resets alone";
	EXPECT_EQ(on.say("01 1D FC 01 00"), "") << "and this is another maker's";
	EXPECT_EQ(on.say("01 03 " + RESET), RESET_DONE) << "wherever it stands in the bytes";
	EXPECT_EQ(on.say(VERSION), "04 0E 0C 01 01 10 00 0B 10 00 0B 1D 00 10 01");
}

TEST(SimFault, HardwareErrorEndsWithTheMakersOwnResetToo)
{
	attached on("ti-06", { "hardware-error" });

	EXPECT_EQ(on.say(VERSION), "04 10 01 01");
	EXPECT_EQ(on.say(GAP_INIT), "");
	EXPECT_EQ(on.say("01 1D FC 01 01"), "04 FF 05 1D 04 00 1D FC");
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimFault, WriteLimitCutsALongWrite)
{
	attached on("ti-08", { "write-limit:bytes=8" });

	EXPECT_EQ(on.say(VERSION + RESET), VERSION_OF_TI_08 + " " + RESET_DONE)
		<< "just short enough";
	EXPECT_EQ(on.say(VERSION + RESET + VERSION), VERSION_OF_TI_08 + " " + RESET_DONE);
	EXPECT_EQ(on.count(happened::fault), 1u);
	EXPECT_EQ(on.say(VERSION + RESET + VERSION).size(), 3u * 37 - 1) << "once, unless told";
}

static size_t breaches(const attached &on)
{
	return static_cast<size_t>(std::ranges::count(
		on.records, "the host had no credit for this command", &sim::record::text));
}

TEST(SimCredit, AHostThatWaitsForEachAnswerIsNotToldOf)
{
	attached paced("ti-08", {}, 115200);
	attached on("ti-08");

	for (attached *one : { &paced, &on }) {
		for (int i = 0; i < 3; i++)
			EXPECT_EQ(one->say(VERSION, 10ms), VERSION_OF_TI_08);
		one->say(GAP_INIT, 20ms);
		one->say(GAP_ON, 20ms);
		EXPECT_EQ(breaches(*one), 0u);
	}
}

TEST(SimCredit, EachCommandWithoutOneIsToldOf)
{
	attached on("ti-08", {}, 115200);

	EXPECT_EQ(on.say(VERSION + RESET + VERSION, 20ms).size(), 3u * 37 - 1);
	EXPECT_EQ(breaches(on), 2u);
	EXPECT_EQ(on.say(RESET, 10ms), RESET_DONE);
	EXPECT_EQ(breaches(on), 2u) << "the answers have brought a new one";
}

TEST(SimCredit, AnAnswerThatNeverCameBringsNone)
{
	attached on("ti-08", { "silent" });

	EXPECT_EQ(on.say(VERSION, 5s), "");
	EXPECT_EQ(on.say(VERSION, 1s), VERSION_OF_TI_08);
	EXPECT_EQ(breaches(on), 1u);
	on.say(VERSION, 1s);
	EXPECT_EQ(breaches(on), 1u);
}

TEST(SimCredit, AnAnswerCanLeaveNone)
{
	attached on("ti-08", {}, 0, sim::QUIRK_CREDIT_0);

	on.say(VERSION);
	EXPECT_EQ(breaches(on), 0u);
	on.say(VERSION);
	EXPECT_EQ(breaches(on), 1u);
}
