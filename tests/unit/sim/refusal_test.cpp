// SPDX-License-Identifier: Apache-2.0
/* What each simulated controller refuses, with every status code that it uses. */
#include "tests/unit/sim/talk.h"

#include <gtest/gtest.h>

using sim::controller;

TEST(SimRefusal, RefusesUnknownCommands)
{
	expect_all({
		{ "standard", "ti-08", {}, "01 11 10 00", "04 0F 04 01 01 11 10" },
		{ "extension", "ti-08", {}, "01 7E FC 00", "04 FF 05 7E 04 01 7E FC" },
		{ "GAP", "ti-08", {}, "01 7E FE 00", "04 FF 06 7F 06 01 7E FE 00" },
		{ "the other maker's", "qualcomm", {}, GAP_OFF, "04 0F 04 01 01 08 FE" },
		{ "patch download on ti",
		  "ti-06",
		  {},
		  "01 00 FC 01 19",
		  "04 FF 05 00 04 01 00 FC" },
	});
}

TEST(SimRefusal, RefusesInTheWrongState)
{
	const std::string receiver = "01 1D 20 01 00";

	expect_all({
		{ "make discoverable before device init",
		  "ti-08",
		  {},
		  GAP_ON,
		  "04 FF 06 7F 06 0C 06 FE 00" },
		{ "advertising data before device init",
		  "ti-08",
		  {},
		  GAP_DATA,
		  "04 FF 06 7F 06 0C 07 FE 00" },
		{ "standard enable before device init",
		  "ti-08",
		  {},
		  LE_ON,
		  "04 0E 04 01 0A 20 0C" },
		{ "device init again after a reset",
		  "ti-08",
		  { GAP_INIT, "01 1D FC 01 01" },
		  GAP_ON,
		  "04 FF 06 7F 06 0C 06 FE 00" },
		{ "end discoverable while off: wrong mode",
		  "ti-08",
		  { GAP_INIT },
		  GAP_OFF,
		  "04 FF 06 7F 06 12 08 FE 00" },
		{ "make discoverable twice: wrong mode",
		  "ti-08",
		  { GAP_INIT, GAP_ON },
		  GAP_ON,
		  "04 FF 06 7F 06 12 06 FE 00" },
		{ "make discoverable as an observer: wrong mode",
		  "ti-08",
		  { "01 00 FE 26 02 05 " + repeated("00", 36) },
		  GAP_ON,
		  "04 FF 06 7F 06 12 06 FE 00" },
		{ "parameters while advertising", "qualcomm", patched({ LE_ON }), LE_PARAMETERS,
		  "04 0E 04 01 06 20 0C" },
		{ "receiver test while advertising", "qualcomm", patched({ LE_ON }), receiver,
		  "04 0E 04 01 1D 20 0C" },
		{ "transmitter test while advertising",
		  "ti-08",
		  { GAP_INIT, GAP_ON },
		  "01 1E 20 03 00 25 00",
		  "04 0E 04 01 1E 20 0C" },
		{ "second receiver test", "ti-08", { receiver }, receiver, "04 0E 04 01 1D 20 0C" },
		{ "transmitter test within a receiver test",
		  "ti-08",
		  { receiver },
		  "01 1E 20 03 00 25 00",
		  "04 0E 04 01 1E 20 0C" },
		{ "test end without a test: its count is there all the same",
		  "ti-06",
		  {},
		  "01 1F 20 00",
		  "04 0E 06 01 1F 20 0C 00 00" },
		{ "enable within a test", "qualcomm", patched({ receiver }), LE_ON,
		  "04 0E 04 01 0A 20 0C" },
		{ "device init within a test",
		  "ti-08",
		  { receiver },
		  GAP_INIT,
		  "04 FF 06 7F 06 0C 00 FE 00" },
	});
}

