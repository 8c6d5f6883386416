// SPDX-License-Identifier: Apache-2.0
/* The simulator survives any input of a host and any combination of faults. */
#include "sim/program/session.h"
#include "tests/unit/sim/talk.h"

#include <random>

#include <gtest/gtest.h>

/* Valid commands now and then, and random bytes between them. */
static sim::bytes next_input(std::mt19937_64 &random)
{
	static const std::vector<std::string> known = { GAP_INIT,
							GAP_ON,
							GAP_OFF,
							GAP_DATA,
							LE_DATA,
							LE_PARAMETERS,
							LE_ON,
							LE_OFF,
							RESET,
							"01 1D 20 01 05",
							"01 1E 20 03 05 25 00",
							"01 1F 20 00",
							"01 31 FE 01 08",
							"01 00 FC 06 1E 04 02 18 00 00",
							"01 00 FC 01 19" };
	sim::bytes input(random() % 40);

	if (random() % 4 != 0)
		return sim::parse_hex(known[random() % known.size()]).value();
	for (uint8_t &byte : input)
		byte = static_cast<uint8_t>(random());
	return input;
}

/* Every fault at once, each with a small probability. */
static std::vector<std::string> all_faults()
{
	std::vector<std::string> faults;

	for (const char *name : { "drop",
				  "drop:way=in",
				  "flip:mask=random",
				  "flip:mask=random,way=in",
				  "insert",
				  "insert:way=in",
				  "duplicate",
				  "split:at=all,delay=1",
				  "split",
				  "cut",
				  "junk",
				  "wrong-code:code=random",
				  "short-length:by=random",
				  "long-length:by=random",
				  "late:delay=3",
				  "silent",
				  "refuse",
				  "second-missing",
				  "second-fails",
				  "reboot:delay=2",
				  "unplug",
				  "wrong-baud",
				  "refuse-segment",
				  "unasked",
				  "unasked:when=between",
				  "unasked:when=after",
				  "nop-at-start",
				  "deaf-after-reset:ms=3",
				  "hardware-error",
				  "write-limit:bytes=8" }) {
		const std::string fault = name;
		const bool has_keys = fault.find(':') != std::string::npos;
		const bool is_event = fault.starts_with("unasked"); /* it has its own `event` */
		faults.push_back(fault + (has_keys ? "," : ":") + "times=always,chance=10" +
				 (is_event ? "" : ",event=0"));
	}
	return faults;
}

/* Answers of a controller that has just restarted, without faults. */
static std::string answer_after(sim::session &session, sim::moment now)
{
	session.faults().clear();
	session.restart(now, {});
	session.receive(sim::parse_hex(RESET).value(), now);
	return sim::hex_text(session.advance(now + std::chrono::seconds(1)));
}

class SimRobustness : public testing::TestWithParam<const char *>
{
};

TEST_P(SimRobustness, NonsenseAndFaultsLeaveItInOrder)
{
	for (uint64_t seed = 1; seed <= 20; seed++) {
		sim::session_settings settings;
		std::mt19937_64 random(seed);
		size_t records = 0;
		sim::moment now = {};
		settings.controller = settings_named(GetParam());
		settings.controller.quirks = static_cast<uint32_t>(random() & 0x1FF);
		settings.controller.strict_patch = seed % 2 == 0;
		settings.baud = seed % 3 == 0 ? 0 : 115200;
		settings.buffer_size = 64;
		settings.seed = seed;
		settings.faults = all_faults();
		sim::session session(settings, [&](const sim::record &) { records++; });

		for (int i = 0; i < 2000; i++) {
			session.receive(next_input(random), now);
			now += sim::moment(static_cast<int64_t>(random() % 5'000'000));
			session.advance(now);
			session.take_unplug();
			if (i % 20 == 0) /* nonsense can announce 64 KiB, which all then fill */
				session.restart(now, {});
		}
		EXPECT_GT(records, 2000u);
		settings.controller.quirks = 0;
		settings.faults.clear();
		sim::session fresh(settings, [](const sim::record &) {});
		const std::string good = answer_after(fresh, now);
		EXPECT_EQ(good, "04 0E 04 01 03 0C 00");
		if ((session.chip().settings().quirks &
		     (sim::QUIRK_CREDIT_0 | sim::QUIRK_FIRST_UNANSWERED | sim::QUIRK_LATE_RESET |
		      sim::QUIRK_SWALLOW)) == 0) {
			EXPECT_EQ(answer_after(session, now), good) << "seed " << seed;
		}
	}
}

/* The input of a hostile host: random bytes, half packets, lengths that swallow the rest. */
static sim::bytes hostile_stream(std::mt19937_64 &random)
{
	sim::bytes stream;

	for (size_t i = 0; i < 30; i++) {
		sim::bytes next = next_input(random);
		if (random() % 3 == 0)
			next.resize(random() % (next.size() + 1));
		sim::append(stream, next);
		if (random() % 4 == 0)
			sim::append(stream, { { static_cast<uint8_t>(random() % 6), 0xFF, 0xFF,
						static_cast<uint8_t>(random()) } });
	}
	return stream;
}

TEST_P(SimRobustness, NoHostileStreamLeavesItDeafToAReset)
{
	const std::string done = "04 0E 04 01 03 0C 00";

	for (uint64_t seed = 1; seed <= 600; seed++) {
		std::mt19937_64 random(seed);
		sim::session_settings settings;
		settings.controller = settings_named(GetParam());
		settings.baud = 0;
		sim::session session(settings, [](const sim::record &) {});
		session.receive(hostile_stream(random), {});
		session.advance(std::chrono::seconds(1));
		std::string answers;
		for (int i = 0; i < 80; i++) {
			session.receive(sim::parse_hex(RESET).value(), std::chrono::seconds(1));
			answers += sim::hex_text(session.advance(std::chrono::seconds(1)));
		}
		EXPECT_TRUE(answers.ends_with(done + done)) << "seed " << seed << ": " << answers;
	}
}

INSTANTIATE_TEST_SUITE_P(Each, SimRobustness, testing::Values("ti-06", "ti-08", "qualcomm"),
			 [](const auto &of) {
				 return std::string(of.param) == "qualcomm" ? "Qualcomm"
					: std::string(of.param) == "ti-06"  ? "Ti06"
									    : "Ti08";
			 });
