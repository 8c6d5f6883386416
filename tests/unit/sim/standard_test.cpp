// SPDX-License-Identifier: Apache-2.0
/* Standard commands of any Bluetooth host: information, masks, addresses, the scan. */
#include "tests/unit/sim/talk.h"

#include <gtest/gtest.h>

using sim::controller;

static const std::string MASK = "00 00 00 00 00 C0 00 00 00 00 00 00 00 00 B8 02 00 00 00 00 00 "
				"00 04 00 00 F7 CF 83 78";

TEST(SimStandard, TellsWhatItIsAndCan)
{
	for (const char *kind : { "ti-06", "ti-08", "qualcomm" }) {
		const std::vector<std::string> ready =
			kind[0] == 'q' ? patched() : std::vector<std::string>{};
		expect_all({
			{ "commands", kind, ready, "01 02 10 00",
			  "04 0E 44 01 02 10 00 " + MASK + " " + repeated("00", 35) },
			{ "features: LE, and no BR/EDR", kind, ready, "01 03 10 00",
			  "04 0E 0C 01 03 10 00 00 00 00 00 60 00 00 00" },
			{ "buffers", kind, ready, "01 05 10 00",
			  "04 0E 0B 01 05 10 00 1B 00 00 04 00 00 00" },
			{ "LE buffers", kind, ready, "01 02 20 00",
			  "04 0E 07 01 02 20 00 1B 00 04" },
			{ "LE features", kind, ready, "01 03 20 00",
			  "04 0E 0C 01 03 20 00 " + repeated("00", 8) },
			{ "LE states", kind, ready, "01 1C 20 00",
			  "04 0E 0C 01 1C 20 00 3F FF 00 00 00 00 00 00" },
			{ "event mask", kind, ready, "01 01 0C 08 " + repeated("FF", 8),
			  "04 0E 04 01 01 0C 00" },
			{ "event mask, page 2", kind, ready, "01 63 0C 08 " + repeated("FF", 8),
			  "04 0E 04 01 63 0C 00" },
			{ "LE event mask", kind, ready, "01 01 20 08 " + repeated("FF", 8),
			  "04 0E 04 01 01 20 00" },
			{ "accept list's size", kind, ready, "01 0F 20 00",
			  "04 0E 05 01 0F 20 00 08" },
		});
	}
}

TEST(SimStandard, WantsItsPatchFirst)
{
	for (const char *command :
	     { "01 02 10 00", "01 03 10 00", "01 05 10 00", "01 02 20 00", "01 03 20 00",
	       "01 18 20 00", "01 1C 20 00", "01 0F 20 00", "01 10 20 00" }) {
		controller chip(settings_named("qualcomm"));
		EXPECT_EQ(ask(chip, command).substr(18, 2), "0C") << command;
	}
}

TEST(SimStandard, RandomNumbersFollowTheSeed)
{
	const auto two = [](uint64_t seed) {
		sim::controller_settings settings = settings_named("ti-08");
		settings.seed = seed;
		controller chip(settings);
		const std::string first = ask(chip, "01 18 20 00");
		return std::pair(first, ask(chip, "01 18 20 00"));
	};
	const auto [first, second] = two(1);

	EXPECT_EQ(first.substr(0, 21), "04 0E 0C 01 18 20 00 ");
	EXPECT_NE(first, second);
	EXPECT_EQ(two(1), two(1));
	EXPECT_NE(two(1), two(2));
}

static std::string parameters(const std::string &own_address_type)
{
	return "01 06 20 0F A0 00 A0 00 03 " + own_address_type + " 00 00 00 00 00 00 00 07 00";
}

static const std::string RANDOM_ADDRESS = "01 05 20 06 06 05 04 03 02 C1";

TEST(SimStandard, ARandomAddressMustBeThereBeforeItIsUsed)
{
	for (const char *type : { "01", "03" })
		expect_all({
			{ "none is there", "qualcomm", patched({ parameters(type) }), LE_ON,
			  "04 0E 04 01 0A 20 12" },
			{ "one is there", "qualcomm", patched({ RANDOM_ADDRESS, parameters(type) }),
			  LE_ON, "04 0E 04 01 0A 20 00" },
			{ "a reset has taken it", "qualcomm",
			  patched({ RANDOM_ADDRESS, RESET, parameters(type) }), LE_ON,
			  "04 0E 04 01 0A 20 12" },
			{ "none is there for a scan",
			  "ti-08",
			  { std::string("01 0B 20 07 01 10 00 10 00 ") + type + " 00" },
			  "01 0C 20 02 01 00",
			  "04 0E 04 01 0C 20 12" },
		});
	for (const char *type : { "00", "02" })
		expect_all({ { "the device's own", "qualcomm", patched({ parameters(type) }), LE_ON,
			       "04 0E 04 01 0A 20 00" } });
}

TEST(SimStandard, ARandomAddressIsOnTheAir)
{
	controller chip(settings_named("qualcomm"));

	for (const std::string &command : patched({ RANDOM_ADDRESS, parameters("01"), LE_ON }))
		ask(chip, command);
	EXPECT_EQ(sim::address_text(chip.air().address), "C1:02:03:04:05:06");
	EXPECT_TRUE(chip.air().is_random_address);
	EXPECT_EQ(ask(chip, RANDOM_ADDRESS), "04 0E 04 01 05 20 0C") << "it is in use";
}

