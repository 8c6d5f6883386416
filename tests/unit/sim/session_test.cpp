// SPDX-License-Identifier: Apache-2.0
/* A controller on its serial line: the pace, the buffer, the faults. */
#include "sim/line/misread.h"
#include "tests/unit/sim/attached.h"

#include <gtest/gtest.h>

TEST(SimSession, AnswersAtOnceWithoutAPace)
{
	attached on("ti-08");

	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08);
	ASSERT_EQ(on.records.size(), 2u);
	EXPECT_EQ(on.records[0].what, happened::command);
	EXPECT_EQ(sim::hex_text(on.records[0].packet), VERSION);
	EXPECT_EQ(on.records[1].what, happened::event);
	EXPECT_EQ(sim::hex_text(on.records[1].packet), VERSION_OF_TI_08);
}

TEST(SimSession, EveryByteTakesTenBitsInBothDirections)
{
	attached on("ti-08", {}, 115200);
	const moment byte = moment(10 * 1'000'000'000LL / 115200);

	on.session.receive(sim::parse_hex(RESET).value(), {});
	EXPECT_EQ(on.session.next(), byte);
	EXPECT_EQ(on.session.advance(4 * byte - 1us).size(), 0u) << "the command is not yet there";
	EXPECT_EQ(on.count(happened::command), 0u);
	EXPECT_EQ(on.session.advance(4 * byte + 1us).size(), 0u);
	EXPECT_EQ(on.count(happened::command), 1u);
	EXPECT_EQ(on.session.advance(5 * byte + 1us).size(), 1u) << "one byte after another";
	EXPECT_EQ(on.session.advance(11 * byte - 1us).size(), 5u);
	EXPECT_EQ(on.session.advance(11 * byte + 1us).size(), 1u);
	EXPECT_FALSE(on.session.next());
}

TEST(SimSession, ALatencyDelaysTheAnswerOfItsOpcode)
{
	sim::session_settings settings = attached::settings("ti-08", {}, 0, 0);
	settings.latency = 10ms;
	settings.latency_of[0x0C03] = 30ms;
	sim::session session(settings, [](const sim::record &) {});

	session.receive(sim::parse_hex(VERSION).value(), 0ms);
	EXPECT_EQ(session.advance(9ms).size(), 0u);
	EXPECT_EQ(session.advance(10ms).size(), 15u);
	session.receive(sim::parse_hex(RESET).value(), 10ms);
	EXPECT_EQ(session.advance(39ms).size(), 0u);
	EXPECT_EQ(session.advance(40ms).size(), 7u);
}

TEST(SimSession, ACommandThatComesTooEarlyWaits)
{
	sim::session_settings settings = attached::settings("ti-08", {}, 0, 0);
	settings.latency = 10ms;
	sim::session session(settings, [](const sim::record &) {});

	session.receive(sim::parse_hex(VERSION + RESET).value(), 0ms);
	EXPECT_EQ(session.advance(10ms).size(), 15u);
	EXPECT_EQ(session.advance(19ms).size(), 0u);
	EXPECT_EQ(session.advance(20ms).size(), 7u);
}

TEST(SimSession, AFullBufferLosesBytes)
{
	sim::session_settings settings = attached::settings("ti-08", {}, 0, 0);
	std::vector<std::string> notices;
	settings.latency = 10ms;
	settings.buffer_size = 5;
	sim::session session(settings, [&](const sim::record &what) {
		if (what.what == happened::notice)
			notices.push_back(what.text);
	});

	EXPECT_EQ(session.room(), 5u);
	session.receive(sim::parse_hex(VERSION).value(), 0ms);
	session.advance(0ms);
	session.receive(sim::parse_hex(RESET + VERSION).value(), 0ms);
	session.advance(0ms);
	EXPECT_EQ(session.room(), 0u);
	EXPECT_EQ(notices, std::vector<std::string>(3, "overrun: a byte is lost"));
}

TEST(SimSession, AByteThatBeginsNoPacketLosesTheStep)
{
	attached on("ti-08");

	EXPECT_EQ(on.say("00"), "04 10 01 01");
	EXPECT_EQ(on.say(VERSION + " FF 01 03"), "") << "only a reset is looked for";
	EXPECT_EQ(on.say("0C 00"), RESET_DONE);
	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08);
}

