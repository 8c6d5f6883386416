// SPDX-License-Identifier: Apache-2.0
#include "client/settings/fields.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <sys/random.h>

static const char default_prefix[] = "0201061AFF4C000215";
constexpr size_t UUID_DIGITS = 32;

bool read_number(const char *text, unsigned limit, unsigned *number)
{
	unsigned value = 0;

	if (!*text)
		return false;
	for (; *text; text++) {
		if (!isdigit(static_cast<unsigned char>(*text)))
			return false;
		value = value * 10 + static_cast<unsigned>(*text - '0');
		if (value > limit)
			return false;
	}
	*number = value;
	return true;
}

bool is_hexadecimal(const char *text, size_t digits)
{
	return strlen(text) == digits && strspn(text, "0123456789abcdefABCDEF") == digits;
}

static bool read_word(const char *text, const char *word, char *value)
{
	if (strcasecmp(text, word) != 0)
		return false;
	memcpy(value, word, strlen(word) + 1);
	return true;
}

/* Removes leading zeros, so that it always fits: "007" becomes "7". */
static bool read_limited(const char *text, unsigned limit, char *value)
{
	unsigned number;

	if (!read_number(text, limit, &number))
		return false;
	snprintf(value, FIELD_TEXT, "%u", number);
	return true;
}

static bool read_16_bits(const char *text, char *value)
{
	return read_limited(text, 65535, value);
}

/* A controller accepts at most 16384 slots of 0.625 ms; the daemon accepts more. */
static bool read_milliseconds(const char *text, char *value)
{
	unsigned number;

	return read_number(text, LONGEST_INTERVAL, &number) && number >= 100 &&
	       read_limited(text, number, value);
}

static bool read_switch(const char *text, char *value)
{
	return read_word(text, "0", value) || read_word(text, "1", value);
}

static bool read_power(const char *text, char *value)
{
	unsigned below;

	if (text[0] != '-')
		return read_word(text, "NONE", value) || read_limited(text, 255, value);
	if (!read_number(text + 1, 128, &below) || below == 0)
		return false;
	snprintf(value, FIELD_TEXT, "%u", 256 - below); /* the byte for this many dBm */
	return true;
}

static bool read_power_index(const char *text, char *value)
{
	return read_word(text, "max", value) || read_limited(text, 12, value);
}

static bool read_hexadecimal(const char *text, size_t digits, char *value)
{
	if (!is_hexadecimal(text, digits))
		return false;
	for (; *text; text++)
		*value++ = static_cast<char>(toupper(static_cast<unsigned char>(*text)));
	*value = '\0';
	return true;
}

static bool read_prefix(const char *text, char *value)
{
	if (strcasecmp(text, "default") == 0)
		text = default_prefix;
	return read_hexadecimal(text, 18, value);
}

static bool read_address(const char *text, char *value)
{
	return read_word(text, "NONE", value) || read_hexadecimal(text, 12, value);
}

static bool random_uuid(char *value)
{
	unsigned char bytes[UUID_DIGITS / 2];

	if (getrandom(bytes, sizeof(bytes), 0) != sizeof(bytes))
		return false;
	bytes[6] = static_cast<unsigned char>(0x40 | (bytes[6] & 0x0f)); /* version 4: random */
	bytes[8] = static_cast<unsigned char>(0x80 | (bytes[8] & 0x3f));
	for (size_t i = 0; i < sizeof(bytes); i++)
		snprintf(value + 2 * i, 3, "%02X", bytes[i]);
	return true;
}