TEST(SimRefusal, RefusesAllButThePatchBeforeThePatch)
{
	for (const std::string &command :
	     { std::string("01 09 10 00"), LE_PARAMETERS, std::string("01 07 20 00"), LE_DATA,
	       LE_ON, std::string("01 1D 20 01 00"), std::string("01 1E 20 03 00 25 00"),
	       std::string("01 1F 20 00"), std::string("01 14 FC 06 01 02 03 04 05 06") }) {
		SCOPED_TRACE(command);
		controller chip(settings_named("qualcomm"));
		EXPECT_EQ(ask(chip, command).substr(18, 2), "0C");
		ask(chip, RESET); /* a reset alone does not help */
		EXPECT_EQ(ask(chip, command).substr(18, 2), "0C");
	}
}

TEST(SimRefusal, QuirkLoneStatusLeavesEverythingElseOut)
{
	sim::controller_settings settings = settings_named("qualcomm");
	settings.quirks = sim::QUIRK_LONE_STATUS;
	controller chip(settings);

	EXPECT_EQ(ask(chip, "01 11 10 00"), "04 0E 04 01 11 10 01");
	EXPECT_EQ(ask(chip, "01 09 10 00"), "04 0E 04 01 09 10 0C");
	EXPECT_EQ(ask(chip, "01 01 10 00"), "04 0E 0C 01 01 10 00 0B 10 00 0B 1D 00 10 01");
}

TEST(SimRefusal, RefusesBadParameters)
{
	const auto parameters = [](const std::string &interval, const std::string &type) {
		return "01 06 20 0F " + interval + " " + interval + " " + type +
		       " 00 00 00 00 00 00 00 00 07 00";
	};
	const std::string refused = "04 0E 04 01 06 20 12";
	const std::string taken = "04 0E 04 01 06 20 00";

	expect_all({
		{ "interval below 0x0020", "qualcomm", patched(), parameters("1F 00", "03"),
		  refused },
		{ "interval 0x0020 since 5.0", "qualcomm", patched(), parameters("20 00", "03"),
		  taken },
		{ "interval 0x0020 connectable", "ti-08", {}, parameters("20 00", "00"), taken },
		{ "non-connectable below 0x00A0 before 5.0",
		  "ti-08",
		  {},
		  parameters("9F 00", "03"),
		  refused },
		{ "scannable below 0x00A0 before 5.0",
		  "ti-08",
		  {},
		  parameters("9F 00", "02"),
		  refused },
		{ "non-connectable 0x00A0 before 5.0",
		  "ti-08",
		  {},
		  parameters("A0 00", "03"),
		  taken },
		{ "interval 0x4000", "ti-08", {}, parameters("00 40", "03"), taken },
		{ "interval above 0x4000", "ti-08", {}, parameters("01 40", "03"), refused },
		{ "shortest above longest",
		  "ti-08",
		  {},
		  "01 06 20 0F A1 00 A0 00 03 00 00 00 00 00 00 00 00 07 00",
		  refused },
		{ "low duty directed 0x0020 before 5.0",
		  "ti-08",
		  {},
		  parameters("20 00", "04"),
		  taken },
		{ "low duty directed below 0x0020",
		  "ti-08",
		  {},
		  parameters("1F 00", "04"),
		  refused },
		{ "high duty directed has no interval",
		  "ti-08",
		  {},
		  parameters("00 00", "01"),
		  taken },
		{ "unknown type", "ti-08", {}, parameters("A0 00", "05"), refused },
		{ "no channel",
		  "ti-08",
		  {},
		  "01 06 20 0F A0 00 A0 00 03 00 00 00 00 00 00 00 00 00 00",
		  refused },
		{ "data of 32 bytes",
		  "ti-08",
		  {},
		  "01 08 20 20 20 " + repeated("00", 31),
		  "04 0E 04 01 08 20 12" },
		{ "data of 31 bytes",
		  "ti-08",
		  {},
		  "01 08 20 20 1F " + repeated("00", 31),
		  "04 0E 04 01 08 20 00" },
		{ "enable 2", "ti-08", { GAP_INIT }, "01 0A 20 01 02", "04 0E 04 01 0A 20 12" },
		{ "receiver channel 40", "ti-08", {}, "01 1D 20 01 28", "04 0E 04 01 1D 20 12" },
		{ "transmitter channel 40",
		  "ti-08",
		  {},
		  "01 1E 20 03 28 25 00",
		  "04 0E 04 01 1E 20 12" },
		{ "pattern 8", "ti-08", {}, "01 1E 20 03 00 25 08", "04 0E 04 01 1E 20 12" },
		{ "test length 38 before 4.2",
		  "ti-06",
		  {},
		  "01 1E 20 03 00 26 00",
		  "04 0E 04 01 1E 20 12" },
		{ "test length 38 since 4.2",
		  "ti-08",
		  {},
		  "01 1E 20 03 00 26 00",
		  "04 0E 04 01 1E 20 00" },
		{ "too few parameters", "ti-08", {}, "01 1E 20 02 00 25", "04 0E 04 01 1E 20 12" },
		{ "too many parameters", "ti-08", {}, "01 03 0C 01 00", "04 0E 04 01 03 0C 12" },
	});
}