TEST(SimSession, APacketThatNoHostSendsLosesTheStep)
{
	for (const char *packet :
	     { "03 00 00 00", "04 0E 00", "05 00 00 00 00", "02 00 00 1C 00", "02 00 00 00 01" }) {
		attached on("ti-08");
		EXPECT_EQ(on.say(packet), "04 10 01 01") << packet;
		EXPECT_EQ(on.say(RESET), RESET_DONE);
	}
	attached on("ti-08");
	EXPECT_EQ(on.say("02 00 00 1B 00 " + repeated("00", 27)), "") << "there is room for it";
	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08);
}

TEST(SimSession, QuirkStrayBytesIgnoredPassesThemOverAndTells)
{
	attached on("ti-08", {}, 0, sim::QUIRK_STRAY_IGNORED);

	EXPECT_EQ(on.say("FF 00 " + RESET), RESET_DONE);
	ASSERT_EQ(on.count(happened::notice), 1u);
	EXPECT_EQ(sim::hex_text(std::ranges::find(on.records, happened::notice, &sim::record::what)
					->packet),
		  "FF 00");
}

TEST(SimSession, FaultDropLosesAByte)
{
	attached on("ti-08", { "drop:at=6" });

	EXPECT_EQ(on.say(RESET), "04 0E 04 01 03 0C");
	EXPECT_EQ(on.say(RESET), RESET_DONE) << "once, unless told";
	EXPECT_EQ(on.count(happened::fault), 1u);
}

TEST(SimSession, FaultFlipTurnsBits)
{
	attached on("ti-08", { "flip:at=0,mask=0x81" });

	EXPECT_EQ(on.say(RESET), "85 0E 04 01 03 0C 00");
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimSession, FaultInsertAddsAByte)
{
	attached on("ti-08", { "insert:at=3,byte=0xAA", "insert:at=7,byte=0xBB,skip=1" });

	EXPECT_EQ(on.say(RESET), "04 0E 04 AA 01 03 0C 00");
	EXPECT_EQ(on.say(RESET), RESET_DONE + " BB");
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimSession, FaultDuplicateSendsAByteTwice)
{
	attached on("ti-08", { "duplicate:at=1" });

	EXPECT_EQ(on.say(RESET), "04 0E 0E 04 01 03 0C 00");
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimSession, FaultSplitPausesAtTheGivenPosition)
{
	for (size_t at = 1; at < 7; at++) {
		SCOPED_TRACE(at);
		attached on("ti-08", { "split:delay=20,at=" + std::to_string(at) });
		EXPECT_EQ(on.say(RESET, 10ms), RESET_DONE.substr(0, 3 * at - 1));
		EXPECT_EQ(on.hear(20ms), RESET_DONE.substr(3 * at));
		EXPECT_EQ(on.say(RESET), RESET_DONE);
	}
}

TEST(SimSession, FaultSplitGoesThroughEveryPosition)
{
	attached on("ti-08", { "split:delay=20,at=each,times=always" });

	for (size_t at = 1; at < 7; at++) {
		SCOPED_TRACE(at);
		EXPECT_EQ(on.say(RESET, 10ms), RESET_DONE.substr(0, 3 * at - 1));
		EXPECT_EQ(on.hear(20ms), RESET_DONE.substr(3 * at));
	}
}

TEST(SimSession, FaultSplitPausesBeforeEveryByte)
{
	attached on("ti-08", { "split:delay=20,at=all" });

	EXPECT_EQ(on.say(RESET, 10ms), "04");
	EXPECT_EQ(on.hear(20ms), "0E");
	EXPECT_EQ(on.hear(100ms), "04 01 03 0C 00");
}

