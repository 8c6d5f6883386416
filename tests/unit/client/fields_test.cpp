// SPDX-License-Identifier: Apache-2.0
/* What each text field accepts from a user, and what it then contains. */
#include "client/settings/fields.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

static const text_field *field_named(const text_field *fields, const char *name)
{
	return find_field(fields, name, strlen(name));
}

/* The field's text for the user's text, or "refused". */
static std::string reading(const text_field *fields, const char *name, const char *text)
{
	char value[FIELD_TEXT] = "";
	const text_field *field = field_named(fields, name);

	return field && field->read(text, value) ? value : "refused";
}

static const struct {
	const char *name;
	const char *field;
	const char *text;
	const char *value;
} beacon_texts[] = {
	{ "a plain UUID is kept", "uuid", "0123456789ABCDEF0123456789ABCDEF",
	  "0123456789ABCDEF0123456789ABCDEF" },
	{ "small letters become capitals", "uuid", "0123456789abcdef0123456789abcdef",
	  "0123456789ABCDEF0123456789ABCDEF" },
	{ "hyphens are left out", "uuid", "01234567-89ab-cdef-0123-456789abcdef",
	  "0123456789ABCDEF0123456789ABCDEF" },
	{ "hyphens belong where a UUID has them", "uuid", "0123456789ab-cdef-0123-4567-89abcdef",
	  "refused" },
	{ "31 digits are no UUID", "uuid", "0123456789ABCDEF0123456789ABCDE", "refused" },
	{ "33 digits are no UUID", "uuid", "0123456789ABCDEF0123456789ABCDEF0", "refused" },
	{ "nor is a letter beyond F", "uuid", "0123456789ABCDEF0123456789ABCDEG", "refused" },
	{ "nor a hyphen in place of a digit", "uuid", "01234567-89ab-cdef-0123-456789abcde-",
	  "refused" },
	{ "NONE unsets it", "uuid", "none", "NONE" },
	{ "an empty UUID is refused", "uuid", "", "refused" },
	{ "major may be 0", "major", "0", "0" },
	{ "major may be 65535", "major", "65535", "65535" },
	{ "65536 would be sent as 0", "major", "65536", "refused" },
	{ "leading zeros are dropped, so that it fits", "minor", "0000000007", "7" },
	{ "a number too long for any word is refused", "minor", "99999999999999999999", "refused" },
	{ "a sign is refused", "minor", "-1", "refused" },
	{ "text is refused", "minor", "one", "refused" },
	{ "an empty number is refused", "minor", "", "refused" },
	{ "power in dBm becomes its byte", "power", "-54", "202" },
	{ "the lowest power is -128 dBm", "power", "-128", "128" },
	{ "the highest below zero is -1", "power", "-1", "255" },
	{ "-129 dBm has no byte", "power", "-129", "refused" },
	{ "-0 is no power", "power", "-0", "refused" },
	{ "the byte itself", "power", "255", "255" },
	{ "256 is no byte", "power", "256", "refused" },
	{ "NONE takes the record's", "power", "NONE", "NONE" },
	{ "by the entry's own name, too", "measured_power", "197", "197" },
	{ "a prefix has 18 digits", "prefix", "0201061aff4c000215", "0201061AFF4C000215" },
	{ "17 are refused", "prefix", "0201061AFF4C00021", "refused" },
	{ "the usual one by name", "prefix", "default", "0201061AFF4C000215" },
	{ "enable is 0 or 1", "enable", "2", "refused" },
	{ "01 would advertise but not count", "enable", "01", "refused" },
	{ "what the daemon does not read is no field", "type", "ibeacon", "refused" },
};

TEST(BeaconFields, TakeWhatFitsAndRefuseTheRest)
{
	for (const auto &row : beacon_texts) {
		SCOPED_TRACE(row.name);
		EXPECT_EQ(reading(beacon_fields, row.field, row.text), row.value);
	}
}

static const struct {
	const char *name;
	const char *field;
	const char *text;
	const char *value;
} setting_texts[] = {
	{ "the shortest interval", "interval", "100", "100" },
	{ "one below it", "interval", "99", "refused" },
	{ "the longest interval that any controller takes", "interval", "10240", "10240" },
	{ "one above it", "interval", "10241", "refused" },
	{ "an address has 12 digits", "mac", "A1:B2:C3:D4:E5:F6", "refused" },
	{ "an address", "mac", "a1b2c3d4e5f6", "A1B2C3D4E5F6" },
	{ "the controller's own address", "mac", "NONE", "NONE" },
	{ "the highest power", "power-index", "max", "max" },
	{ "the highest index", "power_index", "12", "12" },
	{ "one above it", "power-index", "13", "refused" },
};

TEST(SettingFields, TakeWhatFitsAndRefuseTheRest)
{
	for (const auto &row : setting_texts) {
		SCOPED_TRACE(row.name);
		EXPECT_EQ(reading(setting_fields, row.field, row.text), row.value);
	}
}