/* Hyphens only at their places in a UUID: none or all four. */
static bool read_uuid(const char *text, char *value)
{
	char digits[UUID_DIGITS + 1];
	size_t count = 0;

	if (strcasecmp(text, "random") == 0)
		return random_uuid(value);
	if (read_word(text, "NONE", value))
		return true;
	if (strlen(text) == UUID_DIGITS + 4) {
		if (text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-')
			return false;
		for (size_t i = 0; i < UUID_DIGITS + 4; i++)
			if (i != 8 && i != 13 && i != 18 && i != 23)
				digits[count++] = text[i];
		digits[count] = '\0';
		text = digits;
	}
	return read_hexadecimal(text, UUID_DIGITS, value);
}

#define OF_ENTRY(member)  offsetof(beacon_entry, member), sizeof(beacon_entry::member)
#define OF_RECORD(member) offsetof(ble_record, member), sizeof(ble_record::member)
#define POWER_LIMIT       "-128 to -1 (dBm at one metre), 0 to 255 (the byte that is sent) or NONE"

// clang-format off
const text_field beacon_fields[] = {
	{ "uuid",     nullptr,          OF_ENTRY(uuid),           "32 hexadecimal digits, with or without hyphens (8-4-4-4-12), random or NONE", read_uuid },
	{ "major",    nullptr,          OF_ENTRY(major),          "0 to 65535",                        read_16_bits },
	{ "minor",    nullptr,          OF_ENTRY(minor),          "0 to 65535",                        read_16_bits },
	{ "power",    "measured_power", OF_ENTRY(measured_power), POWER_LIMIT,                         read_power },
	{ "prefix",   nullptr,          OF_ENTRY(prefix),         "18 hexadecimal digits, or default", read_prefix },
	{ "enable",   nullptr,          OF_ENTRY(enable),         "0 or 1",                            read_switch },
	{},
};

const text_field setting_fields[] = {
	{ "interval",    nullptr,          OF_RECORD(interval),       "100 to 10240 (milliseconds)",    read_milliseconds },
	{ "mac",         nullptr,          OF_RECORD(mac),            "12 hexadecimal digits, or NONE", read_address },
	{ "power",       "measured_power", OF_RECORD(measured_power), POWER_LIMIT,                      read_power },
	{ "power-index", "power_index",    OF_RECORD(power_index),    "0 to 12, or max",                read_power_index },
	{},
};
// clang-format on

static bool goes_by(const char *name, const char *wanted, size_t length)
{
	return name && strlen(name) == length && memcmp(name, wanted, length) == 0;
}

const text_field *find_field(const text_field *fields, const char *name, size_t length)
{
	for (; fields->name; fields++)
		if (goes_by(fields->name, name, length) ||
		    goes_by(fields->other_name, name, length))
			return fields;
	return nullptr;
}

// clang-format off
static const struct {
	const char *name;
	const char *instead;
} unread_fields[] = {
	{ "interval", "set interval is for all beacons" },
	{ "mac",      "set mac is for all beacons" },
	{ "type",     "every payload is built the same way" },
	{ "id",       "it is the number of the beacon" },
	{ "option",   "nothing stands in its place" },
};
// clang-format on

const char *why_unread(const char *name, size_t length)
{
	for (const auto &field : unread_fields)
		if (goes_by(field.name, name, length))
			return field.instead;
	return nullptr;
}

char *bounded_text(const char *field, size_t width, char *text)
{
	size_t length = 0;

	while (length < width && length < FIELD_TEXT - 1 && field[length]) {
		text[length] = field[length];
		length++;
	}
	text[length] = '\0';
	return text;
}

char *field_text(const text_field *field, const void *base, char *text)
{
	return bounded_text(static_cast<const char *>(base) + field->offset, field->width, text);
}

bool is_power(const text_field *field)
{
	return field->read == read_power;
}

char *user_text(const text_field *field, const void *base, char *text)
{
	unsigned byte;

	field_text(field, base, text);
	if (is_power(field) && read_number(text, 255, &byte) && byte > 127)
		snprintf(text, FIELD_TEXT, "-%u", 256 - byte);
	return text;
}

void put_field(const text_field *field, void *base, const char *value)
{
	char *at = static_cast<char *>(base) + field->offset;
	const size_t length = strnlen(value, field->width);

	memcpy(at, value, length);
	memset(at + length, 0, field->width - length);
}

void clear_entry(beacon_entry *entry, int number)
{
	*entry = {};
	entry->id[0] = static_cast<char>('0' + number);
	strcpy(entry->enable, "0");
	strcpy(entry->option, "0");
	strcpy(entry->type, "ibeacon");
	strcpy(entry->interval, "100");
	strcpy(entry->mac, "NONE");
	memcpy(entry->prefix, default_prefix, sizeof(entry->prefix));
	strcpy(entry->uuid, "NONE");
	strcpy(entry->major, "0");
	strcpy(entry->minor, "0");
	strcpy(entry->measured_power, "202");
}

bool is_active(const beacon_entry *entry)
{
	char uuid[FIELD_TEXT];

	return entry->enable[0] == '1' && entry->enable[1] == '\0' &&
	       strcmp(bounded_text(entry->uuid, sizeof(entry->uuid), uuid), "NONE") != 0;
}

char *hyphenated(const char *uuid, char *text)
{
	if (is_hexadecimal(uuid, UUID_DIGITS))
		snprintf(text, FIELD_TEXT, "%.8s-%.4s-%.4s-%.4s-%.12s", uuid, uuid + 8, uuid + 12,
			 uuid + 16, uuid + 20);
	else
		snprintf(text, FIELD_TEXT, "%s", uuid);
	return text;
}

char *printable(char *text)
{
	for (char *at = text; *at; at++)
		if (*at < ' ' || *at > '~')
			*at = '?';
	return text;
}