TEST(SimSession, FaultCutEndsTheAnswer)
{
	attached on("ti-08", { "cut:at=3,opcode=0xFE00" });

	EXPECT_EQ(on.say(GAP_INIT, 10s), "04 FF 06") << "and its second event does not come";
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimSession, FaultCutBeforeTheFirstByteLeavesSilence)
{
	attached on("ti-08", { "cut:at=0" });

	EXPECT_EQ(on.say(RESET, 10s), "");
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimSession, FaultJunkComesInFrontWithEachOfThe256Values)
{
	attached on("ti-08", { "junk:times=always" });

	for (unsigned value = 0; value < 256; value++) {
		const sim::bytes junk = { static_cast<uint8_t>(value) };
		EXPECT_EQ(on.say(RESET), sim::hex_text(junk) + " " + RESET_DONE);
	}
	EXPECT_EQ(on.say(RESET), "00 " + RESET_DONE) << "and from the start again";
}

TEST(SimSession, FaultJunkCanBeMany)
{
	attached on("ti-08", { "junk:byte=0x55,count=3" });

	EXPECT_EQ(on.say(RESET), "55 55 55 " + RESET_DONE);
}

TEST(SimSession, FaultWrongCodeChangesTheEventCode)
{
	attached on("ti-08", { "wrong-code:code=0x3E" });

	EXPECT_EQ(on.say(RESET), "04 3E 04 01 03 0C 00");
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimSession, FaultShortLengthAnnouncesLess)
{
	attached on("ti-08", { "short-length:by=3", "short-length:by=200,skip=1" });

	EXPECT_EQ(on.say(RESET), "04 0E 01 01 03 0C 00");
	EXPECT_EQ(on.say(RESET), "04 0E 00 01 03 0C 00") << "never below none";
}

TEST(SimSession, FaultLongLengthAnnouncesMore)
{
	attached on("ti-08", { "long-length:by=3", "long-length:by=255,skip=1" });

	EXPECT_EQ(on.say(RESET), "04 0E 07 01 03 0C 00");
	EXPECT_EQ(on.say(RESET), "04 0E FF 01 03 0C 00") << "never above a byte";
}

TEST(SimSession, FaultsOfTheLengthNeverLeaveItAsItIs)
{
	attached shorter("ti-08", { "short-length:by=each" });
	attached longer("ti-08", { "long-length:by=each,times=256" });

	EXPECT_EQ(shorter.say(RESET), "04 0E 03 01 03 0C 00") << "the first value is 1";
	EXPECT_EQ(longer.say(RESET), "04 0E 05 01 03 0C 00");
	for (int i = 0; i < 254; i++)
		longer.say(RESET);
	EXPECT_EQ(longer.say(RESET), "04 0E 05 01 03 0C 00") << "after 255 comes 1 again";
}

TEST(SimSession, FaultLateAnswersAfterTheHostGaveUp)
{
	attached on("ti-08", { "late" });

	EXPECT_EQ(on.say(RESET, 5s), "");
	EXPECT_EQ(on.hear(1s), RESET_DONE);
}

TEST(SimSession, FaultSilentAnswersNothingButObeys)
{
	attached on("ti-08", { "silent:opcode=0xFE06" });

	on.say(GAP_INIT);
	EXPECT_EQ(on.say(GAP_ON, 10s), "");
	EXPECT_EQ(on.session.chip().air().doing, sim::radio::advertising);
	EXPECT_EQ(on.say(GAP_OFF), "04 FF 06 7F 06 00 08 FE 00 04 FF 03 04 06 00");
}

TEST(SimSession, FaultRefuseAnswersAnErrorAndObeysNot)
{
	attached on("ti-08", { "refuse:opcode=0xFE06,status=0x11,times=2" });

	on.say(GAP_INIT);
	EXPECT_EQ(on.say(GAP_ON), "04 FF 06 7F 06 11 06 FE 00");
	EXPECT_EQ(on.session.chip().air().doing, sim::radio::off);
	EXPECT_EQ(on.say(RESET), RESET_DONE) << "other opcodes are not meant";
	on.say(GAP_INIT);
	EXPECT_EQ(on.say(GAP_ON), "04 FF 06 7F 06 11 06 FE 00");
	EXPECT_EQ(on.say(GAP_ON), "04 FF 06 7F 06 00 06 FE 00 04 FF 03 03 06 00");
}

