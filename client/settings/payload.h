// SPDX-License-Identifier: Apache-2.0
/* What a beacon entry puts on the air: its 30 bytes, and what they say. */
#pragma once

#include "daemon/segment.h"

#include <cstdio>

constexpr size_t PAYLOAD_SIZE = 30;

struct beacon_payload {
	uint8_t bytes[PAYLOAD_SIZE];
};

/* As the daemon builds it: text that is no number counts as 0, no power as -56 dBm. */
beacon_payload payload_of(const ble_record *record, const beacon_entry *entry);

/* What the payload says: 0 to 65535. */
unsigned payload_major(const beacon_payload *payload);
unsigned payload_minor(const beacon_payload *payload);
int payload_power(const beacon_payload *payload); /* dBm at one metre */

/* The bytes as 60 hexadecimal digits. */
void print_payload(FILE *out, const beacon_payload *payload);

/* One line for each part: offset, bytes, meaning. */
void explain_payload(FILE *out, const beacon_payload *payload);
