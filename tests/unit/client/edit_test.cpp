// SPDX-License-Identifier: Apache-2.0
/* Changes to beacons and settings: the effect of a line on the record, and its messages. */
#include "client/settings/edit.h"

#include "client/settings/fields.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

class Edit : public testing::Test
{
      protected:
	void SetUp() override
	{
		for (size_t i = 0; i < BLE_BEACONS; i++)
			clear_entry(&record.beacon[i], static_cast<int>(i) + 1);
	}

	bool edit(const std::vector<const char *> &words)
	{
		return edit_record(&record, static_cast<int>(words.size()), words.data(), &wrong,
				   nullptr);
	}

	/* The message for words that must be refused. */
	std::string fault_of(const std::vector<const char *> &words)
	{
		return edit(words) ? "no fault" : wrong.text;
	}

	ble_record record = {};
	fault wrong = {};
};

TEST_F(Edit, TheThreeFormsOfASettingDoTheSame)
{
	ASSERT_TRUE(edit({ "beacon", "1", "--major", "1", "--minor=2", "power=-54", "on" }));
	EXPECT_STREQ(record.beacon[0].major, "1");
	EXPECT_STREQ(record.beacon[0].minor, "2");
	EXPECT_STREQ(record.beacon[0].measured_power, "202");
	EXPECT_STREQ(record.beacon[0].enable, "1");
}

TEST_F(Edit, OnlyTheNamedBeaconChanges)
{
	const ble_record before = record;

	ASSERT_TRUE(edit({ "beacon", "5", "on" }));
	EXPECT_EQ(memcmp(&before, &record, offsetof(ble_record, beacon[4])), 0);
	ASSERT_TRUE(edit({ "beacon", "5", "off" }));
	EXPECT_EQ(memcmp(&before, &record, sizeof(record)), 0);
}

TEST_F(Edit, ClearMakesOneOrAllAsTheyWereAtTheStart)
{
	const ble_record before = record;

	ASSERT_TRUE(edit({ "beacon", "2", "--uuid", "random", "on" }));
	ASSERT_TRUE(edit({ "beacon", "3", "--major", "9" }));
	ASSERT_TRUE(edit({ "beacon", "clear", "2" }));
	EXPECT_EQ(memcmp(&before.beacon[1], &record.beacon[1], sizeof(beacon_entry)), 0);
	EXPECT_STREQ(record.beacon[2].major, "9");
	ASSERT_TRUE(edit({ "beacon", "clear", "all" }));
	EXPECT_EQ(memcmp(&before, &record, sizeof(record)), 0);
}

TEST_F(Edit, SettingsComeInPairs)
{
	ASSERT_TRUE(edit({ "set", "interval", "200", "mac", "NONE", "power-index=3" }));
	EXPECT_STREQ(record.interval, "200");
	EXPECT_STREQ(record.mac, "NONE");
	EXPECT_STREQ(record.power_index, "3");
}

TEST_F(Edit, AFaultSaysWhatIsWrongAndWhatIsRight)
{
	EXPECT_EQ(fault_of({ "beacon", "6", "on" }),
		  "\"6\" is no beacon: they are numbered 1 to 5");
	EXPECT_EQ(fault_of({ "beacon", "0", "on" }),
		  "\"0\" is no beacon: they are numbered 1 to 5");
	EXPECT_EQ(fault_of({ "beacon" }), "which one? They are numbered 1 to 5");
	EXPECT_EQ(fault_of({ "beacon", "1" }),
		  "beacon 1: nothing to set; for example --uuid random on");
	EXPECT_EQ(fault_of({ "beacon", "1", "--major", "70000" }),
		  "major: \"70000\" does not fit; it takes 0 to 65535");
	EXPECT_EQ(fault_of({ "beacon", "1", "--major" }),
		  "--major needs a value: it takes 0 to 65535");
	EXPECT_EQ(fault_of({ "beacon", "1", "colour=red" }),
		  "unknown setting \"colour=red\": there are uuid, major, minor, power, prefix, "
		  "enable");
	EXPECT_EQ(fault_of({ "beacon", "clear" }), "beacon clear takes one beacon, 1 to 5, or all");
	EXPECT_EQ(fault_of({ "beacon", "clear", "7" }),
		  "\"7\" is no beacon: they are numbered 1 to 5");
	EXPECT_EQ(fault_of({ "set" }), "nothing to set; for example interval 200");
	EXPECT_EQ(fault_of({ "set", "interval", "99" }),
		  "interval: \"99\" does not fit; it takes 100 to 10240 (milliseconds)");
	EXPECT_EQ(fault_of({ "paint", "it" }),
		  "unknown line \"paint\"; a line is beacon, set, start, stop or restart");
}

TEST_F(Edit, AFieldThatTheDaemonDoesNotReadIsRefused)
{
	const ble_record before = record;

	for (const char *word : { "--interval", "--interval=200", "interval", "interval=200" })
		EXPECT_EQ(fault_of({ "beacon", "1", word, "200" }),
			  "interval of a beacon has no effect, vorlind does not read it: "
			  "set interval is for all beacons");
	for (const char *name : { "mac", "type", "id", "option" })
		EXPECT_NE(fault_of({ "beacon", "1", name, "1" }).find("has no effect"),
			  std::string::npos);
	EXPECT_EQ(memcmp(&before, &record, sizeof(record)), 0);
	EXPECT_TRUE(edit({ "set", "interval", "200", "mac", "NONE" })) << "these are read";
}

TEST_F(Edit, WhereItMayBePassedOverTheRestOfTheLineIsDone)
{
	const std::vector<const char *> words = { "beacon", "1",       "--mac", "A1B2C3D4E5F6",
						  "type=x", "--major", "7",     "on" };
	fault passed_over = {};
	ble_record before = record;

	EXPECT_TRUE(edit_record(&record, static_cast<int>(words.size()), words.data(), &wrong,
				&passed_over))
		<< wrong.text;
	EXPECT_NE(std::string(passed_over.text).find("has no effect"), std::string::npos);
	strcpy(before.beacon[0].major, "7");
	strcpy(before.beacon[0].enable, "1");
	EXPECT_EQ(memcmp(&before, &record, sizeof(record)), 0) << "and nothing else";
}

TEST_F(Edit, AValueOfAnyLengthLeavesAFaultOfOneLine)
{
	const std::string endless(5000, 'A');

	EXPECT_FALSE(edit({ "beacon", "1", "uuid", endless.c_str() }));
	EXPECT_LT(strlen(wrong.text), sizeof(wrong.text));
	EXPECT_FALSE(edit({ "beacon", endless.c_str(), "on" }));
	EXPECT_FALSE(edit({ "beacon", "1", endless.c_str() }));
	EXPECT_FALSE(edit({ endless.c_str() }));
	EXPECT_EQ(strchr(wrong.text, '\n'), nullptr);
}

TEST_F(Edit, OnlyWhatDiffersIsWrittenAndTheStatusIsLeftAlone)
{
	ble_record live = record;
	const ble_record before = record;

	ASSERT_TRUE(edit({ "beacon", "1", "--major", "7" }));
	record.opt.status = 77;
	record.opt.action = 78;
	live.opt.status = 3;
	strcpy(live.mac, "A1B2C3D4E5F6"); /* the daemon wrote it meanwhile */
	write_changes(&live, &before, &record);
	EXPECT_STREQ(live.beacon[0].major, "7");
	EXPECT_STREQ(live.mac, "A1B2C3D4E5F6");
	EXPECT_EQ(live.opt.status, 3U);
	EXPECT_EQ(live.opt.action, 0U);
}
