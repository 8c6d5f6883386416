// SPDX-License-Identifier: Apache-2.0
/* The shared air: what controllers send, and what the tests and scans of others receive. */
#include "sim/air/listener.h"
#include "tests/unit/sim/talk.h"

#include <algorithm>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using sim::moment;
using sim::radio;

TEST(SimAir, ABeaconIsHeardAsItWasSent)
{
	const sim::air_state beacon = { .doing = radio::advertising,
					.type = 3,
					.slots = 160,
					.address = { 1, 2, 3, 4, 5, 6 },
					.is_random_address = true,
					.channels = 7,
					.payload = sim::parse_hex(BEACON).value(),
					.scan_response = { 1, 2 } };
	sim::neighbours others;

	EXPECT_TRUE(others.take(sim::air_message("a", beacon, 7), 1s));
	ASSERT_EQ(others.all().count("a"), 1u);
	EXPECT_EQ(others.all().at("a").air, beacon);
	EXPECT_EQ(others.all().at("a").chance, 7u);
	EXPECT_EQ(others.list(),
		  "a  uuid 00112233-4455-6677-8899-AABBCCDDEEFF major 1 minor 515 "
		  "power -59 dBm interval 100 ms address 06:05:04:03:02:01 (random)\n");
	EXPECT_TRUE(others.take(sim::air_message("a", {}, 0), 2s));
	EXPECT_EQ(others.list(), "");
}

TEST(SimAir, OtherWordsAreNoNeighbours)
{
	sim::neighbours others;

	for (const char *message : { "", "hello", "beacon", "beacon a", "beacon a x 1 2", "dance a",
				     "test a 1 2", "beacon a 1 01:02:03:04:05:06 0 160 3 7 xx",
				     "beacon a 1 01:02:03:04:05:06 0 0 3 7 01|" })
		EXPECT_FALSE(others.take(message, {})) << message;
	EXPECT_TRUE(others.all().empty());
}

TEST(SimAir, TestPacketsAreCountedWhileBothLast)
{
	sim::neighbours others;
	const sim::air_state transmitter = { .doing = radio::transmitting,
					     .channel = 5,
					     .test_length = 37 };

	EXPECT_EQ(sim::test_packet_interval(37), 625us);
	EXPECT_EQ(sim::test_packet_interval(38), 1250us);
	EXPECT_EQ(sim::test_packet_interval(255), 2500us);
	others.take(sim::air_message("a", transmitter, 0), 1s);
	EXPECT_EQ(others.new_packets(5, 2s, 2s), 0u);
	EXPECT_EQ(others.new_packets(6, 2s, 3s), 0u) << "another channel";
	EXPECT_EQ(others.new_packets(5, 2s, 3s), 1600u);
	EXPECT_EQ(others.new_packets(5, 2s, 3s), 0u) << "each is heard once";
	EXPECT_EQ(others.new_packets(5, 2s, 4s), 1600u);
	others.begin_count();
	EXPECT_EQ(others.new_packets(5, 4s, 4s + 625us), 1u);
	others.take(sim::air_message("a", transmitter, 0), 5s);
	EXPECT_EQ(others.new_packets(5, 4s, 6s), 3199u) << "told again, it still lasts";
	others.take(sim::air_message("a", {}, 0), 6s);
	others.take(sim::air_message("a", transmitter, 0), 10s);
	EXPECT_EQ(others.new_packets(5, 4s, 11s), 1600u) << "the transmitter came later";
}

TEST(SimAir, ATransmitterThatEndsFirstIsCountedAllTheSame)
{
	sim::neighbours others;
	const sim::air_state transmitter = { .doing = radio::transmitting,
					     .channel = 7,
					     .test_length = 37 };

	others.take(sim::air_message("a", transmitter, 0), 1s);
	others.take(sim::air_message("a", {}, 0), 2s);
	EXPECT_EQ(others.new_packets(6, 1s, 3s), 0u) << "another channel";
	others.take(sim::air_message("a", transmitter, 0), 4s);
	EXPECT_EQ(others.new_packets(7, 1s, 4500ms), 800u) << "what was asked for is gone";
	others.take(sim::air_message("a", {}, 0), 5s);
	EXPECT_EQ(others.new_packets(7, 1s, 9s), 800u) << "each is heard once";
	EXPECT_EQ(others.new_packets(7, 1s, 10s), 0u);
}