TEST(SimStandard, ScanParametersHaveTheirBounds)
{
	const auto scan = [](const std::string &text) { return "01 0B 20 07 " + text; };
	const std::string taken = "04 0E 04 01 0B 20 00";
	const std::string refused = "04 0E 04 01 0B 20 12";

	expect_all({
		{ "shortest", "ti-06", {}, scan("00 04 00 04 00 00 00"), taken },
		{ "longest", "ti-06", {}, scan("01 00 40 00 40 00 03"), taken },
		{ "too short", "ti-06", {}, scan("00 03 00 03 00 00 00"), refused },
		{ "too long", "ti-06", {}, scan("00 01 40 10 00 00 00"), refused },
		{ "window too short", "ti-06", {}, scan("00 10 00 03 00 00 00"), refused },
		{ "window beyond the interval",
		  "ti-06",
		  {},
		  scan("00 10 00 11 00 00 00"),
		  refused },
		{ "type", "ti-06", {}, scan("02 10 00 10 00 00 00"), refused },
		{ "address type", "ti-06", {}, scan("00 10 00 10 00 04 00"), refused },
		{ "filter", "ti-06", {}, scan("00 10 00 10 00 00 04"), refused },
		{ "while it scans",
		  "ti-06",
		  { "01 0C 20 02 01 00" },
		  scan("00 10 00 10 00 00 00"),
		  "04 0E 04 01 0B 20 0C" },
		{ "enable 2", "ti-06", {}, "01 0C 20 02 02 00", "04 0E 04 01 0C 20 12" },
		{ "duplicates 2", "ti-06", {}, "01 0C 20 02 01 02", "04 0E 04 01 0C 20 12" },
		{ "twice",
		  "ti-06",
		  { "01 0C 20 02 01 00" },
		  "01 0C 20 02 01 01",
		  "04 0E 04 01 0C 20 00" },
		{ "off while it is off", "ti-06", {}, "01 0C 20 02 00 00", "04 0E 04 01 0C 20 00" },
		{ "within a test",
		  "ti-06",
		  { "01 1D 20 01 00" },
		  "01 0C 20 02 01 00",
		  "04 0E 04 01 0C 20 0C" },
		{ "a test within a scan",
		  "ti-06",
		  { "01 0C 20 02 01 00" },
		  "01 1D 20 01 00",
		  "04 0E 04 01 1D 20 0C" },
		{ "a transmitter test within a scan",
		  "ti-06",
		  { "01 0C 20 02 01 00" },
		  "01 1E 20 03 00 25 00",
		  "04 0E 04 01 1E 20 0C" },
		{ "an address while it scans",
		  "ti-06",
		  { "01 0C 20 02 01 00" },
		  RANDOM_ADDRESS,
		  "04 0E 04 01 05 20 0C" },
	});
}

TEST(SimStandard, EachScanIsAnotherOneEvenAfterAReset)
{
	controller chip(settings_named("ti-08"));

	ask(chip, "01 0C 20 02 01 00");
	const uint32_t first = chip.scan().number;
	ask(chip, "01 0C 20 02 01 01");
	const uint32_t second = chip.scan().number;
	EXPECT_NE(first, second);
	ask(chip, RESET);
	EXPECT_FALSE(chip.scan().is_on);
	ask(chip, "01 0C 20 02 01 00");
	EXPECT_NE(chip.scan().number, first);
	EXPECT_NE(chip.scan().number, second);
}

TEST(SimStandard, TheAcceptListHoldsEight)
{
	controller chip(settings_named("ti-08"));
	const auto add = [&](const std::string &type, int last) {
		const sim::bytes byte = { static_cast<uint8_t>(last) };
		return ask(chip, "01 11 20 07 " + type + " 01 02 03 04 05 " + sim::hex_text(byte));
	};

	for (int i = 0; i < 8; i++)
		EXPECT_EQ(add("00", i), "04 0E 04 01 11 20 00");
	EXPECT_EQ(add("00", 3), "04 0E 04 01 11 20 00") << "it is there already";
	EXPECT_EQ(add("01", 3), "04 0E 04 01 11 20 07") << "another type is another device";
	EXPECT_EQ(add("02", 3), "04 0E 04 01 11 20 12");
	EXPECT_EQ(ask(chip, "01 12 20 07 00 01 02 03 04 05 03"), "04 0E 04 01 12 20 00");
	EXPECT_EQ(add("01", 3), "04 0E 04 01 11 20 00");
	EXPECT_EQ(ask(chip, "01 10 20 00"), "04 0E 04 01 10 20 00");
	EXPECT_TRUE(chip.scan().wanted.empty());
	ask(chip, "01 0B 20 07 00 10 00 10 00 00 01");
	ask(chip, "01 0C 20 02 01 00");
	EXPECT_EQ(add("00", 1), "04 0E 04 01 11 20 0C") << "a scan is choosing by it";
	EXPECT_EQ(ask(chip, "01 10 20 00"), "04 0E 04 01 10 20 0C");
	EXPECT_EQ(ask(chip, "01 12 20 07 00 01 02 03 04 05 03"), "04 0E 04 01 12 20 0C");
}
