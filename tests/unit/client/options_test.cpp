// SPDX-License-Identifier: Apache-2.0
/* How the client checks the daemon's options, and the trace categories. */
#include "client/commands/daemon_options.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using words = std::vector<const char *>;

static std::string check(const char *first, const daemon_option *options, const words &arguments)
{
	task t;
	fault wrong;
	std::string sent;

	if (!task_of_option(first, options, static_cast<int>(arguments.size()), arguments.data(),
			    &t, &wrong))
		return std::string("fault: ") + wrong.text;
	for (int i = 0; i < t.words.count; i++)
		sent += (i ? " " : "") + std::string(t.words.word[i]);
	return sent;
}

static const struct {
	words arguments;
	const char *outcome;
} configs[] = {
	{ { "interval", "100" }, "config interval 100" },
	{ { "interval", "10240" }, "config interval 10240" },
	{ { "interval", "99" },
	  "fault: interval: \"99\" does not fit; INTERVAL takes 100 to 10240 milliseconds" },
	{ { "interval", "10241" },
	  "fault: interval: \"10241\" does not fit; INTERVAL takes 100 to 10240 milliseconds" },
	{ { "interval" },
	  "fault: interval: INTERVAL is missing; it takes 100 to 10240 milliseconds" },
	{ { "interval", "100", "200" }, "fault: interval: \"200\" is too much" },
	{ { "gap-param", "103", "65534" }, "config gap-param 103 65534" },
	{ { "gap-param", "104", "1" },
	  "fault: gap-param: \"104\" does not fit; ID takes 0 to 103" },
	{ { "gap-param", "1", "65535" },
	  "fault: gap-param: \"65535\" does not fit; VALUE takes 0 to 65534" },
	{ { "mac", "A1B2C3D4E5F6" }, "config mac A1B2C3D4E5F6" },
	{ { "mac", "by-mrd" }, "config mac by-mrd" },
	{ { "mac", "A1:B2:C3:D4:E5:F6" },
	  "fault: mac: \"A1:B2:C3:D4:E5:F6\" does not fit; ADDRESS takes 12 hexadecimal digits, "
	  "or by-mrd" },
	{ { "txpower-index", "max" }, "config txpower-index max" },
	{ { "txpower-index", "13" },
	  "fault: txpower-index: \"13\" does not fit; INDEX takes 0 to 12, or max" },
	{ { "le-receiver-test", "39" }, "config le-receiver-test 39" },
	{ { "le-receiver-test", "40" },
	  "fault: le-receiver-test: \"40\" does not fit; CHANNEL takes 0 to 39" },
	{ { "le-transmitter-test", "39", "37", "7" }, "config le-transmitter-test 39 37 7" },
	{ { "le-transmitter-test", "0", "38", "0" },
	  "fault: le-transmitter-test: \"38\" does not fit; LENGTH takes 0 to 37 bytes" },
	{ { "le-transmitter-test", "0", "0", "8" },
	  "fault: le-transmitter-test: \"8\" does not fit; PATTERN takes 0 to 7" },
	{ { "le-test-end" }, "config le-test-end" },
	{ { "ble-reset", "hard" }, "config ble-reset hard" },
	{ { "ble-reset", "gently" },
	  "fault: ble-reset: \"gently\" does not fit; KIND takes hard or soft" },
	{ { "debug-level", "0x3311030" }, "config debug-level 0x3311030" },
	{ { "debug-level", "123456789" },
	  "fault: debug-level: \"123456789\" does not fit; MASK takes a hexadecimal number of up "
	  "to 8 digits" },
	{ { "colour" },
	  "fault: unknown \"colour\": there are debug-level ble-reset le-receiver-test "
	  "le-transmitter-test le-test-end gap-param mac txpower-index interval" },
	{ {},
	  "fault: what? There are debug-level ble-reset le-receiver-test "
	  "le-transmitter-test le-test-end gap-param mac txpower-index interval" },
};

TEST(ConfigOptions, AreSentAsTheyAreOrRefusedWithTheirLimit)
{
	for (const auto &row : configs) {
		SCOPED_TRACE(row.outcome);
		EXPECT_EQ(check("config", config_options, row.arguments), row.outcome);
	}
}

TEST(ShowOptions, AreSentAsTheyAreOrRefusedWithTheirLimit)
{
	EXPECT_EQ(check("show", show_options, { "mac" }), "show mac");
	EXPECT_EQ(check("show", show_options, { "gap-param", "6" }), "show gap-param 6");
	EXPECT_EQ(check("show", show_options, { "gap-param" }),
		  "fault: gap-param: ID is missing; it takes 0 to 103");
	EXPECT_EQ(check("show", show_options, { "mac", "now" }), "fault: mac: \"now\" is too much");
	EXPECT_EQ(check("show", show_options, { "all" }),
		  "fault: unknown \"all\": there are version mac txpower gap-param");
}

static const struct {
	const char *text;
	uint32_t mask;
} masks[] = {
	{ "off", 0 },          { "on", 0x3311030 }, { "hci", 0x30 }, { "hci-tx,flow", 0x1000010 },
	{ "ipc,ipc", 0x1000 }, { "0x20", 0x20 },
};

TEST(TraceMask, IsTheSumOfItsNames)
{
	for (const auto &row : masks) {
		fault wrong;
		uint32_t mask = 1;
		SCOPED_TRACE(row.text);
		EXPECT_TRUE(read_trace_mask(row.text, &mask, &wrong));
		EXPECT_EQ(mask, row.mask);
	}
}

TEST(TraceMask, AnUnknownNameIsToldWithTheKnownOnes)
{
	fault wrong;
	uint32_t mask;

	EXPECT_FALSE(read_trace_mask("flow,noise", &mask, &wrong));
	EXPECT_STREQ(wrong.text, "unknown category \"noise\": there are hci-tx hci-rx hci ipc "
				 "uevent log report flow warning on off");
	EXPECT_FALSE(read_trace_mask("hci,off", &mask, &wrong));
	EXPECT_STREQ(wrong.text, "on and off stand alone, without a comma");
	EXPECT_FALSE(read_trace_mask("on,flow", &mask, &wrong));
	EXPECT_FALSE(read_trace_mask("", &mask, &wrong));
	EXPECT_FALSE(read_trace_mask("flow,", &mask, &wrong));
	EXPECT_FALSE(read_trace_mask("0x123456789", &mask, &wrong));
}

TEST(Seconds, AreWholeAndBetweenOneAndADay)
{
	EXPECT_EQ(read_seconds("1"), 1000);
	EXPECT_EQ(read_seconds("86400"), 86400000);
	EXPECT_EQ(read_seconds("86401"), 0);
	EXPECT_EQ(read_seconds("0"), 0);
	EXPECT_EQ(read_seconds("-1"), 0);
	EXPECT_EQ(read_seconds("1.5"), 0);
	EXPECT_EQ(read_seconds(""), 0);
}
