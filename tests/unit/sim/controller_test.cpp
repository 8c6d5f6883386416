// SPDX-License-Identifier: Apache-2.0
/* What each simulated controller answers to each command, byte for byte, and its state. */
#include "tests/unit/sim/talk.h"

#include <gtest/gtest.h>

using sim::controller;
using sim::radio;

TEST(SimController, AnswersTheStandardCommands)
{
	expect_all({
		{ "reset", "ti-08", {}, RESET, "04 0E 04 01 03 0C 00" },
		{ "version of ti-06",
		  "ti-06",
		  {},
		  "01 01 10 00",
		  "04 0E 0C 01 01 10 00 06 10 00 06 0D 00 10 01" },
		{ "version of ti-08",
		  "ti-08",
		  {},
		  "01 01 10 00",
		  "04 0E 0C 01 01 10 00 08 10 00 08 0D 00 10 01" },
		{ "version of qualcomm, before its patch",
		  "qualcomm",
		  {},
		  "01 01 10 00",
		  "04 0E 0C 01 01 10 00 0B 10 00 0B 1D 00 10 01" },
		{ "address, low byte first",
		  "ti-08",
		  {},
		  "01 09 10 00",
		  "04 0E 0A 01 09 10 00 01 00 00 00 00 02" },
		{ "advertising parameters", "qualcomm", patched(), LE_PARAMETERS,
		  "04 0E 04 01 06 20 00" },
		{ "advertising data", "qualcomm", patched(), LE_DATA, "04 0E 04 01 08 20 00" },
		{ "advertising on", "qualcomm", patched(), LE_ON, "04 0E 04 01 0A 20 00" },
		{ "advertising on twice", "qualcomm", patched({ LE_ON }), LE_ON,
		  "04 0E 04 01 0A 20 00" },
		{ "advertising off while it is off", "qualcomm", patched(), LE_OFF,
		  "04 0E 04 01 0A 20 00" },
		{ "data while advertising", "qualcomm", patched({ LE_ON }), LE_DATA,
		  "04 0E 04 01 08 20 00" },
		{ "power of ti-06 after its start",
		  "ti-06",
		  {},
		  "01 07 20 00",
		  "04 0E 05 01 07 20 00 00" },
		{ "receiver test", "ti-08", {}, "01 1D 20 01 27", "04 0E 04 01 1D 20 00" },
		{ "transmitter test", "ti-08", {}, "01 1E 20 03 27 25 07", "04 0E 04 01 1E 20 00" },
		{ "test end after a transmitter test counts nothing",
		  "ti-08",
		  { "01 1E 20 03 00 25 00" },
		  "01 1F 20 00",
		  "04 0E 06 01 1F 20 00 00 00" },
	});
}