TEST(SimRefusal, RefusesBadParametersOfTi)
{
	expect_all({
		{ "power 4 of ti-06", "ti-06", {}, "01 01 FC 01 04", "04 FF 05 01 04 12 01 FC" },
		{ "power 13 of ti-08", "ti-08", {}, "01 01 FC 01 0D", "04 FF 05 01 04 12 01 FC" },
		{ "reset of type 2", "ti-08", {}, "01 1D FC 01 02", "04 FF 05 1D 04 12 1D FC" },
		{ "revision mode 2",
		  "ti-08",
		  {},
		  "01 1B FC 03 02 00 00",
		  "04 FF 05 1B 04 12 1B FC" },
		{ "parameter id past the last",
		  "ti-08",
		  {},
		  "01 30 FE 03 68 01 00",
		  "04 FF 06 7F 06 02 30 FE 00" },
		{ "last parameter id",
		  "ti-08",
		  {},
		  "01 30 FE 03 67 01 00",
		  "04 FF 06 7F 06 00 30 FE 00" },
		{ "parameter value 0xFFFF",
		  "ti-08",
		  {},
		  "01 30 FE 03 00 FF FF",
		  "04 FF 06 7F 06 02 30 FE 00" },
		{ "interval below 0x0020",
		  "ti-08",
		  {},
		  "01 30 FE 03 06 1F 00",
		  "04 FF 06 7F 06 12 30 FE 00" },
		{ "interval above 0x4000",
		  "ti-08",
		  {},
		  "01 30 FE 03 09 01 40",
		  "04 FF 06 7F 06 12 30 FE 00" },
		{ "no role",
		  "ti-08",
		  {},
		  "01 00 FE 26 00 05 " + repeated("00", 36),
		  "04 FF 06 7F 06 02 00 FE 00" },
		{ "data of 32 bytes",
		  "ti-08",
		  { GAP_INIT },
		  "01 07 FE 22 01 20 " + repeated("00", 32),
		  "04 FF 06 7F 06 12 07 FE 00" },
		{ "data shorter than told",
		  "ti-08",
		  { GAP_INIT },
		  "01 07 FE 03 01 02 00",
		  "04 FF 06 7F 06 12 07 FE 00" },
		{ "data of an unknown kind",
		  "ti-08",
		  { GAP_INIT },
		  "01 07 FE 03 02 01 00",
		  "04 FF 06 7F 06 12 07 FE 00" },
		{ "beacon interval below 0x00A0",
		  "ti-08",
		  { "01 30 FE 03 08 9F 00", GAP_INIT },
		  GAP_ON,
		  "04 FF 06 7F 06 12 06 FE 00" },
		{ "shortest above longest",
		  "ti-08",
		  { "01 30 FE 03 08 A1 00", GAP_INIT },
		  GAP_ON,
		  "04 FF 06 7F 06 12 06 FE 00" },
		{ "get parameter without an id",
		  "ti-08",
		  {},
		  "01 31 FE 00",
		  "04 FF 06 7F 06 12 31 FE 00" },
	});
}
