// SPDX-License-Identifier: Apache-2.0
#include "client/settings/state.h"

#include "client/cli/output.h"
#include "client/link/session.h"
#include "client/settings/controller_info.h"
#include "client/settings/fields.h"
#include "client/settings/payload.h"
#include "client/settings/started.h"

#include <cstdlib>
#include <cstring>

/* Milliseconds: an event on the line takes at most 25, and the user waits for the output. */
constexpr int64_t SEEMS_STUCK_AFTER = 500;

struct code_name {
	uint32_t code;
	const char *name;
};

// clang-format off
static const code_name status_names[] = {
	{ BLE_STATUS_NONE,        "none" },
	{ BLE_STATUS_UNCONFIRMED, "unconfirmed" },
	{ BLE_STATUS_AVAILABLE,   "available" },
	{ BLE_STATUS_ADVERTISING, "advertising" },
	{ BLE_STATUS_TESTING,     "testing" },
};

static const code_name action_names[] = {
	{ ACTION_NONE,    "none" },
	{ ACTION_STOP,    "stop" },
	{ ACTION_START,   "start" },
	{ ACTION_RESTART, "restart" },
	{ ACTION_TEST,    "test" },
};
// clang-format on

const char *status_name(uint32_t status)
{
	for (const code_name &row : status_names)
		if (row.code == status)
			return row.name;
	return "unknown";
}

const char *action_name(uint32_t action)
{
	for (const code_name &row : action_names)
		if (row.code == action)
			return row.name;
	return "unknown";
}

bool find_status(const char *name, uint32_t *status)
{
	for (const code_name &row : status_names) {
		if (strcmp(row.name, name) == 0) {
			*status = row.code;
			return true;
		}
	}
	return false;
}

void take_state(state *s, const ble_segment *live, pid_t daemon)
{
	s->daemon = daemon;
	s->is_stuck = stays_stuck(daemon, SEEMS_STUCK_AFTER, &s->doing);
	/* Without the lock: it does no harm if a word or a field is slightly older than others.
	 */
	memcpy(static_cast<void *>(&s->segment), live, sizeof(*live));
}

bool has_active_beacon(const ble_record *record)
{
	for (const beacon_entry &entry : record->beacon)
		if (is_active(&entry))
			return true;
	return false;
}

bool is_ti(const ble_segment *segment)
{
	controller_info info;

	return read_controller(segment, &info) && strncmp(info.kind, "ti-", 3) == 0;
}

/* An entry's UUID for display: hyphenated and printable. */
static const char *uuid_text(const beacon_entry *entry, char *text)
{
	char field[FIELD_TEXT];

	return printable(hyphenated(bounded_text(entry->uuid, sizeof(entry->uuid), field), text));
}

/* On, but skipped by the daemon because it has no identifier. */
static bool lacks_uuid(const beacon_entry *entry)
{
	char text[FIELD_TEXT];

	return !is_active(entry) &&
	       strcmp(bounded_text(entry->enable, sizeof(entry->enable), text), "1") == 0;
}

/* Beacons can only differ from those on the air. */
static bool is_marked(const state *s, size_t i)
{
	return s->segment.config.opt.status == BLE_STATUS_ADVERTISING &&
	       beacon_differs(&s->segment, s->daemon, i);
}

static void print_row(FILE *out, const state *s, size_t i, bool with_payload)
{
	const ble_record *record = &s->segment.config;
	const beacon_entry *entry = &record->beacon[i];
	const beacon_payload payload = payload_of(record, entry);
	char uuid[FIELD_TEXT];

	fprintf(out, "%zu       %-3s  %-36s  %5u  %5u  %d dBm%s%s\n", i + 1,
		is_active(entry) ? "on" : "off", uuid_text(entry, uuid), payload_major(&payload),
		payload_minor(&payload), payload_power(&payload),
		lacks_uuid(entry) ? "  (on, but without a UUID)" : "",
		is_marked(s, i) ? "  (not so on the air: restart)" : "");
	if (with_payload) {
		fputs("             ", out);
		print_payload(out, &payload);
		fputc('\n', out);
	}
}