TEST(SimAir, WhoComesFirstKeepsItForTheOthers)
{
	const std::string path = testing::TempDir() + "sim_air." + std::to_string(getpid());
	sim::air_link second;
	sim::air_link third;
	{
		sim::air_link first;
		ASSERT_EQ(first.open(path), "");
		ASSERT_EQ(second.open(path), "");
		ASSERT_EQ(third.open(path), "");
		first.hear();
		second.say("one");
		EXPECT_EQ(first.hear(), std::vector<std::string>{ "one" });
		EXPECT_EQ(third.hear(), std::vector<std::string>{ "one" });
		EXPECT_TRUE(second.hear().empty()) << "nobody hears oneself";
		first.say("two");
		EXPECT_EQ(second.hear(), std::vector<std::string>{ "two" });
		EXPECT_EQ(third.hear(), std::vector<std::string>{ "two" });
	}
	second.hear(); /* notices the end of the first and takes over */
	third.hear();
	second.hear();
	EXPECT_TRUE(second.take_loss());
	EXPECT_FALSE(second.take_loss()) << "told once";
	third.say("three");
	EXPECT_EQ(second.hear(), std::vector<std::string>{ "three" });
}

TEST(SimAir, WhoGoesWithoutAWordIsOffTheAir)
{
	const std::string path = testing::TempDir() + "sim_air." + std::to_string(getpid());
	sim::air_link keeper;
	sim::air_link witness;
	{
		sim::air_link killed;
		ASSERT_EQ(keeper.open(path), "");
		ASSERT_EQ(witness.open(path), "");
		ASSERT_EQ(killed.open(path), "");
		killed.say("test sim1 5 37 0");
		EXPECT_EQ(keeper.hear(), std::vector<std::string>{ "test sim1 5 37 0" });
	}
	EXPECT_EQ(keeper.hear(), std::vector<std::string>{ "off sim1" });
	EXPECT_EQ(witness.hear(), (std::vector<std::string>{ "test sim1 5 37 0", "off sim1" }));
}

static const sim::air_state beacon_100_ms = { .doing = radio::advertising,
					      .type = 3,
					      .slots = 160,
					      .address = { 1, 0, 0, 0, 0, 2 },
					      .channels = 7,
					      .payload = { 0x02, 0x01, 0x06 } };
static const std::string REPORT = "04 3E 0F 02 01 03 00 01 00 00 00 00 02 03 02 01 06 C4";

/* A scan; without gaps unless a test changes that. */
class ear
{
      public:
	ear()
	{
		scan.is_on = true;
		scan.number = 1;
		listen(0ms);
	}

	/* What the scan receives until `until`, with one call each millisecond. */
	std::vector<std::string> listen(moment until)
	{
		std::vector<std::string> all;
		for (; now < until; now += 1ms)
			for (const sim::bytes &report : of.hear(others, scan, now))
				all.push_back(sim::hex_text(report));
		return all;
	}

	void hear_of(const sim::air_state &air, uint32_t chance = 7)
	{
		of.hear(others, scan, now);
		others.take(sim::air_message("a", air, chance), now);
	}

	sim::neighbours others;
	sim::scan_state scan;
	sim::listener of = sim::listener(-60);
	moment now = {};
};

TEST(SimListener, EachAdvertisingEventIsHeardOnceByAScanWithoutAGap)
{
	ear on;

	on.hear_of(beacon_100_ms);
	const auto heard = on.listen(10s);
	/* 100 ms and 0 to 10 ms at random: 105 on average. */
	EXPECT_GT(heard.size(), 90u);
	EXPECT_LT(heard.size(), 100u);
	for (const std::string &report : heard)
		EXPECT_EQ(report, REPORT);
}

TEST(SimListener, EventsFollowTheIntervalAndARandomDelay)
{
	ear on;
	std::vector<moment> gaps;
	moment before = {};

	on.hear_of(beacon_100_ms);
	for (int i = 0; i < 200; i++) {
		on.of.hear(on.others, on.scan, on.now);
		const moment next = on.of.next().value();
		if (i > 0)
			gaps.push_back(next - before);
		before = on.now = next;
	}
	for (const moment gap : gaps) {
		EXPECT_GE(gap, 100ms);
		EXPECT_LE(gap, 110ms);
	}
	const auto [least, most] = std::ranges::minmax(gaps);
	EXPECT_LT(least, 101ms);
	EXPECT_GT(most, 109ms);
}

TEST(SimListener, ANewPayloadDoesNotDisturbTheRhythm)
{
	ear on;
	sim::air_state other = beacon_100_ms;

	on.hear_of(beacon_100_ms);
	EXPECT_EQ(on.listen(50ms).size(), 1u) << "the first event comes at once";
	const auto due = on.of.next();
	other.payload = { 0x01, 0x02 };
	on.hear_of(other);
	EXPECT_EQ(on.listen(60ms).size(), 0u);
	EXPECT_EQ(on.of.next(), due);
	EXPECT_EQ(on.listen(111ms).back(), "04 3E 0E 02 01 03 00 01 00 00 00 00 02 02 01 02 C4");
	on.hear_of(other, 8);
	EXPECT_EQ(on.listen(114ms).size(), 1u) << "a new start begins anew";
}