TEST(SimController, AnswersTheCommandsOfTi)
{
	expect_all({
		{ "power", "ti-06", {}, "01 01 FC 01 03", "04 FF 05 01 04 00 01 FC" },
		{ "highest power of ti-06 is +4 dBm",
		  "ti-06",
		  { "01 01 FC 01 03" },
		  "01 07 20 00",
		  "04 0E 05 01 07 20 00 04" },
		{ "lowest power of ti-06 is -23 dBm",
		  "ti-06",
		  { "01 01 FC 01 00" },
		  "01 07 20 00",
		  "04 0E 05 01 07 20 00 E9" },
		{ "highest power of ti-08 is +5 dBm",
		  "ti-08",
		  { "01 01 FC 01 0C" },
		  "01 07 20 00",
		  "04 0E 05 01 07 20 00 05" },
		{ "lowest power of ti-08 is -21 dBm",
		  "ti-08",
		  { "01 01 FC 01 00" },
		  "01 07 20 00",
		  "04 0E 05 01 07 20 00 EB" },
		{ "address",
		  "ti-06",
		  {},
		  "01 0C FC 06 06 05 04 03 02 01",
		  "04 FF 05 0C 04 00 0C FC" },
		{ "address is kept as it came",
		  "ti-06",
		  { "01 0C FC 06 06 05 04 03 02 01" },
		  "01 09 10 00",
		  "04 0E 0A 01 09 10 00 06 05 04 03 02 01" },
		{ "build revision",
		  "ti-08",
		  {},
		  "01 1B FC 03 01 00 00",
		  "04 FF 09 1B 04 00 1B FC 00 00 20 02" },
		{ "build revision stores the host's own",
		  "ti-08",
		  {},
		  "01 1B FC 03 00 34 12",
		  "04 FF 09 1B 04 00 1B FC 34 12 20 02" },
		{ "hard reset", "ti-08", {}, "01 1D FC 01 00", "04 FF 05 1D 04 00 1D FC" },
		{ "soft reset", "ti-06", {}, "01 1D FC 01 01", "04 FF 05 1D 04 00 1D FC" },
		{ "device init is answered twice",
		  "ti-08",
		  {},
		  GAP_INIT,
		  "04 FF 06 7F 06 00 00 FE 00 | 04 FF 2C 00 06 00 01 00 00 00 00 02 1B 00 04 " +
			  repeated("00", 32) },
		{ "advertising data is answered twice",
		  "ti-08",
		  { GAP_INIT },
		  GAP_DATA,
		  "04 FF 06 7F 06 00 07 FE 00 | 04 FF 04 02 06 00 01" },
		{ "scan response data is told apart",
		  "ti-08",
		  { GAP_INIT },
		  "01 07 FE 03 00 01 00",
		  "04 FF 06 7F 06 00 07 FE 00 | 04 FF 04 02 06 00 00" },
		{ "make discoverable is answered twice",
		  "ti-08",
		  { GAP_INIT },
		  GAP_ON,
		  "04 FF 06 7F 06 00 06 FE 00 | 04 FF 03 03 06 00" },
		{ "end discoverable is answered twice",
		  "ti-08",
		  { GAP_INIT, GAP_ON },
		  GAP_OFF,
		  "04 FF 06 7F 06 00 08 FE 00 | 04 FF 03 04 06 00" },
		{ "set parameter before device init",
		  "ti-06",
		  {},
		  "01 30 FE 03 06 A0 00",
		  "04 FF 06 7F 06 00 30 FE 00" },
		{ "get parameter",
		  "ti-06",
		  {},
		  "01 31 FE 03 01 00 00",
		  "04 FF 08 7F 06 00 31 FE 02 B4 00" },
		{ "get parameter with its id alone",
		  "ti-06",
		  { "01 30 FE 03 15 50 00" },
		  "01 31 FE 01 15",
		  "04 FF 08 7F 06 00 31 FE 02 50 00" },
		{ "get of a bad id",
		  "ti-06",
		  {},
		  "01 31 FE 03 68 00 00",
		  "04 FF 08 7F 06 00 31 FE 02 FF FF" },
	});
}

TEST(SimController, AnswersTheCommandsOfQualcomm)
{
	expect_all({
		{ "version before the patch",
		  "qualcomm",
		  {},
		  "01 00 FC 01 19",
		  "04 0E 0B 01 00 FC 00 19 10 00 00 02 00 00" },
		{ "version after it", "qualcomm", patched(), "01 00 FC 01 19",
		  "04 0E 0B 01 00 FC 00 19 10 00 00 02 01 00" },
		{ "segment",
		  "qualcomm",
		  {},
		  "01 00 FC 06 1E 04 02 18 00 00",
		  "04 0E 05 01 00 FC 00 1E" },
		{ "address, high byte first", "qualcomm", patched(),
		  "01 14 FC 06 01 02 03 04 05 06", "04 0E 05 01 14 FC 00 00" },
		{ "address reads low byte first", "qualcomm",
		  patched({ "01 14 FC 06 01 02 03 04 05 06" }), "01 09 10 00",
		  "04 0E 0A 01 09 10 00 06 05 04 03 02 01" },
	});
}

