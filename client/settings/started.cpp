// SPDX-License-Identifier: Apache-2.0
#include "client/settings/started.h"

#include "client/settings/fields.h"
#include "client/settings/payload.h"
#include "client/settings/state.h"

#include <cstdlib>
#include <cstring>

constexpr size_t MARK_SIZE = 3;

struct setting_row {
	const char *name;
	size_t offset;
	size_t width;
};

// clang-format off
static const setting_row settings[] = { /* the controller gets these only by a reset */
	{ "interval",    offsetof(ble_record, interval),    sizeof(ble_record::interval) },
	{ "mac",         offsetof(ble_record, mac),         sizeof(ble_record::mac) },
	{ "power-index", offsetof(ble_record, power_index), sizeof(ble_record::power_index) },
};
// clang-format on
constexpr size_t SETTINGS = sizeof(settings) / sizeof(settings[0]);

/* After the last word of a command, where nothing else reads. */
struct notes {
	uint8_t beacon[BLE_BEACONS][MARK_SIZE]; /* zeros: not started; STOPPED in the first */
	uint8_t setting[SETTINGS][MARK_SIZE];
};
static_assert(sizeof(notes) == sizeof(ble_command_area::rest));

static notes *notes_of(ble_segment *segment)
{
	return reinterpret_cast<notes *>(segment->cmd.rest);
}

static const notes *notes_of(const ble_segment *segment)
{
	return reinterpret_cast<const notes *>(segment->cmd.rest);
}

struct mark {
	uint8_t bytes[MARK_SIZE];
};

static const mark STOPPED = { { 0, 0, 1 } }; /* no beacon has it */

/* FNV-1a folded to 24 bits; never zeros or STOPPED. */
static mark mark_of(const void *data, size_t length)
{
	const auto *bytes = static_cast<const uint8_t *>(data);
	uint32_t hash = 2166136261U;

	for (size_t i = 0; i < length; i++)
		hash = (hash ^ bytes[i]) * 16777619U;
	hash = (hash ^ hash >> 24) & 0xFFFFFF;
	if (hash < 2)
		hash += 2;
	return { { static_cast<uint8_t>(hash >> 16), static_cast<uint8_t>(hash >> 8),
		   static_cast<uint8_t>(hash) } };
}

/* Once one entry is active, the daemon rotates all whose `enable` reads as 1. */
static bool is_advertised(const beacon_entry *entry)
{
	char text[FIELD_TEXT];

	return atoi(bounded_text(entry->enable, sizeof(entry->enable), text)) == 1;
}

static mark beacon_mark(const ble_record *record, size_t i)
{
	const beacon_entry *entry = &record->beacon[i];

	if (!is_advertised(entry) || !has_active_beacon(record))
		return {};
	const beacon_payload payload = payload_of(record, entry);
	return mark_of(payload.bytes, sizeof(payload.bytes));
}

static mark setting_mark(const ble_record *record, const setting_row *row)
{
	char text[FIELD_TEXT];

	bounded_text(reinterpret_cast<const char *>(record) + row->offset, row->width, text);
	/* An empty address, without manufacturing data, is not sent: like NONE. */
	const char *given = text[0] ? text : "NONE";
	return mark_of(given, strlen(given));
}

static bool is_start(uint32_t action)
{
	return action == ACTION_START || action == ACTION_RESTART;
}

static void put_mark(uint8_t *to, mark from)
{
	memcpy(to, from.bytes, MARK_SIZE);
}

static void note_settings(ble_segment *segment)
{
	for (size_t i = 0; i < SETTINGS; i++)
		put_mark(notes_of(segment)->setting[i],
			 setting_mark(&segment->config, &settings[i]));
}

static void note_beacons(ble_segment *segment)
{
	for (size_t i = 0; i < BLE_BEACONS; i++)
		put_mark(notes_of(segment)->beacon[i], beacon_mark(&segment->config, i));
}

static void note_nothing(ble_segment *segment)
{
	memset(notes_of(segment)->beacon, 0, sizeof(notes::beacon));
}