TEST(SimListener, WhatWasSentBeforeTheEndIsHeard)
{
	ear on;

	on.hear_of(beacon_100_ms);
	on.now += 5ms;
	const auto heard = on.of.hear(on.others, on.scan, on.now);
	on.hear_of({});
	EXPECT_EQ(heard.size(), 1u);
	EXPECT_EQ(on.listen(5s).size(), 0u);
	EXPECT_FALSE(on.of.next());
}

TEST(SimListener, AWindowHearsItsShare)
{
	ear on;

	on.scan.interval_slots = 160; /* 100 ms */
	on.scan.window_slots = 16;
	on.hear_of(beacon_100_ms);
	const size_t count = on.listen(100s).size();
	EXPECT_GT(count, 40u);
	EXPECT_LT(count, 160u) << "a tenth of 952";
}

TEST(SimListener, OneChannelOfThreeHearsAThird)
{
	ear on;
	sim::air_state one = beacon_100_ms;

	one.channels = 2;
	on.hear_of(one);
	const size_t count = on.listen(100s).size();
	EXPECT_GT(count, 250u);
	EXPECT_LT(count, 390u) << "a third of 952";
}

TEST(SimListener, DuplicatesAreDroppedWhenAskedUntilTheNextScan)
{
	ear on;
	sim::air_state other = beacon_100_ms;

	on.scan.drops_duplicates = true;
	on.hear_of(beacon_100_ms);
	EXPECT_EQ(on.listen(1s).size(), 1u);
	other.payload = { 0x55 };
	on.hear_of(other);
	EXPECT_EQ(on.listen(2s).size(), 0u) << "the same device, whatever it sends";
	other.is_random_address = true;
	on.hear_of(other);
	EXPECT_EQ(on.listen(3s).size(), 1u) << "another one";
	on.scan.number++;
	EXPECT_EQ(on.listen(4s).size(), 1u);
}

TEST(SimListener, AFilterHearsThoseOfTheListAlone)
{
	ear on;

	on.scan.filter = 1;
	on.hear_of(beacon_100_ms);
	EXPECT_EQ(on.listen(1s).size(), 0u);
	on.scan.wanted = { { 1, beacon_100_ms.address } };
	EXPECT_EQ(on.listen(2s).size(), 0u) << "a random address is another one";
	on.scan.wanted = { { 0, beacon_100_ms.address } };
	EXPECT_GT(on.listen(3s).size(), 5u);
}

TEST(SimListener, AnActiveScanAsksForTheScanResponse)
{
	ear on;
	sim::air_state scannable = beacon_100_ms;

	scannable.type = 2;
	scannable.scan_response = { 0xAA };
	on.hear_of(scannable);
	EXPECT_EQ(on.listen(50ms),
		  (std::vector<std::string>{
			  "04 3E 0F 02 01 02 00 01 00 00 00 00 02 03 02 01 06 C4" }));
	on.scan.asks = true;
	EXPECT_EQ(on.listen(111ms), (std::vector<std::string>{
					    "04 3E 0F 02 01 02 00 01 00 00 00 00 02 03 02 01 06 C4",
					    "04 3E 0D 02 01 04 00 01 00 00 00 00 02 01 AA C4" }));
}

TEST(SimListener, WhoDoesNotScanOrIsNotMeantHearsNothing)
{
	ear on;
	sim::air_state directed = beacon_100_ms;

	on.scan.is_on = false;
	on.hear_of(beacon_100_ms);
	EXPECT_EQ(on.listen(1s).size(), 0u);
	EXPECT_FALSE(on.of.next());
	on.scan.is_on = true;
	directed.type = 4;
	on.hear_of(directed);
	EXPECT_EQ(on.listen(2s).size(), 0u);
}

TEST(SimListener, AHostIsToldWhenItsMasksSaySo)
{
	sim::controller chip(settings_named("ti-08"));

	EXPECT_FALSE(chip.reports_advertisements());
	ask(chip, "01 0C 20 02 01 00");
	EXPECT_FALSE(chip.reports_advertisements()) << "the usual mask has no LE events";
	ask(chip, "01 01 0C 08 00 00 00 00 00 00 00 20");
	EXPECT_TRUE(chip.reports_advertisements());
	ask(chip, "01 01 20 08 1D 00 00 00 00 00 00 00");
	EXPECT_FALSE(chip.reports_advertisements());
	ask(chip, "01 01 20 08 02 00 00 00 00 00 00 00");
	EXPECT_TRUE(chip.reports_advertisements());
	ask(chip, "01 0C 20 02 00 00");
	EXPECT_FALSE(chip.reports_advertisements());
}