TEST(SimController, PutsABeaconOnTheAirAndTakesItOff)
{
	controller chip(settings_named("ti-08"));

	EXPECT_EQ(chip.air().doing, radio::off);
	ask(chip, "01 30 FE 03 08 40 01");
	ask(chip, "01 30 FE 03 09 40 01");
	ask(chip, GAP_INIT);
	EXPECT_FALSE(chip.handle(sim::parse_hex(GAP_DATA).value()).air);
	const auto on = chip.handle(sim::parse_hex(GAP_ON).value()).air;
	ASSERT_TRUE(on);
	EXPECT_EQ(on->doing, radio::advertising);
	EXPECT_EQ(sim::hex_text(on->payload), BEACON);
	EXPECT_EQ(on->slots, 0x0140);
	EXPECT_EQ(on->type, 3);
	EXPECT_EQ(sim::address_text(on->address), "02:00:00:00:00:01");

	EXPECT_FALSE(chip.handle(sim::parse_hex(GAP_DATA).value()).air) << "the same payload again";
	const auto other = chip.handle(sim::parse_hex("01 07 FE 03 01 01 55").value()).air;
	ASSERT_TRUE(other);
	EXPECT_EQ(sim::hex_text(other->payload), "55");
	EXPECT_EQ(other->doing, radio::advertising);

	const auto off = chip.handle(sim::parse_hex(GAP_OFF).value()).air;
	ASSERT_TRUE(off);
	EXPECT_EQ(off->doing, radio::off);
}

TEST(SimController, LimitedDiscoveryHasItsOwnInterval)
{
	controller chip(settings_named("ti-08"));

	ask(chip, "01 30 FE 03 06 00 01");
	ask(chip, "01 30 FE 03 07 00 01");
	ask(chip, GAP_INIT);
	ask(chip, "01 07 FE 05 01 03 02 01 05");
	ask(chip, GAP_ON);
	EXPECT_EQ(chip.air().slots, 0x0100);
}

TEST(SimController, DeviceInitEndsWhatIsOnTheAir)
{
	controller chip(settings_named("ti-08"));

	ask(chip, GAP_INIT);
	ask(chip, GAP_ON);
	EXPECT_EQ(ask(chip, GAP_INIT).substr(0, 26), "04 FF 06 7F 06 00 00 FE 00");
	EXPECT_EQ(chip.air().doing, radio::off);
}

TEST(SimController, EveryResetReturnsToThePowerUpState)
{
	for (const char *reset : { "01 1D FC 01 00", "01 1D FC 01 01", "01 03 0C 00" }) {
		SCOPED_TRACE(reset);
		controller chip(settings_named("ti-08"));
		ask(chip, "01 30 FE 03 08 00 02");
		ask(chip, "01 0C FC 06 06 05 04 03 02 01");
		ask(chip, GAP_INIT);
		ask(chip, GAP_ON);
		ask(chip, reset);
		EXPECT_EQ(chip.air().doing, radio::off);
		EXPECT_EQ(ask(chip, "01 31 FE 01 08"), "04 FF 08 7F 06 00 31 FE 02 A0 00");
		EXPECT_EQ(ask(chip, "01 09 10 00"), "04 0E 0A 01 09 10 00 01 00 00 00 00 02");
	}
}

TEST(SimController, AReceiverTestCountsWhatItHears)
{
	sim::controller_settings settings = settings_named("ti-06");
	settings.receiver_count = 0x1234;
	controller chip(settings);

	chip.hear(5); /* no receiver test runs yet */
	ask(chip, "01 1D 20 01 00");
	EXPECT_EQ(chip.air().doing, radio::receiving);
	EXPECT_EQ(ask(chip, "01 1F 20 00"), "04 0E 06 01 1F 20 00 34 12");
	ask(chip, "01 1D 20 01 00");
	chip.hear(1);
	EXPECT_EQ(ask(chip, "01 1F 20 00"), "04 0E 06 01 1F 20 00 35 12");
	ask(chip, "01 1D 20 01 00");
	chip.hear(70000); /* the counter stops at its 16-bit maximum */
	EXPECT_EQ(ask(chip, "01 1F 20 00"), "04 0E 06 01 1F 20 00 FF FF");
}