TEST(BeaconFields, ARandomUuidIsOneOfVersion4AndNeverTheSame)
{
	const std::string first = reading(beacon_fields, "uuid", "random");
	const std::string second = reading(beacon_fields, "uuid", "random");

	EXPECT_TRUE(is_hexadecimal(first.c_str(), 32)) << first;
	EXPECT_EQ(first[12], '4');
	EXPECT_NE(std::string("89AB").find(first[16]), std::string::npos) << first;
	EXPECT_NE(first, second);
}

TEST(BeaconFields, EveryLimitFitsItsField)
{
	char value[FIELD_TEXT];

	for (const text_field *field = beacon_fields; field->name; field++) {
		for (const auto &row : beacon_texts) {
			if (field_named(beacon_fields, row.field) != field ||
			    !field->read(row.text, value))
				continue;
			/* "NONE" fills the measured power without a NUL, as the daemon expects. */
			const size_t room = field->width - (strcmp(value, "NONE") == 0 ? 0 : 1);
			EXPECT_LE(strlen(value), room) << field->name << " " << value;
		}
	}
}

TEST(Fields, AreFoundByTheirWholeNameOnly)
{
	EXPECT_EQ(find_field(beacon_fields, "maj", 3), nullptr);
	EXPECT_EQ(find_field(beacon_fields, "majority", 8), nullptr);
	EXPECT_NE(find_field(beacon_fields, "major=7", 5), nullptr);
	EXPECT_EQ(find_field(beacon_fields, "", 0), nullptr);
}

TEST(Fields, APutTextIsFilledUpWithZerosAndTouchesNothingElse)
{
	beacon_entry entry;
	const text_field *major = field_named(beacon_fields, "major");

	memset(&entry, 'x', sizeof(entry));
	put_field(major, &entry, "7");
	EXPECT_EQ(memcmp(entry.major, "7\0\0\0\0", 6), 0);
	EXPECT_EQ(entry.uuid[sizeof(entry.uuid) - 1], 'x');
	EXPECT_EQ(entry.minor[0], 'x');
}

TEST(Fields, NoneFillsTheMeasuredPowerWithoutTouchingWhatFollows)
{
	ble_record record = {};

	strcpy(record.power_index, "max");
	put_field(field_named(setting_fields, "power"), &record, "NONE");
	EXPECT_EQ(memcmp(record.measured_power, "NONE", 4), 0);
	EXPECT_STREQ(record.power_index, "max");
}

TEST(Fields, APowerIsShownAsItIsTyped)
{
	static const char *const rows[][2] = {
		{ "197", "-59" }, { "128", "-128" }, { "255", "-1" },    { "127", "127" },
		{ "0", "0" },     { "256", "256" },  { "NONE", "NONE" }, { "xyz", "xyz" },
	};
	const text_field *power = field_named(setting_fields, "power");
	ble_record record = {};
	char text[FIELD_TEXT];

	for (const auto &row : rows) {
		put_field(power, &record, row[0]);
		EXPECT_STREQ(user_text(power, &record, text), row[1]);
	}
	put_field(field_named(setting_fields, "interval"), &record, "200");
	EXPECT_STREQ(user_text(field_named(setting_fields, "interval"), &record, text), "200");
}

TEST(Fields, AnUnterminatedFieldIsReadToItsEndAndNoFurther)
{
	beacon_entry entry;
	char text[FIELD_TEXT];

	memset(&entry, 'x', sizeof(entry));
	EXPECT_STREQ(field_text(field_named(beacon_fields, "major"), &entry, text), "xxxxxx");
}

TEST(Fields, AnEntryIsActiveWhenItIsOnAndHasAUuid)
{
	beacon_entry entry;

	clear_entry(&entry, 3);
	EXPECT_STREQ(entry.id, "3");
	EXPECT_FALSE(is_active(&entry));
	strcpy(entry.enable, "1");
	EXPECT_FALSE(is_active(&entry)) << "its UUID is NONE";
	strcpy(entry.uuid, "0123456789ABCDEF0123456789ABCDEF");
	EXPECT_TRUE(is_active(&entry));
	entry.enable[1] = '1';
	EXPECT_FALSE(is_active(&entry)) << "11 is not 1";
}

TEST(Fields, WhatMightUpsetATerminalIsShownAsQuestionMarks)
{
	char text[] = "a\033[2J\x80z";

	EXPECT_STREQ(printable(text), "a?[2J?z");
}

TEST(Fields, OnlyAWholeUuidIsHyphenated)
{
	char text[FIELD_TEXT];

	EXPECT_STREQ(hyphenated("0123456789ABCDEF0123456789ABCDEF", text),
		     "01234567-89AB-CDEF-0123-456789ABCDEF");
	EXPECT_STREQ(hyphenated("NONE", text), "NONE");
}