void print_beacons(FILE *out, const state *s, bool with_payload)
{
	fprintf(out, "beacon       %-36s  major  minor  power\n", "UUID");
	for (size_t i = 0; i < BLE_BEACONS; i++)
		print_row(out, s, i, with_payload);
}

void print_beacon_line(FILE *out, const ble_record *record, size_t i)
{
	const beacon_entry *entry = &record->beacon[i];
	const beacon_payload payload = payload_of(record, entry);
	char uuid[FIELD_TEXT];

	fprintf(out, "beacon %zu %s: %s, major %u, minor %u, %d dBm\n", i + 1,
		is_active(entry) ? "on" : "off", uuid_text(entry, uuid), payload_major(&payload),
		payload_minor(&payload), payload_power(&payload));
	if (lacks_uuid(entry))
		complain("beacon %zu is on, but without a UUID it is not sent: beacon %zu --uuid "
			 "random",
			 i + 1, i + 1);
}

void print_beacon(FILE *out, const ble_record *record, size_t i)
{
	const beacon_payload payload = payload_of(record, &record->beacon[i]);

	fprintf(out, "beacon %zu is %s\n", i + 1, is_active(&record->beacon[i]) ? "on" : "off");
	explain_payload(out, &payload);
}

static void print_controller(FILE *out, const ble_segment *segment)
{
	controller_info info;

	if (!read_controller(segment, &info)) {
		fputs("controller   none usable\n", out);
		return;
	}
	fprintf(out, "controller   %s\n", info.kind);
	fprintf(out, "manufacturer 0x%04X %s\n", info.manufacturer, info.manufacturer_name);
	fprintf(out, "HCI          version %u, revision 0x%04X\n", info.hci_version,
		info.hci_revision);
	if (info.has_build)
		fprintf(out, "build        user 0x%04X, system 0x%04X\n", info.build_user,
			info.build_system);
}

static void print_settings(FILE *out, const state *s)
{
	const ble_record *record = &s->segment.config;
	char text[FIELD_TEXT];

	fputs("settings    ", out);
	for (const text_field *field = setting_fields; field->name; field++) {
		user_text(field, record, text);
		fprintf(out, "%s %s %s%s%s", field == setting_fields ? "" : ",", field->name,
			text[0] ? printable(text) : "(empty)",
			is_power(field) && strcmp(text, "NONE") != 0 ? " dBm" : "",
			setting_differs(&s->segment, s->daemon, field->name)
				? " (the controller has another: reset soft)"
				: "");
	}
	fputc('\n', out);
}

/* Print why the daemon cannot take a command now. */
static void print_doing(FILE *out, const state *s)
{
	if (s->is_stuck)
		fprintf(out, "             it hangs, waiting for %s\n", pursuit_text(s->doing));
	else if (s->doing != PURSUIT_PAUSE && s->doing != PURSUIT_UNKNOWN)
		fprintf(out, "             busy, waiting for %s\n",
			s->doing == PURSUIT_RUN ? "a processor" : pursuit_text(s->doing));
}

void print_state(FILE *out, const state *s, bool with_payload)
{
	const ble_record *record = &s->segment.config;

	fprintf(out, "vorlind      running, process id %d\n", static_cast<int>(s->daemon));
	print_doing(out, s);
	print_controller(out, &s->segment);
	fprintf(out, "status       %u %s\n", record->opt.status, status_name(record->opt.status));
	fprintf(out, "action       %u %s\n", record->opt.action, action_name(record->opt.action));
	print_settings(out, s);
	fputc('\n', out);
	print_beacons(out, s, with_payload);
}

