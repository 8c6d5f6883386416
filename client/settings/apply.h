// SPDX-License-Identifier: Apache-2.0
/* Beacons and settings as a file: read it, write it, show what it changes. */
#pragma once

#include "client/settings/edit.h"

#include <cstdio>

constexpr size_t PLAN_SIZE = 32768;

struct plan {
	char text[PLAN_SIZE]; /* the lines, each ended by a NUL */
	size_t size;
	const char *action; /* "start", "stop", "restart", or null: leave the beacons alone */
	fault wrong;        /* with the number of the line */
	fault note;         /* the first line with a field that has no effect, or empty */
};

/* Read and check the whole file: false with the fault. */
bool read_plan(FILE *file, plan *p);

/* Make the changes; false with the fault, and `record` half changed. */
bool edit_by_plan(ble_record *record, plan *p);

/* Print one line for each field that differs; returns their number. */
int print_differences(FILE *out, const ble_record *before, const ble_record *after);

/* Whether the controller must get a setting, which the daemon sends only at its start-up. */
bool needs_reset(const ble_record *before, const ble_record *after);

/* Print the lines that make a record like this one. */
void print_plan(FILE *out, const ble_record *record);
