// SPDX-License-Identifier: Apache-2.0
/* The records of a run: decoded payloads, the timeline and its pictures, btsnoop. */
#include "sim/air/advertisement.h"
#include "sim/output/air_log.h"
#include "sim/output/capture.h"
#include "sim/output/live_view.h"
#include "sim/output/svg_report.h"
#include "tests/unit/sim/talk.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using sim::air_state;
using sim::bytes;
using sim::radio;

static air_state beacon_on_air(uint8_t minor = 3)
{
	air_state air = { .doing = radio::advertising,
			  .type = 3,
			  .slots = 160,
			  .address = { 1, 0, 0, 0, 0, 2 },
			  .payload = sim::parse_hex(BEACON).value() };

	air.payload[28] = minor;
	return air;
}

static const std::string WORDS = "uuid 00112233-4455-6677-8899-AABBCCDDEEFF major 1 minor 515 "
				 "power -59 dBm";

TEST(SimAdvertisement, ABeaconIsDecoded)
{
	const auto found = sim::decode_beacon(sim::parse_hex(BEACON).value());

	ASSERT_TRUE(found);
	EXPECT_EQ(*found, (sim::beacon{ "00112233-4455-6677-8899-AABBCCDDEEFF", 1, 0x0203, -59 }));
	EXPECT_EQ(sim::air_text(beacon_on_air()),
		  WORDS + " interval 100 ms address 02:00:00:00:00:01");
}

TEST(SimAdvertisement, OnlyABeaconIsOne)
{
	const bytes good = sim::parse_hex(BEACON).value();
	const auto is_beacon = [](bytes payload) {
		return sim::decode_beacon(payload).has_value();
	};
	bytes other = good;

	EXPECT_TRUE(is_beacon(bytes(good.begin() + 3, good.end()))) << "without flags";
	EXPECT_FALSE(is_beacon({}));
	EXPECT_FALSE(is_beacon(bytes(good.begin(), good.end() - 1))) << "cut off";
	other[5] = 0x4D;
	EXPECT_FALSE(is_beacon(other)) << "another company";
	other = good;
	other[7] = 0x03;
	EXPECT_FALSE(is_beacon(other)) << "another kind";
	other = good;
	other[0] = 0;
	EXPECT_FALSE(is_beacon(other)) << "nothing follows an empty structure";
	EXPECT_FALSE(is_beacon(bytes(31, 0xFF)));
}

TEST(SimAdvertisement, OtherPayloadsAreShownAsTheyAre)
{
	EXPECT_EQ(sim::payload_text({ { 0x02, 0x01, 0x06 } }), "payload 02 01 06");
	EXPECT_EQ(sim::payload_text({}), "payload empty");
	EXPECT_EQ(sim::number_text(sim::interval_ms(161)), "100.625");
}

TEST(SimAdvertisement, TestsAreShownByTheirFrequency)
{
	EXPECT_EQ(sim::air_text({ .doing = radio::receiving, .channel = 39 }),
		  "receiver test channel 39 (2480 MHz)");
	EXPECT_EQ(sim::air_text({ .doing = radio::transmitting,
				  .channel = 0,
				  .test_length = 37,
				  .test_pattern = 7 }),
		  "transmitter test channel 0 (2402 MHz) length 37 pattern 01010101");
	EXPECT_EQ(sim::air_text({}), "off");
}

TEST(SimTimeline, CountsTimesAndTime)
{
	sim::timeline times;

	times.change(beacon_on_air(1), 1s);
	times.change(beacon_on_air(2), 2s);
	times.change(beacon_on_air(1), 4s);
	times.change({}, 7s);
	ASSERT_EQ(times.rows().size(), 2u);
	EXPECT_EQ(times.rows()[0].times, 2u);
	EXPECT_EQ(times.total(0, 100s), 4s);
	EXPECT_EQ(times.rows()[1].times, 1u);
	EXPECT_EQ(times.total(1, 100s), 2s);
	EXPECT_EQ(times.stretches().size(), 3u);
	EXPECT_FALSE(times.current());
	times.change(beacon_on_air(2), 10s);
	EXPECT_EQ(times.current(), 1u);
	EXPECT_EQ(times.total(1, 11s), 3s) << "what still lasts counts";
}

