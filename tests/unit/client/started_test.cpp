// SPDX-License-Identifier: Apache-2.0
/* The note of a start in the segment: shows whether the settings have changed since then. */
#include "client/settings/started.h"

#include "tests/unit/client/record.h"

#include <cstring>
#include <gtest/gtest.h>

constexpr pid_t DAEMON = 4711;

class Started : public testing::Test
{
      protected:
	void SetUp() override
	{
		fill_with_defaults(segment.config);
		segment.config.opt.status = BLE_STATUS_AVAILABLE;
		started_adopt(&segment, DAEMON);
	}

	void switch_on(size_t i)
	{
		strcpy(segment.config.beacon[i].uuid, "E2C56DB5DFFB48D2B060D0F5A71096E0");
		strcpy(segment.config.beacon[i].enable, "1");
	}

	void command(const std::vector<const char *> &words)
	{
		command_words left = {};

		for (const char *word : words)
			left.word[left.count++] = word;
		started_note_command(&segment, &left);
		started_note_end(&segment, &left);
	}

	[[nodiscard]] bool differs(size_t i) const
	{
		return beacon_differs(&segment, DAEMON, i);
	}

	[[nodiscard]] bool setting(const char *name) const
	{
		return setting_differs(&segment, DAEMON, name);
	}

	ble_segment segment = {};
};

TEST_F(Started, NothingDiffersAtFirst)
{
	EXPECT_FALSE(anything_differs(&segment, DAEMON));
}

TEST_F(Started, ABeaconDiffersUntilItIsStarted)
{
	switch_on(1);
	EXPECT_TRUE(differs(1));
	EXPECT_FALSE(differs(0));
	command({ "ibeacon", "start" });
	EXPECT_FALSE(anything_differs(&segment, DAEMON));
}

TEST_F(Started, ABeaconThatIsSwitchedOffOnTheAirDiffers)
{
	switch_on(0);
	switch_on(1);
	command({ "ibeacon", "restart" });
	strcpy(segment.config.beacon[0].enable, "0");
	EXPECT_TRUE(differs(0));
	EXPECT_FALSE(differs(1));
}

TEST_F(Started, EachFieldOfThePayloadCounts)
{
	switch_on(0);
	command({ "ibeacon", "start" });
	beacon_entry &entry = segment.config.beacon[0];
	for (char *field : { entry.major, entry.minor, entry.measured_power }) {
		const char before = field[0];
		field[0] = '1';
		EXPECT_TRUE(differs(0)) << field;
		field[0] = before;
		EXPECT_FALSE(differs(0));
	}
	strcpy(entry.measured_power, "19"); /* NONE fills the field, without a NUL */
	memcpy(entry.measured_power, "NONE", 4);
	EXPECT_FALSE(differs(0)) << "the record's power is the same";
	strcpy(segment.config.measured_power, "200");
	EXPECT_TRUE(differs(0));
}

TEST_F(Started, AStopLeavesNothingStarted)
{
	switch_on(0);
	command({ "ibeacon", "start" });
	command({ "ibeacon", "stop" });
	EXPECT_TRUE(differs(0));
}

TEST_F(Started, AnyCommandBringsAPendingStartUpToDate)
{
	switch_on(0);
	command({ "ibeacon", "start" });
	segment.config.opt.action = ACTION_START;
	switch_on(1);
	EXPECT_TRUE(differs(1));
	command({ "show", "mac" });
	EXPECT_FALSE(differs(1));
}

TEST_F(Started, ASettingDiffersUntilTheReset)
{
	strcpy(segment.config.interval, "250");
	strcpy(segment.config.power_index, "3");
	EXPECT_TRUE(setting("interval"));
	EXPECT_TRUE(setting("power-index"));
	EXPECT_FALSE(setting("mac"));
	command({ "ibeacon", "start" });
	EXPECT_TRUE(setting("interval")) << "a start does not tell the controller";
	command({ "config", "ble-reset", "soft" });
	EXPECT_FALSE(anything_differs(&segment, DAEMON));
}

TEST_F(Started, AConfigMakesTheControllerDiffer)
{
	command({ "config", "interval", "300" });
	EXPECT_TRUE(setting("interval"));
	command({ "config", "txpower-index", "5" });
	EXPECT_TRUE(setting("power-index"));
	command({ "config", "interval", "100" });
	EXPECT_FALSE(setting("interval"));
}

TEST_F(Started, TheAddressThatTheDaemonHasStoredIsTheOneInUse)
{
	command_words words = { 3, { "config", "mac", "by-mrd" } };
	started_note_command(&segment, &words);
	strcpy(segment.config.mac, "112233445566");
	started_note_end(&segment, &words);
	EXPECT_FALSE(setting("mac"));
}

TEST_F(Started, WithoutAControllerTheNextOneTakesWhatIsSet)
{
	segment.config.opt.status = BLE_STATUS_UNCONFIRMED;
	segment.config.opt.action = ACTION_START;
	strcpy(segment.config.interval, "250");
	switch_on(3);
	started_note_change(&segment);
	EXPECT_FALSE(anything_differs(&segment, DAEMON));
}

TEST_F(Started, TheNoteOfAnotherDaemonSaysNothing)
{
	switch_on(0);
	EXPECT_FALSE(anything_differs(&segment, DAEMON + 1));
	EXPECT_FALSE(started_is_known(&segment, DAEMON + 1));
	started_adopt(&segment, DAEMON + 1);
	EXPECT_TRUE(beacon_differs(&segment, DAEMON + 1, 0)) << "it has not been started there";
}

TEST_F(Started, WhatAnotherProgramHasStartedIsTaken)
{
	switch_on(2);
	segment.config.opt.status = BLE_STATUS_ADVERTISING;
	started_adopt(&segment, DAEMON + 1);
	EXPECT_FALSE(anything_differs(&segment, DAEMON + 1));
}

TEST_F(Started, TheCommandItselfIsLeftAlone)
{
	const ble_command_area before = segment.cmd;
	command({ "ibeacon", "start" });
	EXPECT_EQ(memcmp(&before, &segment.cmd, offsetof(ble_command_area, rest)), 0);
}
