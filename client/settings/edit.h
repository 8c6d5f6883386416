// SPDX-License-Identifier: Apache-2.0
/* Makes a user's changes to beacons and settings in a record in memory. */
#pragma once

#include "daemon/segment.h"

struct fault {
	char text[320]; /* what is wrong and what is right, one line */
};

/*
 * Carry out "beacon N ...", "beacon clear N|all" or "set NAME VALUE ..." on `record`. False
 * for a fault, with the record half changed: pass a copy. A field that the daemon does not read
 * is a fault; if `passed_over` is given it is skipped and described there, because older saved
 * files have such fields.
 */
bool edit_record(ble_record *record, int argc, const char *const *argv, fault *wrong,
		 fault *passed_over);

/* "1" to "5" -> 0 to 4, or -1 with a fault. */
int beacon_index(const char *text, fault *wrong);

void set_fault(fault *wrong, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* Write the differences between the copies to `live`, but not status and action. */
void write_changes(ble_record *live, const ble_record *before, const ble_record *after);
