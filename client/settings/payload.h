// SPDX-License-Identifier: Apache-2.0
/* The 30 bytes that a beacon entry puts on the air, and their meaning. */
#pragma once

#include "daemon/segment.h"

#include <cstdio>

constexpr size_t PAYLOAD_SIZE = 30;

struct beacon_payload {
	uint8_t bytes[PAYLOAD_SIZE];
};

/* Built like the daemon's: text that is no number counts as 0, a missing power as -56 dBm. */
beacon_payload payload_of(const ble_record *record, const beacon_entry *entry);

/* The numbers in the payload: 0 to 65535. */
unsigned payload_major(const beacon_payload *payload);
unsigned payload_minor(const beacon_payload *payload);
int payload_power(const beacon_payload *payload); /* dBm at one metre */

/* Print the bytes as 60 hexadecimal digits. */
void print_payload(FILE *out, const beacon_payload *payload);

/* Print one line for each part: offset, bytes, meaning. */
void explain_payload(FILE *out, const beacon_payload *payload);
