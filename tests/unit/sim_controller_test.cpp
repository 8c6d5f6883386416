// SPDX-License-Identifier: Apache-2.0
/* What each simulated controller answers to each command, in each state, byte for byte. */
#include "tests/unit/sim_talk.h"

#include <gtest/gtest.h>

using sim::controller;
using sim::radio;

struct exchange {
	const char *name;
	const char *kind;
	std::vector<std::string> before; /* commands whose answers do not matter */
	std::string command;
	std::string answer;
};

static void expect_all(const std::vector<exchange> &exchanges)
{
	for (const exchange &row : exchanges) {
		SCOPED_TRACE(row.name);
		controller chip(settings_named(row.kind));
		for (const std::string &command : row.before)
			ask(chip, command);
		EXPECT_EQ(ask(chip, row.command), row.answer);
	}
}

/* A controller of the other maker that works: its patch downloaded, the reset done. */
static std::vector<std::string> patched(std::vector<std::string> more = {})
{
	const sim::bytes patch = sim::make_patch(40, 1);
	std::vector<std::string> commands = { "01 00 FC 2A 1E 28 " + sim::hex_text(patch), RESET };

	commands.insert(commands.end(), more.begin(), more.end());
	return commands;
}

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

TEST(SimController, RefusesUnknownCommands)
{
	expect_all({
		{ "standard", "ti-08", {}, "01 05 10 00", "04 0E 04 01 05 10 01" },
		{ "extension", "ti-08", {}, "01 7E FC 00", "04 FF 05 7E 04 01 7E FC" },
		{ "GAP", "ti-08", {}, "01 7E FE 00", "04 FF 06 7F 06 01 7E FE 00" },
		{ "the other maker's", "qualcomm", {}, GAP_OFF, "04 0E 04 01 08 FE 01" },
		{ "patch download on ti",
		  "ti-06",
		  {},
		  "01 00 FC 01 19",
		  "04 FF 05 00 04 01 00 FC" },
	});
}

TEST(SimController, RefusesInTheWrongState)
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
		{ "test end without a test", "ti-06", {}, "01 1F 20 00", "04 0E 04 01 1F 20 0C" },
		{ "enable within a test", "qualcomm", patched({ receiver }), LE_ON,
		  "04 0E 04 01 0A 20 0C" },
		{ "device init within a test",
		  "ti-08",
		  { receiver },
		  GAP_INIT,
		  "04 FF 06 7F 06 0C 00 FE 00" },
	});
}

TEST(SimController, RefusesAllButThePatchBeforeThePatch)
{
	for (const std::string &command :
	     { std::string("01 09 10 00"), LE_PARAMETERS, std::string("01 07 20 00"), LE_DATA,
	       LE_ON, std::string("01 1D 20 01 00"), std::string("01 1E 20 03 00 25 00"),
	       std::string("01 1F 20 00"), std::string("01 14 FC 06 01 02 03 04 05 06") }) {
		SCOPED_TRACE(command);
		controller chip(settings_named("qualcomm"));
		EXPECT_EQ(ask(chip, command).substr(18, 2), "0C");
		ask(chip, RESET); /* a reset alone helps nothing */
		EXPECT_EQ(ask(chip, command).substr(18, 2), "0C");
	}
}

TEST(SimController, RefusesBadParameters)
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

TEST(SimController, RefusesBadParametersOfTi)
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

	chip.hear(5); /* nobody listens yet */
	ask(chip, "01 1D 20 01 00");
	EXPECT_EQ(chip.air().doing, radio::receiving);
	EXPECT_EQ(ask(chip, "01 1F 20 00"), "04 0E 06 01 1F 20 00 34 12");
	ask(chip, "01 1D 20 01 00");
	chip.hear(1);
	EXPECT_EQ(ask(chip, "01 1F 20 00"), "04 0E 06 01 1F 20 00 35 12");
	ask(chip, "01 1D 20 01 00");
	chip.hear(70000); /* the count has 16 bits and stays at its end */
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
}
