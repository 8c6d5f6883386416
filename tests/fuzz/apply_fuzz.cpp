// SPDX-License-Identifier: Apache-2.0
/* The file of "vorlinctl apply": what it accepts fits its fields and survives save and apply. */
#include "client/settings/apply.h"
#include "client/settings/fields.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <sys/random.h>

/* Used instead of the C library's: the same input must always do the same. */
extern "C" ssize_t getrandom(void *buffer, size_t size, unsigned)
{
	memset(buffer, 0x3C, size);
	return static_cast<ssize_t>(size);
}

static bool read_text(const std::string &text, plan *p)
{
	/* fmemopen refuses an empty buffer. */
	std::string copy = text.empty() ? "\n" : text;
	FILE *const file = fmemopen(copy.data(), copy.size(), "r");
	const bool is_read = read_plan(file, p);

	fclose(file);
	return is_read;
}

/* The settings at the daemon's start. */
static ble_record fresh_record()
{
	ble_record record = {};

	strcpy(record.interval, "100");
	strcpy(record.mac, "001122334455");
	strcpy(record.measured_power, "202");
	strcpy(record.power_index, "max");
	for (int i = 0; i < static_cast<int>(BLE_BEACONS); i++)
		clear_entry(&record.beacon[i], i + 1);
	return record;
}

static std::string_view settings_of(const ble_record &record)
{
	return { reinterpret_cast<const char *>(&record) + offsetof(ble_record, interval),
		 offsetof(ble_record, reserved) - offsetof(ble_record, interval) };
}

static void check_field(const text_field *field, const void *base)
{
	const char *const at = static_cast<const char *>(base) + field->offset;
	const size_t length = strnlen(at, field->width);
	char text[FIELD_TEXT];
	char value[FIELD_TEXT];

	must(length < field->width || std::string_view(at, length) == "NONE",
	     "a field is terminated, but for a NONE that fills it");
	for (size_t i = length; i < field->width; i++)
		must(at[i] == '\0', "a field is filled up with zeros");
	field_text(field, base, text);
	must(field->read(text, value) && strcmp(text, value) == 0,
	     "what stands in a field is what the field takes");
}

/* The limits, written here independently of the client's table. */
static void check_number(std::string_view field, int least, int most, const char *word)
{
	const std::string text(field.substr(0, field.find('\0')));

	if (text == word)
		return;
	must(!text.empty() && text.find_first_not_of("0123456789") == std::string::npos,
	     "a number is written in digits");
	must(std::stoi(text) >= least && std::stoi(text) <= most, "a number is within its limits");
}

static void check_digits(std::string_view field, size_t count)
{
	const std::string text(field.substr(0, field.find('\0')));

	must(text == "NONE" || (text.size() == count &&
				text.find_first_not_of("0123456789ABCDEF") == std::string::npos),
	     "hexadecimal text has its digits, in upper case");
}

template <size_t width> static std::string_view of(const char (&field)[width])
{
	return { field, width };
}

static void check_limits(const ble_record &record)
{
	check_number(of(record.interval), 100, 10240, "100");
	check_digits(of(record.mac), 12);
	check_number(of(record.measured_power), 0, 255, "NONE");
	check_number(of(record.power_index), 0, 12, "max");
	for (const beacon_entry &entry : record.beacon) {
		check_number(of(entry.enable), 0, 1, "0");
		check_digits(of(entry.prefix), 18);
		check_digits(of(entry.uuid), 32);
		check_number(of(entry.major), 0, 65535, "0");
		check_number(of(entry.minor), 0, 65535, "0");
		check_number(of(entry.measured_power), 0, 255, "NONE");
	}
}

static void check_record(const ble_record &record)
{
	check_limits(record);
	for (const text_field *field = setting_fields; field->name; field++)
		check_field(field, &record);
	for (const beacon_entry &entry : record.beacon)
		for (const text_field *field = beacon_fields; field->name; field++)
			check_field(field, &entry);
	must(record.opt.action == 0 && record.opt.status == 0 && record.opt.unused == 0 &&
		     record.reserved == '\0',
	     "only settings and beacons change");
}

/* What a function prints to its file. */
static std::string printed(const std::function<void(FILE *)> &print)
{
	char *text = nullptr;
	size_t size = 0;
	FILE *const file = open_memstream(&text, &size);

	print(file);
	fclose(file);
	std::string result(text, size);
	free(text);
	return result;
}

static void check_differences(const ble_record &before, const ble_record &after)
{
	int count = 0;
	const std::string text =
		printed([&](FILE *file) { count = print_differences(file, &before, &after); });

	must(std::ranges::count(text, '\n') == count, "each difference is one line");
	must(std::ranges::all_of(text, [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }),
	     "a difference upsets no terminal");
	must((count > 0) == (settings_of(before) != settings_of(after)), "no difference is hidden");
	must(!needs_reset(&before, &after) || count > 0, "no reset without a difference");
}

/* Saved and applied to a record with other settings, it is the same again. */
static void check_save(const ble_record &record)
{
	static plan again;
	const std::string text = printed([&](FILE *file) { print_plan(file, &record); });
	ble_record other;

	memset(static_cast<void *>(&other), 0x7E, sizeof(other));
	must(read_text(text, &again), "what is saved can be applied");
	must(edit_by_plan(&other, &again), "what can be applied is applied");
	must(settings_of(other) == settings_of(record), "applied, it is what was saved");
	must(again.action && strcmp(again.action, "stop") == 0, "no beacons ran, so none start");
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	static plan the_plan;
	const ble_record before = fresh_record();
	ble_record after = before;
	ble_record live = before;

	if (!read_text(std::string(reinterpret_cast<const char *>(data), size), &the_plan)) {
		const size_t length = strnlen(the_plan.wrong.text, sizeof(the_plan.wrong.text));
		must(length > 0 && length < sizeof(the_plan.wrong.text), "a refusal has its words");
		must(!strchr(the_plan.wrong.text, '\n'), "a refusal is one line");
		check_streams();
		return 0;
	}
	must(edit_by_plan(&after, &the_plan), "what was checked is no fault when it is applied");
	check_record(after);
	check_differences(before, after);
	check_save(after);

	live.opt.status = 3;
	live.opt.action = 2;
	write_changes(&live, &before, &after);
	must(settings_of(live) == settings_of(after), "all changes are written");
	must(live.opt.status == 3 && live.opt.action == 2, "status and action are the daemon's");
	check_streams();
	return 0;
}
