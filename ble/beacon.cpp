// SPDX-License-Identifier: Apache-2.0
#include "ble/beacon.h"

#include "daemon/bleipc.h"
#include "daemon/reports.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/command_tables.h"
#include "util/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

constexpr useconds_t EMPTY_PASS = 100000;   /* microseconds */
constexpr int MEASURED_POWER_DEFAULT = -56; /* dBm at 1 m, when nothing is set */

/* The advertising data of one entry. */
struct beacon_payload {
	uint8_t prefix[9]; /* by default: flags, then the start of an iBeacon structure */
	uint8_t uuid[16];
	uint8_t major[2]; /* high byte first */
	uint8_t minor[2];
	uint8_t measured_power;
};
static_assert(sizeof(beacon_payload) == 30);

static bool is_active(const beacon_entry &entry)
{
	char enable[sizeof(entry.enable) + 1];
	char uuid[sizeof(entry.uuid) + 1];

	return strcmp(copy_field(enable, entry.enable, sizeof(entry.enable)), "1") == 0 &&
	       strcmp(copy_field(uuid, entry.uuid, sizeof(entry.uuid)), "NONE") != 0;
}

/* Looser than is_active on purpose: accepts "01", and an entry without identifier. */
static bool is_advertised(const beacon_entry &entry)
{
	char enable[sizeof(entry.enable) + 1];

	return atoi(copy_field(enable, entry.enable, sizeof(entry.enable))) == 1;
}

int32_t count_activable_beacons()
{
	int32_t count = 0;

	for (const beacon_entry &entry : ble_config->beacon)
		if (is_active(entry))
			count++;
	return count;
}

static void put_number(uint8_t *bytes, const char *field, size_t width)
{
	char text[sizeof(beacon_entry::major) + 1];
	const int value = atoi(copy_field(text, field, width));

	bytes[0] = static_cast<uint8_t>(value >> 8);
	bytes[1] = static_cast<uint8_t>(value);
}

/* The entry's, else that of all beacons, else the default. "NONE" fills the field, no NUL. */
static uint8_t measured_power(const beacon_entry &entry)
{
	char text[sizeof(entry.measured_power) + 1];

	copy_field(text, entry.measured_power, sizeof(entry.measured_power));
	if (strcmp(text, "NONE") == 0)
		copy_field(text, ble_config->measured_power, sizeof(ble_config->measured_power));
	return static_cast<uint8_t>(strcmp(text, "NONE") == 0 ? MEASURED_POWER_DEFAULT
							      : atoi(text));
}

static void build_payload(beacon_payload *payload, const beacon_entry &entry)
{
	char prefix[sizeof(entry.prefix) + 1];
	char uuid[sizeof(entry.uuid) + 1];

	copy_field(prefix, entry.prefix, sizeof(entry.prefix));
	hex_to_bytes(payload->prefix, prefix, 2 * sizeof(payload->prefix));
	copy_field(uuid, entry.uuid, sizeof(entry.uuid));
	hex_to_bytes(payload->uuid, uuid, 2 * sizeof(payload->uuid));
	put_number(payload->major, entry.major, sizeof(entry.major));
	put_number(payload->minor, entry.minor, sizeof(entry.minor));
	payload->measured_power = measured_power(entry);
}

/* Build the payload of each advertised entry: true when there is one. */
static bool build_payloads(beacon_payload *payloads, bool *advertised)
{
	bool any = false;

	for (size_t i = 0; i < BLE_BEACONS; i++) {
		advertised[i] = is_advertised(ble_config->beacon[i]);
		if (advertised[i])
			build_payload(&payloads[i], ble_config->beacon[i]);
		any = any || advertised[i];
	}
	return any;
}

bool is_new_event()
{
	if (!flag_daemon_quit && !flag_uevent_change && !flag_cmd_change)
		return false;
	TRACE(TRACE_FLOW, "flag_daemon_quit=%d, flag_uevent_change=%d, flag_cmd_change=%d\n",
	      flag_daemon_quit, flag_uevent_change, flag_cmd_change);
	return true;
}

