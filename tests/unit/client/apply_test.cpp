// SPDX-License-Identifier: Apache-2.0
/* Beacons and settings as a file: what is accepted, what is refused, what is written. */
#include "client/settings/apply.h"

#include "tests/unit/client/record.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

class Apply : public testing::Test
{
      protected:
	void SetUp() override
	{
		fill_with_defaults(record);
	}

	static bool read(const std::string &text)
	{
		std::string copy = text;
		FILE *file = fmemopen(copy.data(), copy.size(), "r");
		const bool is_read = read_plan(file, &the_plan);
		fclose(file);
		return is_read;
	}

	static std::string fault_of(const std::string &text)
	{
		return read(text) ? "no fault" : the_plan.wrong.text;
	}

	static std::string saved(const ble_record &from)
	{
		return written([&](FILE *file) { print_plan(file, &from); });
	}

	static plan the_plan;
	ble_record record = {};
};

plan Apply::the_plan;

TEST_F(Apply, LinesCommentsAndBlanksAreReadAsTheyAreTyped)
{
	ASSERT_TRUE(read("# our shop\n"
			 "\n"
			 "  set interval 250\t# slow\r\n"
			 "beacon 1 --uuid 01234567-89ab-cdef-0123-456789abcdef on\n"
			 "beacon 2 major=5\n"
			 "start"))
		<< the_plan.wrong.text;
	ASSERT_TRUE(edit_by_plan(&record, &the_plan));
	EXPECT_STREQ(record.interval, "250");
	EXPECT_STREQ(record.beacon[0].uuid, "0123456789ABCDEF0123456789ABCDEF");
	EXPECT_STREQ(record.beacon[1].major, "5");
	EXPECT_STREQ(the_plan.action, "start");
}

TEST_F(Apply, AnEmptyFileChangesNothing)
{
	const ble_record before = record;

	ASSERT_TRUE(read("# nothing\n"));
	ASSERT_TRUE(edit_by_plan(&record, &the_plan));
	EXPECT_EQ(memcmp(&before, &record, sizeof(record)), 0);
	EXPECT_EQ(the_plan.action, nullptr);
}

TEST_F(Apply, AFaultIsToldWithItsLine)
{
	EXPECT_EQ(fault_of("set interval 100\n#\n\n\n\n\nbeacon 1 --major x\nstart\n"),
		  "line 7: major: \"x\" does not fit; it takes 0 to 65535");
	EXPECT_EQ(fault_of("start\nbeacon 1 on\n"),
		  "line 2: nothing may follow start, stop or restart");
	EXPECT_EQ(fault_of("stop now\n"), "line 1: takes no arguments");
	EXPECT_EQ(fault_of("show mac\n"),
		  "line 1: unknown line \"show\"; a line is beacon, set, start, stop or restart");
	EXPECT_EQ(fault_of("\nset" + std::string(1100, ' ') + "interval 100\n"),
		  "line 2: too long: up to 1023 characters");
	EXPECT_EQ(fault_of("set interval 100 " + std::string(60, 'x')),
		  "line 1: unknown setting \"" + std::string(60, 'x') +
			  "\": there are interval, mac, power, power-index");
}

TEST_F(Apply, TooManyWordsAreAFaultAndNoOverrun)
{
	std::string line = "beacon 1";

	for (int i = 0; i < 60; i++)
		line += " on";
	EXPECT_EQ(fault_of(line), "line 1: too many words: up to 40");
}

TEST_F(Apply, WhatIsNoTextOrTooLongIsRefused)
{
	EXPECT_EQ(fault_of(std::string("set\0interval\n", 13)), "is not a text file");
	EXPECT_EQ(fault_of(std::string(PLAN_SIZE, '\n')), "too long: up to 32766 bytes");
	EXPECT_EQ(fault_of(std::string(PLAN_SIZE - 2, '\n')), "no fault");
}