static void note_stop(ble_segment *segment)
{
	note_nothing(segment);
	put_mark(notes_of(segment)->beacon[0], STOPPED);
}

static size_t find_setting(const char *name)
{
	size_t i = 0;

	while (i < SETTINGS && strcmp(settings[i].name, name) != 0)
		i++;
	return i;
}

void started_adopt(ble_segment *segment, pid_t daemon)
{
	if (started_is_known(segment, daemon))
		return;
	note_settings(segment);
	note_nothing(segment);
	if (segment->config.opt.status == BLE_STATUS_ADVERTISING) /* another program's start */
		note_beacons(segment);
	segment->config.opt.unused = static_cast<uint32_t>(daemon);
}

/* Without a usable controller the next step is a start-up, with all settings of that time. */
void started_note_change(ble_segment *segment)
{
	if (segment->config.opt.status >= BLE_STATUS_AVAILABLE)
		return;
	note_settings(segment);
	if (is_start(segment->config.opt.action))
		note_beacons(segment);
}

/* "config NAME VALUE" sends the controller a value that may differ from the setting. */
static void note_config(ble_segment *segment, const command_words *words)
{
	const char *name =
		strcmp(words->word[1], "txpower-index") == 0 ? "power-index" : words->word[1];
	const size_t i = find_setting(name);

	if (strcmp(name, "ble-reset") == 0)
		note_settings(segment);
	else if (i < SETTINGS && words->count > 2)
		put_mark(notes_of(segment)->setting[i],
			 mark_of(words->word[2], strlen(words->word[2])));
}

void started_note_command(ble_segment *segment, const command_words *words)
{
	const char *first = words->word[0];
	const char *second = words->count > 1 ? words->word[1] : "";

	started_note_change(segment);
	if (strcmp(first, "config") == 0 && words->count > 1)
		note_config(segment, words);
	/* Any command restarts a rotation with the current settings. */
	if (strcmp(first, "ibeacon") != 0) {
		if (is_start(segment->config.opt.action))
			note_beacons(segment);
	} else if (strcmp(second, "start") == 0 || strcmp(second, "restart") == 0) {
		note_beacons(segment);
	} else {
		note_stop(segment);
	}
}

void started_note_end(ble_segment *segment, const command_words *words)
{
	const size_t mac = find_setting("mac");

	if (words->count > 2 && strcmp(words->word[0], "config") == 0 &&
	    strcmp(words->word[1], "mac") == 0)
		put_mark(notes_of(segment)->setting[mac],
			 setting_mark(&segment->config, &settings[mac]));
}

bool started_is_known(const ble_segment *segment, pid_t daemon)
{
	return segment->config.opt.unused == static_cast<uint32_t>(daemon);
}

static bool is_stopped(const ble_segment *segment)
{
	return memcmp(notes_of(segment)->beacon[0], STOPPED.bytes, MARK_SIZE) == 0;
}

bool started_was_stopped(const ble_segment *segment, pid_t daemon)
{
	return started_is_known(segment, daemon) && is_stopped(segment);
}

bool beacon_differs(const ble_segment *segment, pid_t daemon, size_t i)
{
	const mark set = beacon_mark(&segment->config, i);
	const mark nothing = {};
	const uint8_t *started = is_stopped(segment) ? nothing.bytes : notes_of(segment)->beacon[i];

	return started_is_known(segment, daemon) && memcmp(started, set.bytes, MARK_SIZE) != 0;
}

bool setting_differs(const ble_segment *segment, pid_t daemon, const char *name)
{
	const size_t i = find_setting(name);

	return i < SETTINGS && started_is_known(segment, daemon) &&
	       memcmp(notes_of(segment)->setting[i],
		      setting_mark(&segment->config, &settings[i]).bytes, MARK_SIZE) != 0;
}

bool anything_differs(const ble_segment *segment, pid_t daemon)
{
	for (size_t i = 0; i < BLE_BEACONS; i++)
		if (beacon_differs(segment, daemon, i))
			return true;
	for (const setting_row &row : settings)
		if (setting_differs(segment, daemon, row.name))
			return true;
	return false;
}