TEST(SimController, AnotherMakerAndVersionAreAnswered)
{
	sim::controller_settings settings = settings_named("ti-08");
	settings.manufacturer = 0x1234;
	settings.hci_version = 12;
	controller chip(settings);

	EXPECT_EQ(ask(chip, "01 01 10 00"), "04 0E 0C 01 01 10 00 0C 10 00 0C 34 12 10 01");
}

TEST(SimController, LeavesDataPacketsUnanswered)
{
	controller chip(settings_named("ti-08"));

	EXPECT_EQ(ask(chip, "02 00 00 01 00 55"), "");
}

TEST(SimController, QuirkCredit0IsInEveryCommandComplete)
{
	sim::controller_settings settings = settings_named("ti-08");
	settings.quirks = sim::QUIRK_CREDIT_0;
	controller chip(settings);

	EXPECT_EQ(ask(chip, RESET), "04 0E 04 00 03 0C 00");
}

TEST(SimController, QuirkFirstUnansweredSwallowsOneCommandAfterPowerUp)
{
	sim::controller_settings settings = settings_named("ti-08");
	settings.quirks = sim::QUIRK_FIRST_UNANSWERED;
	controller chip(settings);

	EXPECT_EQ(ask(chip, RESET), "");
	EXPECT_EQ(ask(chip, RESET), "04 0E 04 01 03 0C 00");
	EXPECT_EQ(ask(chip, RESET), "04 0E 04 01 03 0C 00") << "a reset is no loss of power";
	chip.restart();
	EXPECT_EQ(ask(chip, RESET), "");
}

TEST(SimController, QuirkLongDiscoverableTellsTheInterval)
{
	sim::controller_settings settings = settings_named("ti-08");
	settings.quirks = sim::QUIRK_LONG_DISCOVERABLE;
	controller chip(settings);

	ask(chip, GAP_INIT);
	EXPECT_EQ(ask(chip, GAP_ON), "04 FF 06 7F 06 00 06 FE 00 | 04 FF 05 03 06 00 A0 00");
}

TEST(SimController, QuirkEnableTwiceIsRefused)
{
	sim::controller_settings settings = settings_named("ti-08");
	settings.quirks = sim::QUIRK_ENABLE_TWICE;
	controller chip(settings);

	ask(chip, GAP_INIT);
	EXPECT_EQ(ask(chip, LE_ON), "04 0E 04 01 0A 20 00");
	EXPECT_EQ(ask(chip, LE_ON), "04 0E 04 01 0A 20 0C");
}

TEST(SimController, QuirkSegmentEventComesBesideTheAnswer)
{
	sim::controller_settings settings = settings_named("qualcomm");
	settings.quirks = sim::QUIRK_SEGMENT_EVENT;
	controller chip(settings);

	EXPECT_EQ(ask(chip, "01 00 FC 03 1E 01 02"), "04 FF 03 00 04 00 | 04 0E 05 01 00 FC 00 1E");
	EXPECT_EQ(ask(chip, "01 00 FC 02 1E 01"), "04 FF 03 00 04 12 | 04 0E 05 01 00 FC 12 1E");
	EXPECT_EQ(ask(chip, "01 00 FC 01 19"), "04 0E 0B 01 00 FC 00 19 10 00 00 02 00 00")
		<< "no segment";
}

TEST(SimController, QuirkSegmentEventChangesNothingWithoutItsCommand)
{
	sim::controller_settings settings = settings_named("ti-08");
	settings.quirks = sim::QUIRK_SEGMENT_EVENT;
	controller chip(settings);

	EXPECT_EQ(ask(chip, "01 00 FC 03 1E 01 02"), "04 FF 05 00 04 01 00 FC");
}