TEST(SimTimeline, DoesNotGrowWithoutEnd)
{
	sim::timeline times;

	for (int i = 0; i < 100'000; i++) {
		air_state air = beacon_on_air();
		air.payload[28] = static_cast<uint8_t>(i);
		times.change(air, std::chrono::milliseconds(i));
	}
	EXPECT_LE(times.rows().size(), 64u);
	EXPECT_LE(times.stretches().size(), 20'000u);
	EXPECT_GT(times.forgotten(), 0u);
}

/* Passes a change to the log and then to the timeline, as the program does. */
static std::string log_change(sim::air_log &log, sim::timeline &times, const air_state &air,
			      sim::moment at)
{
	const std::string text = log.change(air, times, at);

	times.change(air, at);
	return text;
}

TEST(SimAirLog, OneLineForEachChange)
{
	sim::air_log log({});
	sim::timeline times;

	EXPECT_EQ(log_change(log, times, beacon_on_air(), 1234ms),
		  "+1.234 s  on     " + WORDS + " interval 100 ms address 02:00:00:00:00:01\n");
	EXPECT_TRUE(
		log_change(log, times, beacon_on_air(4), 2s).starts_with("+2.000 s  change uuid"));
	EXPECT_EQ(log_change(log, times, {}, 3s), "+3.000 s  off\n");
	EXPECT_EQ(log.summary(times, 4s), "");
	EXPECT_FALSE(log.next());
}

TEST(SimAirLog, ASummaryStandsForTheChangesOfKnownBeacons)
{
	sim::air_log log(2s);
	sim::timeline times;

	EXPECT_NE(log_change(log, times, beacon_on_air(1), 0s), "");
	EXPECT_NE(log_change(log, times, beacon_on_air(2), 500ms), "") << "a new one is told";
	EXPECT_EQ(log_change(log, times, beacon_on_air(1), 1s), "") << "a known one is not";
	EXPECT_EQ(log.next(), 2s);
	EXPECT_EQ(log.summary(times, 1999ms), "");
	const std::string text = log.summary(times, 2s);
	EXPECT_EQ(std::ranges::count(text, '\n'), 2);
	EXPECT_TRUE(text.starts_with("+2.000 s     1.5 s in    2 times  uuid 00112233")) << text;
	EXPECT_EQ(log.next(), 4s);
}

/* A temporary file, and what a capture writes next to it. */
class capture_file
{
      public:
	capture_file()
	{
		std::filesystem::create_directory(m_folder);
	}
	~capture_file()
	{
		std::filesystem::remove_all(m_folder);
	}
	std::string path(const char *more = "") const
	{
		return m_folder + "/capture" + more;
	}
	bytes content(const char *more = "") const
	{
		std::ifstream file(path(more), std::ios::binary);
		return bytes(std::istreambuf_iterator<char>(file), {});
	}

      private:
	const std::string m_folder =
		testing::TempDir() + "sim_records_test." + std::to_string(getpid());
};

TEST(SimCapture, WritesHeaderAndRecordsHighByteFirst)
{
	const capture_file file;
	sim::capture capture;
	const auto year_2000 = sim::capture::wall_time(946'684'800s);

	ASSERT_EQ(capture.open(file.path(), 0), "");
	capture.add(sim::parse_hex(RESET).value(), sim::capture::direction::from_host, year_2000);
	capture.add({ { 0x04, 0x0E, 0x00 } }, sim::capture::direction::to_host,
		    year_2000 + 1s + 2us);
	capture.add({ { 0x02, 0x00 } }, sim::capture::direction::to_host, year_2000);
	capture.flush();
	EXPECT_EQ(sim::hex_text(file.content()),
		  "62 74 73 6E 6F 6F 70 00 00 00 00 01 00 00 03 EA "
		  "00 00 00 04 00 00 00 04 00 00 00 02 00 00 00 00 00 E0 3A B4 4A 67 60 00 "
		  "01 03 0C 00 "
		  "00 00 00 03 00 00 00 03 00 00 00 03 00 00 00 00 00 E0 3A B4 4A 76 A2 42 "
		  "04 0E 00 "
		  "00 00 00 02 00 00 00 02 00 00 00 01 00 00 00 00 00 E0 3A B4 4A 67 60 00 "
		  "02 00");
}

TEST(SimCapture, RotatesWithinItsBounds)
{
	const capture_file file;
	sim::capture capture;

	ASSERT_EQ(capture.open(file.path(), 2000), "");
	for (int i = 0; i < 1000; i++) {
		capture.add(sim::parse_hex(RESET).value(), sim::capture::direction::from_host, {});
		capture.flush();
		ASSERT_LE(file.content().size() + file.content(".1").size(), 2000u);
	}
	EXPECT_GT(file.content(".1").size(), 900u);
	EXPECT_EQ(sim::hex_text(sim::byte_view(file.content(".1")).first(8)),
		  "62 74 73 6E 6F 6F 70 00");
	EXPECT_EQ(sim::hex_text(sim::byte_view(file.content()).first(8)),
		  "62 74 73 6E 6F 6F 70 00");
}

TEST(SimCapture, AFileThatCannotBeWrittenIsToldAbout)
{
	sim::capture capture;

	EXPECT_EQ(capture.open("/nowhere/capture", 0),
		  "cannot write /nowhere/capture: No such file or directory");
}

static sim::timeline rotation()
{
	sim::timeline times;

	for (int second = 0; second < 10; second++)
		times.change(beacon_on_air(static_cast<uint8_t>(second % 2)),
			     std::chrono::seconds(second));
	return times;
}

/* A tenth of a row of 100 cells. */
static std::string blocks(const std::string &block)
{
	std::string text;

	for (int i = 0; i < 10; i++)
		text += block;
	return text;
}

static std::string five(const std::string &text)
{
	return text + text + text + text + text;
}

TEST(SimLiveView, DrawsARowOfBlocksForEachBeacon)
{
	EXPECT_EQ(
		sim::draw_view("site", rotation(), 10s, { 104, 24 }, sim::colours::none),
		"site  10.0 s\n"
		"on the air for 1.0 s: uuid 00112233-4455-6677-8899-AABBCCDDEEFF major 1 minor 513 "
		"power -59 dBm\n"
		"\n"
		"  uuid 00112233-4455-6677-8899-AABBCCDDEEFF major 1 minor 512 power -59 dBm\n"
		"  5 times, 5.0 s on the air, every 100 ms from 02:00:00:00:00:01\n"
		"  " + five(blocks("█") + blocks(" ")) +
			"\n"
			"● uuid 00112233-4455-6677-8899-AABBCCDDEEFF major 1 minor 513 power -59 dBm\n"
			"  5 times, 5.0 s on the air, every 100 ms from 02:00:00:00:00:01\n"
			"  " +
			five(blocks(" ") + blocks("█")) +
			"\n"
			"  10 s ago" +
			std::string(89, ' ') + "now\n");
}

TEST(SimLiveView, NoLineIsLongerThanTheTerminal)
{
	const std::string text = sim::draw_view("a site with quite a long name", rotation(), 10s,
						{ 24, 24 }, sim::colours::none);

	EXPECT_NE(text.find("\n  ██  ██  ██  ██  ██  \n"), std::string::npos) << text;
	EXPECT_NE(text.find("\n● major 1 minor 513\n"), std::string::npos) << text;
	std::istringstream lines(text);
	for (std::string line; std::getline(lines, line);)
		EXPECT_LE(std::ranges::count_if(line, [](char c) { return (c & 0xC0) != 0x80; }),
			  24)
			<< line;
}

TEST(SimLiveView, EveryTerminalFrom20x5ShowsWholeLinesAndWholeNumbers)
{
	static constexpr const char *numbers[] = { "1", "512", "513", "-59", "00112233" };

	for (size_t columns = 20; columns <= 120; columns++) {
		for (size_t lines = 5; lines <= 30; lines++) {
			const std::string text =
				sim::draw_view("site", rotation(), 10s, { columns, lines },
					       sim::colours::none, sim::letters::ascii);
			EXPECT_LE(std::ranges::count(text, '\n'), lines) << text;
			EXPECT_NE(text.find("minor 512"), std::string::npos) << text;
			std::istringstream drawn(text);
			for (std::string line; std::getline(drawn, line);)
				EXPECT_LE(line.size(), columns) << text;
			for (const char *before : { "major ", "minor ", "power ", "uuid " }) {
				const size_t length = strlen(before);
				for (size_t at = 0;
				     (at = text.find(before, at)) != std::string::npos;
				     at += length)
					EXPECT_TRUE(std::ranges::any_of(
							    numbers,
							    [&](const char *n) {
								    const size_t end =
									    at + length + strlen(n);
								    return text.compare(at + length,
											strlen(n),
											n) == 0 &&
									   strchr(" >-\n",
										  text[end]);
							    }) ||
						    text[at + length] == '>')
						<< text.substr(at, 20) << "\n"
						<< text;
			}
		}
	}
}

TEST(SimLiveView, AUuidIsShortenedBeforeANumberIsLeftOut)
{
	const std::string text =
		sim::draw_view("site", rotation(), 10s, { 80, 24 }, sim::colours::none);

	EXPECT_TRUE(text.starts_with("site  10.0 s\non the air for 1.0 s: "
				     "uuid 00112233… major 1 minor 513 power -59 dBm\n"))
		<< text;
	EXPECT_NE(text.find("● uuid 00112233-4455-6677-8899-AABBCCDDEEFF major 1 minor 513 "
			    "power -59 dBm\n"),
		  std::string::npos);
}

TEST(SimLiveView, ATerminalWithoutUtf8GetsPlainLetters)
{
	const std::string text = sim::draw_view("site", rotation(), 10s, { 104, 24 },
						sim::colours::none, sim::letters::ascii);

	EXPECT_NE(text.find("\n  " + five(blocks("#") + blocks(" ")) + "\n"), std::string::npos);
	EXPECT_NE(text.find("\n* uuid "), std::string::npos);
	EXPECT_TRUE(std::ranges::none_of(text, [](char c) { return c < 0; }));
}

TEST(SimLiveView, ColoursBelongToTerminals)
{
	const std::string plain =
		sim::draw_view("", rotation(), 10s, { 80, 24 }, sim::colours::none);
	const std::string coloured =
		sim::draw_view("", rotation(), 10s, { 80, 24 }, sim::colours::terminal);

	EXPECT_EQ(plain.find('\033'), std::string::npos);
	EXPECT_NE(coloured.find("\033[32m"), std::string::npos);
}

TEST(SimLiveView, ASmallTerminalLeavesRowsOut)
{
	const std::string text = sim::draw_view("", rotation(), 10s, { 80, 8 }, sim::colours::none);

	EXPECT_EQ(std::ranges::count(text, '\n'), 8);
	EXPECT_NE(text.find("and 1 more"), std::string::npos);
}

TEST(SimLiveView, AnEmptyRunSaysThatTheRadioIsOff)
{
	EXPECT_EQ(sim::draw_view("site", {}, 1s, { 80, 24 }, sim::colours::none),
		  "site  1.0 s\nthe radio is off\n\n");
}

TEST(SimSvgReport, DrawsABoxForEachStretch)
{
	const std::string text = sim::svg_report("a < b", rotation(), 10s);
	const auto count = [&](const std::string &part) {
		size_t found = 0;
		for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at++)
			found++;
		return found;
	};

	EXPECT_EQ(count("fill=\"#2a9d8f\""), 5u);
	EXPECT_EQ(count("fill=\"#457b9d\""), 5u) << "the last of them still lasts";
	EXPECT_EQ(count("width=\"91.20\""), 10u) << "a tenth of the picture's width each";
	EXPECT_EQ(count("a &lt; b"), 1u);
	EXPECT_EQ(count("minor 512"), 1u);
	EXPECT_EQ(count("5 times, 5.0 s"), 2u);
	EXPECT_TRUE(text.ends_with("</svg>\n"));
}

TEST(SimSvgReport, ItsAxisHasTheTimesOfTheLog)
{
	sim::timeline times;

	times.change(beacon_on_air(), 7500ms);
	times.change({}, 12s);
	const std::string text = sim::svg_report("", times, 17500ms);
	/* Ten seconds from 7.5 s on: the first whole second is at a twentieth of the width. */
	EXPECT_EQ(text.find(">7 s<"), std::string::npos);
	EXPECT_NE(text.find("x=\"69.6\" y=\"150.0\" class=\"tick\">8 s<"), std::string::npos)
		<< text;
	EXPECT_NE(text.find(">17 s<"), std::string::npos);
	EXPECT_EQ(text.find(">18 s<"), std::string::npos);
}
