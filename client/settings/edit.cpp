// SPDX-License-Identifier: Apache-2.0
#include "client/settings/edit.h"

#include "client/settings/fields.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

void set_fault(fault *wrong, const char *format, ...)
{
	va_list arguments;

	va_start(arguments, format);
	/* cppcheck-suppress ctuuninitvar ; it is written here */
	vsnprintf(wrong->text, sizeof(wrong->text), format, arguments);
	va_end(arguments);
}

int beacon_index(const char *text, fault *wrong)
{
	unsigned number;

	if (text && read_number(text, BLE_BEACONS, &number) && number > 0)
		return static_cast<int>(number) - 1;
	if (text)
		set_fault(wrong, "\"%.40s\" is no beacon: they are numbered 1 to %zu", text,
			  BLE_BEACONS);
	else
		set_fault(wrong, "which one? They are numbered 1 to %zu", BLE_BEACONS);
	return -1;
}

static bool set_value(const text_field *field, void *base, const char *text, fault *wrong)
{
	char value[FIELD_TEXT];

	if (!field->read(text, value)) {
		set_fault(wrong, "%s: \"%.60s\" does not fit; it takes %s", field->name, text,
			  field->limit);
		return false;
	}
	put_field(field, base, value);
	return true;
}

static void name_fields(const text_field *fields, char *text, size_t size)
{
	size_t used = 0;

	text[0] = '\0';
	for (; fields->name && used < size; fields++)
		used += static_cast<size_t>(
			snprintf(text + used, size - used, "%s%s", used ? ", " : "", fields->name));
}

/*
 * Take one setting from the arguments: "--name value", "--name=value" or "name=value"; without
 * dashes also "name value". Returns the number of arguments taken, 0 for a fault.
 */
static int take_setting(const text_field *fields, void *base, int argc, const char *const *argv,
			fault *wrong, fault *passed_over)
{
	const char *name = argv[0] + (strncmp(argv[0], "--", 2) == 0 ? 2 : 0);
	const size_t length = strcspn(name, "=");
	const text_field *field = find_field(fields, name, length);
	const char *instead = fields == beacon_fields ? why_unread(name, length) : nullptr;
	char known[160];

	if (instead) {
		set_fault(passed_over ? passed_over : wrong,
			  "%.*s of a beacon has no effect, vorlind does not read it: %s",
			  static_cast<int>(length), name, instead);
		return !passed_over ? 0 : name[length] == '=' || argc < 2 ? 1 : 2;
	}
	if (!field) {
		name_fields(fields, known, sizeof(known));
		set_fault(wrong, "unknown setting \"%.60s\": there are %s", argv[0], known);
		return 0;
	}
	if (name[length] == '=')
		return set_value(field, base, name + length + 1, wrong) ? 1 : 0;
	if (argc < 2) {
		set_fault(wrong, "%s needs a value: it takes %s", argv[0], field->limit);
		return 0;
	}
	return set_value(field, base, argv[1], wrong) ? 2 : 0;
}

static bool edit_entry(beacon_entry *entry, int argc, const char *const *argv, fault *wrong,
		       fault *passed_over)
{
	while (argc > 0) {
		int taken = 1;

		if (strcmp(argv[0], "on") == 0)
			strcpy(entry->enable, "1");
		else if (strcmp(argv[0], "off") == 0)
			strcpy(entry->enable, "0");
		else
			taken = take_setting(beacon_fields, entry, argc, argv, wrong, passed_over);
		if (taken == 0)
			return false;
		argc -= taken;
		argv += taken;
	}
	return true;
}

static bool clear_entries(ble_record *record, int argc, const char *const *argv, fault *wrong)
{
	if (argc == 1 && strcmp(argv[0], "all") == 0) {
		for (size_t i = 0; i < BLE_BEACONS; i++)
			clear_entry(&record->beacon[i], static_cast<int>(i) + 1);
		return true;
	}
	if (argc != 1) {
		set_fault(wrong, "beacon clear takes one beacon, 1 to %zu, or all", BLE_BEACONS);
		return false;
	}
	const int i = beacon_index(argv[0], wrong);
	if (i >= 0)
		clear_entry(&record->beacon[i], i + 1);
	return i >= 0;
}

static bool edit_beacon(ble_record *record, int argc, const char *const *argv, fault *wrong,
			fault *passed_over)
{
	if (argc > 0 && strcmp(argv[0], "clear") == 0)
		return clear_entries(record, argc - 1, argv + 1, wrong);
	const int i = beacon_index(argc > 0 ? argv[0] : nullptr, wrong);
	if (i < 0)
		return false;
	if (argc < 2) {
		set_fault(wrong, "beacon %d: nothing to set; for example --uuid random on", i + 1);
		return false;
	}
	return edit_entry(&record->beacon[i], argc - 1, argv + 1, wrong, passed_over);
}

static bool edit_settings(ble_record *record, int argc, const char *const *argv, fault *wrong)
{
	if (argc == 0) {
		set_fault(wrong, "nothing to set; for example interval 200");
		return false;
	}
	while (argc > 0) {
		const int taken = take_setting(setting_fields, record, argc, argv, wrong, nullptr);
		if (taken == 0)
			return false;
		argc -= taken;
		argv += taken;
	}
	return true;
}

bool edit_record(ble_record *record, int argc, const char *const *argv, fault *wrong,
		 fault *passed_over)
{
	if (strcmp(argv[0], "beacon") == 0)
		return edit_beacon(record, argc - 1, argv + 1, wrong, passed_over);
	if (strcmp(argv[0], "set") == 0)
		return edit_settings(record, argc - 1, argv + 1, wrong);
	set_fault(wrong, "unknown line \"%.60s\"; a line is beacon, set, start, stop or restart",
		  argv[0]);
	return false;
}

void write_changes(ble_record *live, const ble_record *before, const ble_record *after)
{
	const char *from = reinterpret_cast<const char *>(before);
	const char *to = reinterpret_cast<const char *>(after);
	char *at = reinterpret_cast<char *>(live);

	for (size_t i = offsetof(ble_record, interval); i < sizeof(ble_record); i++)
		if (from[i] != to[i])
			at[i] = to[i];
}