/* Wait one interval; it is read each time because a client may change it. */
static void dwell()
{
	char text[sizeof(ble_config->interval) + 1];
	const int milliseconds =
		atoi(copy_field(text, ble_config->interval, sizeof(ble_config->interval)));

	if (milliseconds > 0)
		usleep(static_cast<useconds_t>(milliseconds) * 1000);
}

/* Advertising off; traces a failure under the caller's name and returns it. */
static int32_t switch_off(const char *function, int line)
{
	const int32_t status = hci_call(func_set_advertise_enable, 0);

	if (status != 0)
		TRACE_AS(function, line, TRACE_WARNING,
			 "WARNING: func_set_advertise_enable(0) failed.\n");
	return status;
}

/* Send a payload to the controller; only the first one switches advertising on. */
static int32_t put_on_air(const beacon_payload &payload, bool first)
{
	uint8_t data[sizeof(payload)];

	memcpy(data, &payload, sizeof(data));
	int32_t status = hci_call(func_set_advertising_data, data);
	if (status != 0) {
		fputs("WARNING: func_set_advertising_data() failed.\n", stderr);
		return status;
	}
	if (first) {
		status = hci_call(func_set_advertise_enable, 1);
		if (status != 0)
			fputs("WARNING: func_set_advertise_enable(1) failed.\n", stderr);
	}
	return status;
}

/* After the first dwell: report the beacons as on the air, and the client's command as done. */
static void announce(const char *function, int line)
{
	ble_config->opt.status = BLE_STATUS_ADVERTISING;
	store_release(&ble_ipc.buf->cmd_doing, 0);
	TRACE_AS(function, line, TRACE_FLOW, "Change cmd_doing to %d\n", 0);
	TRACE_AS(function, line, TRACE_REPORT, "ble_config->opt.status=%d\n",
		 static_cast<int>(ble_config->opt.status));
	info_forward_to_ac();
}

int32_t do_beacon_advertising(int32_t action)
{
	TRACE(TRACE_FLOW, "action=%d\n", action);

	const int32_t activate_beacon = count_activable_beacons();
	const bool loop = activate_beacon > 1;
	TRACE(TRACE_FLOW, "action=%d, activate_beacon=%d, loop=%d\n", action, activate_beacon,
	      loop);

	if (activate_beacon == 0 && action == ACTION_START)
		TRACE(TRACE_FLOW, "WARNING: no activable beacons!!\n");
	if (activate_beacon == 0 || action == ACTION_STOP) {
		TRACE(TRACE_FLOW, "Stop beacon...\n");
		return switch_off(__func__, __LINE__);
	}

	int32_t status = hci_call(func_gap_device_init);
	if (status != 0) {
		TRACE(TRACE_WARNING, "WARNING: func_gap_device_init() failed.\n");
		return status;
	}
	status = switch_off(__func__, __LINE__);
	if (status != 0)
		return status;

	beacon_payload payloads[BLE_BEACONS] = {};
	bool advertised[BLE_BEACONS] = {};
	const bool any = build_payloads(payloads, advertised);

	bool first = true;
	do {
		for (size_t i = 0; i < BLE_BEACONS; i++) {
			if (advertised[i]) {
				status = put_on_air(payloads[i], first);
				if (status != 0)
					return status; /* advertising stays as it is */
				dwell();
				if (first)
					announce(__func__, __LINE__);
				first = false;
			}
			/* Checked after skipped entries too: five times for a single beacon. */
			if (is_new_event()) {
				TRACE(TRACE_FLOW, "Stop beacon...\n");
				status = switch_off(__func__, __LINE__);
				TRACE(TRACE_FLOW, "loop=%d\n", 0);
				return status;
			}
		}
		if (loop && !any) /* a client disabled them after they were counted */
			usleep(EMPTY_PASS);
	} while (loop);
	return 0; /* a single beacon stays on the air */
}
