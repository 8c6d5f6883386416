// SPDX-License-Identifier: Apache-2.0
/* The record of everything as JSON: each line exactly. */
#include "sim/output/json.h"
#include "tests/unit/sim/talk.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using sim::air_state;
using sim::happened;
using sim::radio;
using sim::record;

static air_state on_air(const std::string &payload)
{
	return { .doing = radio::advertising,
		 .type = 3,
		 .slots = 160,
		 .address = { 1, 0, 0, 0, 0, 2 },
		 .payload = sim::parse_hex(payload).value() };
}

static air_state with_random_address(air_state air)
{
	air.is_random_address = true;
	air.slots = 33;
	return air;
}

static const struct {
	const char *name;
	record what;
	std::string line;
} rows[] = {
	{
		"a command has its name",
		{ .at = 1500ms, .what = happened::command, .packet = { 0x01, 0x03, 0x0C, 0x00 } },
		R"({"t":1.5,"what":"command","name":"Reset","bytes":"01 03 0C 00"})",
	},
	{
		"but not one that the controller does not know",
		{ .at = 1s, .what = happened::command, .packet = { 0x01, 0xFF, 0xFF, 0x00 } },
		R"({"t":1,"what":"command","bytes":"01 FF FF 00"})",
	},
	{
		"ten digits of the seconds",
		{ .at = 12345678901ns, .what = happened::event, .packet = { 0x04, 0x0E } },
		R"({"t":12.3456789,"what":"event","bytes":"04 0E"})",
	},
	{
		"a few nanoseconds",
		{ .at = 2500ns, .what = happened::event, .packet = { 0x04, 0x0E } },
		R"({"t":2.5e-06,"what":"event","bytes":"04 0E"})",
	},
	{
		"a day",
		{ .at = 86400s + 1us, .what = happened::event, .packet = { 0x04, 0x0E } },
		R"({"t":86400,"what":"event","bytes":"04 0E"})",
	},
	{
		"quotes and backslashes",
		{ .what = happened::fault, .text = R"(say "x" \ y)" },
		R"({"t":0,"what":"fault","text":"say \"x\" \\ y"})",
	},
	{
		"letters beyond ASCII as they are",
		{ .what = happened::notice, .text = "Grüße" },
		R"({"t":0,"what":"notice","text":"Grüße"})",
	},
	{
		"a patch has a size",
		{ .what = happened::patch, .packet = sim::bytes(300) },
		R"({"t":0,"what":"patch","size":300})",
	},
	{
		"a beacon is decoded",
		{ .what = happened::air, .air = on_air(BEACON) },
		R"({"t":0,"what":"air","radio":"advertising","address":"02:00:00:00:00:01",)"
		R"("address_type":"public","interval_ms":100,"type":3,"payload":")" +
			BEACON +
			R"(","uuid":"00112233-4455-6677-8899-AABBCCDDEEFF","major":1,"minor":515,)"
			R"("power_dbm":-59})",
	},
	{
		"another payload is not",
		{ .what = happened::air, .air = with_random_address(on_air("02 01 06")) },
		R"({"t":0,"what":"air","radio":"advertising","address":"02:00:00:00:00:01",)"
		R"("address_type":"random","interval_ms":20.625,"type":3,"payload":"02 01 06"})",
	},
	{
		"off",
		{ .what = happened::air },
		R"({"t":0,"what":"air","radio":"off"})",
	},
	{
		"a receiver test",
		{ .what = happened::air, .air = { .doing = radio::receiving, .channel = 39 } },
		R"({"t":0,"what":"air","radio":"receiver test","channel":39})",
	},
	{
		"a transmitter test",
		{ .what = happened::air,
		  .air = { .doing = radio::transmitting, .channel = 7, .test_length = 5 } },
		R"({"t":0,"what":"air","radio":"transmitter test","channel":7,"length":5,)"
		R"("pattern":"PRBS9"})",
	},
};

TEST(SimJson, OneObjectForEachThing)
{
	for (const auto &row : rows) {
		SCOPED_TRACE(row.name);
		EXPECT_EQ(sim::json_line(row.what, sim::vendor::ti), row.line + std::string("\n"));
	}
}

TEST(SimJson, ALineIsJsonWhateverItsTextHolds)
{
	std::string text;
	for (int letter = 1; letter < 256; letter++)
		text += static_cast<char>(letter);
	const std::string line =
		sim::json_line({ .what = happened::fault, .text = text }, sim::vendor::ti);

	EXPECT_EQ(line.find('\n'), line.size() - 1);
	const auto read = nlohmann::json::parse(line, nullptr, false);
	ASSERT_FALSE(read.is_discarded()) << line;
	EXPECT_TRUE(read.at("text").get<std::string>().starts_with(text.substr(0, 127)));
}

TEST(SimJson, TheFirstLineHasTheSeed)
{
	EXPECT_EQ(
		sim::json_start("a \"ti-08\" on /dev/pts/3", 18446744073709551615U),
		R"({"t":0,"what":"start","text":"a \"ti-08\" on /dev/pts/3","seed":18446744073709551615})"
		"\n");
}