TEST(SimSession, FaultRefuseCanLastForEver)
{
	attached on("ti-08", { "refuse:times=always" });

	for (int i = 0; i < 100; i++)
		EXPECT_EQ(on.say(RESET), "04 0E 04 01 03 0C 1F");
}

TEST(SimSession, FaultSecondMissingLeavesTheFirstEventAlone)
{
	attached on("ti-08", { "second-missing" });

	EXPECT_EQ(on.say(RESET), RESET_DONE) << "one event only: not met";
	EXPECT_EQ(on.say(GAP_INIT, 10s), "04 FF 06 7F 06 00 00 FE 00");
	EXPECT_EQ(on.say(GAP_ON), "04 FF 06 7F 06 00 06 FE 00 04 FF 03 03 06 00");
}

TEST(SimSession, FaultSecondFailsInTheSecondEvent)
{
	attached on("ti-08", { "second-fails:opcode=0xFE06,status=0x0C" });

	on.say(GAP_INIT);
	EXPECT_EQ(on.say(GAP_ON), "04 FF 06 7F 06 00 06 FE 00 04 FF 03 03 06 0C");
	EXPECT_EQ(on.say(GAP_OFF), "04 FF 06 7F 06 00 08 FE 00 04 FF 03 04 06 00");
}

TEST(SimSession, FaultsCanMeanTheSecondEvent)
{
	attached on("ti-08", { "wrong-code:event=2,code=0x0F" });

	on.say(GAP_INIT);
	EXPECT_EQ(on.say(GAP_ON), "04 FF 06 7F 06 00 06 FE 00 04 FF 03 03 06 00")
		<< "the device init before it took the fault";
}

TEST(SimSession, FaultRebootForgetsEverythingWithinAnEvent)
{
	attached on("ti-08", { "reboot:opcode=0x1009,at=5,delay=100" });

	on.say(GAP_INIT);
	on.say(GAP_ON);
	EXPECT_EQ(on.say("01 09 10 00", 50ms), "04 0E 0A 01 09");
	EXPECT_EQ(on.session.chip().air().doing, sim::radio::off);
	EXPECT_EQ(on.records.back().what, happened::air);
	EXPECT_EQ(on.records[on.records.size() - 2].text, "the controller starts anew");
	EXPECT_EQ(on.say(RESET, 40ms), "") << "it has not started yet";
	on.hear(20ms);
	EXPECT_EQ(on.say(GAP_ON), "04 FF 06 7F 06 0C 06 FE 00");
}

TEST(SimSession, FaultUnplugAsksForThePortToGo)
{
	attached on("ti-08", { "unplug:at=2,delay=300" });

	EXPECT_EQ(on.say(RESET), "04 0E");
	EXPECT_EQ(on.session.take_unplug(), moment(300ms));
	EXPECT_FALSE(on.session.take_unplug());
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimSession, FaultWrongBaudGarblesTheAnswer)
{
	attached on("ti-08", { "wrong-baud:baud=57600" });
	const std::string garbled = on.say(RESET);

	EXPECT_EQ(garbled,
		  sim::hex_text(sim::misread(sim::parse_hex(RESET_DONE).value(), 57600, 115200)));
	EXPECT_NE(garbled, RESET_DONE);
	EXPECT_FALSE(garbled.empty());
	EXPECT_EQ(on.say(RESET), RESET_DONE);
}