TEST_F(Apply, WhatWasSavedMakesTheSameRecordAndIsSavedTheSame)
{
	ASSERT_TRUE(read("set interval 300 power NONE power-index 4 mac A1B2C3D4E5F6\n"
			 "beacon 2 --uuid random --major 65535 --power NONE on\n"
			 "beacon 4 prefix=001122334455667788\n"));
	ASSERT_TRUE(edit_by_plan(&record, &the_plan));
	record.opt.action = ACTION_START;
	const std::string first = saved(record);

	ble_record other = {};
	ASSERT_TRUE(read(first)) << the_plan.wrong.text << "\n" << first;
	ASSERT_TRUE(edit_by_plan(&other, &the_plan));
	EXPECT_EQ(memcmp(other.interval, record.interval,
			 sizeof(record) - offsetof(ble_record, interval)),
		  0)
		<< first << saved(other);
	EXPECT_STREQ(the_plan.action, "start");
	other.opt.action = ACTION_RESTART;
	EXPECT_EQ(saved(other), first);
}

TEST_F(Apply, ASavedFileIsShortWhereNothingWasSet)
{
	strcpy(record.beacon[2].major, "7");
	EXPECT_EQ(saved(record),
		  "# Beacons and settings of vorlind; vorlinctl apply FILE makes them so again.\n"
		  "set interval 100\n"
		  "set mac NONE\n"
		  "set power -54\n"
		  "set power-index max\n"
		  "beacon clear all\n"
		  "beacon 3 --major 7 off\n"
		  "stop\n");
}

TEST_F(Apply, FieldsThatTheDaemonDoesNotReadAreLeftOutWithANote)
{
	ASSERT_TRUE(read("\nbeacon 1 --mac A1B2C3D4E5F6 --major 7\nbeacon 2 --type x on\n"))
		<< the_plan.wrong.text << ": a file that was saved earlier has them";
	EXPECT_STREQ(the_plan.note.text, "line 2: mac of a beacon has no effect, vorlind does not "
					 "read it: set mac is for all beacons");
	ASSERT_TRUE(edit_by_plan(&record, &the_plan));
	EXPECT_STREQ(record.beacon[0].mac, "NONE");
	EXPECT_STREQ(record.beacon[0].major, "7");
	strcpy(record.beacon[3].mac, "A1B2C3D4E5F6"); /* the daemon writes it into every entry */
	const std::string text = saved(record);
	EXPECT_EQ(text.find("--mac"), std::string::npos) << text;
	EXPECT_EQ(text.find("beacon 4"), std::string::npos) << text;
	ASSERT_TRUE(read(text));
	EXPECT_STREQ(the_plan.note.text, "");
}

TEST_F(Apply, AFieldThatCouldNotBeReadBackIsNotSaved)
{
	strcpy(record.mac, ""); /* its value without manufacturing data */
	memset(record.interval, 'x', sizeof(record.interval));
	memset(record.beacon[0].uuid, '\xff', sizeof(record.beacon[0].uuid));
	const std::string text = saved(record);

	EXPECT_EQ(text.find("mac"), std::string::npos) << text;
	EXPECT_EQ(text.find("interval"), std::string::npos) << text;
	EXPECT_EQ(text.find("uuid"), std::string::npos) << text;
	EXPECT_TRUE(read(text)) << the_plan.wrong.text;
}

TEST_F(Apply, DifferencesAreToldFieldByField)
{
	const ble_record before = record;

	ASSERT_TRUE(read("set interval 250 power -60\nbeacon 1 --major 7 on\n"));
	ASSERT_TRUE(edit_by_plan(&record, &the_plan));
	EXPECT_EQ(written([&](FILE *file) {
			  EXPECT_EQ(print_differences(file, &before, &record), 4);
		  }),
		  "interval: 100 -> 250\n"
		  "power: -54 -> -60\n"
		  "beacon 1 major: 0 -> 7\n"
		  "beacon 1 enable: 0 -> 1\n");
	EXPECT_TRUE(needs_reset(&before, &record));
	EXPECT_EQ(print_differences(stdout, &record, &record), 0);
}

TEST_F(Apply, OnlyWhatTheControllerMustBeToldNeedsAReset)
{
	const ble_record before = record;

	strcpy(record.measured_power, "197");
	strcpy(record.beacon[0].major, "1");
	EXPECT_FALSE(needs_reset(&before, &record));
	strcpy(record.power_index, "3");
	EXPECT_TRUE(needs_reset(&before, &record));
}