static void beacon_object(FILE *out, const state *s, size_t i)
{
	const ble_record *record = &s->segment.config;
	const beacon_entry *entry = &record->beacon[i];
	const beacon_payload payload = payload_of(record, entry);
	char field[FIELD_TEXT];
	char uuid[FIELD_TEXT];

	hyphenated(bounded_text(entry->uuid, sizeof(entry->uuid), field), uuid);
	fprintf(out, "\"number\": %zu, \"active\": %s, \"differs\": %s", i + 1,
		is_active(entry) ? "true" : "false", is_marked(s, i) ? "true" : "false");
	json_member(out, "enable", bounded_text(entry->enable, sizeof(entry->enable), field));
	json_member(out, "uuid", uuid);
	fprintf(out, ", \"major\": %u, \"minor\": %u, \"power\": %d", payload_major(&payload),
		payload_minor(&payload), payload_power(&payload));
	json_member(out, "prefix", bounded_text(entry->prefix, sizeof(entry->prefix), field));
	fputs(", \"payload\": \"", out);
	print_payload(out, &payload);
	fputc('"', out);
}

static void beacon_array(FILE *out, const state *s)
{
	fputs("\"beacons\": [", out);
	for (size_t i = 0; i < BLE_BEACONS; i++) {
		fputs(i ? ", {" : "{", out);
		beacon_object(out, s, i);
		fputc('}', out);
	}
	fputc(']', out);
}

static void controller_object(FILE *out, const ble_segment *segment)
{
	controller_info info;

	fputs("\"controller\": ", out);
	if (!read_controller(segment, &info)) {
		fputs("null", out);
		return;
	}
	fprintf(out, "{\"kind\": \"%s\", \"hci_version\": %u, \"hci_revision\": %u", info.kind,
		info.hci_version, info.hci_revision);
	fprintf(out, ", \"manufacturer\": %u, \"manufacturer_name\": \"%s\", \"build\": ",
		info.manufacturer, info.manufacturer_name);
	if (info.has_build)
		fprintf(out, "{\"user\": %u, \"system\": %u}}", info.build_user, info.build_system);
	else
		fputs("null}", out);
}

static void settings_object(FILE *out, const ble_record *record)
{
	char text[FIELD_TEXT];

	fputs("\"settings\": {", out);
	for (const text_field *field = setting_fields; field->name; field++) {
		fprintf(out, "%s\"%s\": ", field == setting_fields ? "" : ", ", field->name);
		field_text(field, record, text);
		if (!is_power(field))
			json_string(out, text);
		else if (strcmp(text, "NONE") == 0)
			fputs("null", out);
		else /* the byte that is sent */
			fprintf(out, "%d", static_cast<int8_t>(strtol(text, nullptr, 10)));
	}
	fputc('}', out);
}

/* Print the names of changed settings that the controller gets only by a reset. */
static void differing_settings(FILE *out, const state *s)
{
	const char *comma = "";

	fputs(", \"differing_settings\": [", out);
	for (const text_field *field = setting_fields; field->name; field++) {
		if (!setting_differs(&s->segment, s->daemon, field->name))
			continue;
		fputs(comma, out);
		json_string(out, field->name);
		comma = ", ";
	}
	fputc(']', out);
}

void print_state_json(FILE *out, const state *s)
{
	const ble_record *record = &s->segment.config;

	json_begin(out, "status");
	fprintf(out, ", \"running\": true, \"pid\": %d, ", static_cast<int>(s->daemon));
	controller_object(out, &s->segment);
	fprintf(out, ", \"status\": {\"code\": %u, \"name\": \"%s\"}", record->opt.status,
		status_name(record->opt.status));
	fprintf(out, ", \"action\": {\"code\": %u, \"name\": \"%s\"}", record->opt.action,
		action_name(record->opt.action));
	fprintf(out, ", \"busy\": %s, \"hangs\": %s", s->segment.cmd_doing ? "true" : "false",
		s->is_stuck ? "true" : "false");
	json_member(out, "waits_for", pursuit_text(s->doing));
	differing_settings(out, s);
	fputs(", ", out);
	settings_object(out, record);
	fputs(", ", out);
	beacon_array(out, s);
	fputs("}\n", out);
}

void print_beacons_json(FILE *out, const state *s)
{
	json_begin(out, "beacon list");
	fputs(", ", out);
	beacon_array(out, s);
	fputs("}\n", out);
}

void print_beacon_json(FILE *out, const char *command, const state *s, size_t i)
{
	json_begin(out, command);
	fputs(", ", out);
	beacon_object(out, s, i);
	fputs("}\n", out);
}