TEST(SimSession, FaultRefuseSegmentMeansThatSegment)
{
	attached on("qualcomm", { "refuse-segment:segment=2,status=0x07" });
	const std::string segment = "01 00 FC 06 1E 04 02 FF 00 00";

	EXPECT_EQ(on.say(segment), "04 0E 05 01 00 FC 00 1E");
	EXPECT_EQ(on.say(segment), "04 0E 05 01 00 FC 07 1E");
	EXPECT_EQ(on.say(segment), "04 0E 05 01 00 FC 00 1E");
	on.say(RESET);
	EXPECT_EQ(on.say(segment), "04 0E 05 01 00 FC 00 1E") << "the first of the next download";
	EXPECT_EQ(on.say(segment), "04 0E 05 01 00 FC 00 1E") << "it struck once";
}

TEST(SimSession, FaultsOfTheHostsBytesReachTheController)
{
	attached dropped("ti-08", { "drop:way=in,at=0" });
	EXPECT_EQ(dropped.say(VERSION, 1s), "") << "03 is another packet's indicator";

	attached flipped("ti-08", { "flip:way=in,at=1,mask=0x08" });
	EXPECT_EQ(flipped.say(VERSION), "04 0E 0A 01 09 10 00 01 00 00 00 00 02")
		<< "it has become another command";
}

TEST(SimSession, ChanceIsRepeatableWithItsSeed)
{
	const auto run = [](uint64_t seed) {
		sim::session_settings settings =
			attached::settings("ti-08", { "drop:times=always,chance=50" }, 0, 0);
		sim::bytes all;
		settings.seed = seed;
		sim::session session(settings, [](const sim::record &) {});
		for (int i = 0; i < 100; i++) {
			session.receive(sim::parse_hex(RESET).value(), moment(i));
			sim::append(all, session.advance(moment(i)));
		}
		return all;
	};

	EXPECT_EQ(run(7), run(7));
	EXPECT_NE(run(7), run(8));
	EXPECT_LT(run(7).size(), 700u) << "some are struck";
	EXPECT_GT(run(7).size(), 600u) << "and some are not";
}

TEST(SimSession, InjectedBytesNeedNoCommand)
{
	attached on("ti-08");

	on.session.inject(sim::parse_hex("04 0E 00").value(), on.now);
	EXPECT_EQ(on.hear(1ms), "04 0E 00");
}

TEST(SimSession, QuirkLateResetAnswersAfterTheHostGaveUp)
{
	attached on("ti-08", {}, 0, sim::QUIRK_LATE_RESET);

	EXPECT_EQ(on.say(RESET, 5s), "");
	EXPECT_EQ(on.hear(1s), RESET_DONE);
	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08);
}

TEST(SimSession, QuirkSwallowTakesTheFirstBytesAfterPowerUp)
{
	attached on("ti-08", {}, 0, sim::QUIRK_SWALLOW);

	EXPECT_EQ(on.say(VERSION), "");
	EXPECT_EQ(on.say(VERSION), "");
	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08);
	on.session.restart(on.now, {});
	EXPECT_EQ(on.say(VERSION + VERSION), "");
	EXPECT_EQ(on.say(VERSION), VERSION_OF_TI_08);
}

TEST(SimMisread, TheSameRateReadsWhatWasSent)
{
	const sim::bytes all = { 0x00, 0x55, 0xAA, 0xFF, 0x04, 0x0E };

	EXPECT_EQ(sim::misread(all, 115200, 115200), all);
	EXPECT_EQ(sim::misread(all, 115000, 115200), all) << "a UART bears a small difference";
}

TEST(SimMisread, HalfTheRateReadsTwoBytesOrABreak)
{
	/* 0xFF at half the rate: the start bit lasts two bits of the reader. */
	EXPECT_EQ(sim::hex_text(sim::misread({ { 0xFF } }, 57600, 115200)), "FE");
	/* 0x01: the line is low at the reader's stop bit, which reads as 0. */
	EXPECT_EQ(sim::hex_text(sim::misread({ { 0x01 } }, 57600, 115200)), "00");
	/* 0x00: nine low bits become eighteen. That is a break, which reads as 0. */
	EXPECT_EQ(sim::hex_text(sim::misread({ { 0x00 } }, 57600, 115200)), "00");
}
