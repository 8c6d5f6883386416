// SPDX-License-Identifier: Apache-2.0
/* The state of daemon, controller and beacons from the segment, as text and as JSON. */
#pragma once

#include "client/link/health.h"
#include "daemon/segment.h"

#include <cstdio>
#include <sys/types.h>

struct state { /* a copy: the daemon goes on writing */
	pid_t daemon;
	pursuit doing;
	bool is_stuck; /* no progress for a while, in a wait that may last for ever */
	ble_segment segment;
};

/* Copy the segment; waits for a moment to see whether a busy daemon makes progress. */
void take_state(state *s, const ble_segment *live, pid_t daemon);

/* "available", "start", ...; "unknown" for a number without a name. */
const char *status_name(uint32_t status);
const char *action_name(uint32_t action);

/* "available", ... -> BLE_STATUS_*: false for an unknown name. */
bool find_status(const char *name, uint32_t *status);

/* Whether a beacon is active: then a start puts something on the air. */
bool has_active_beacon(const ble_record *record);

/* Whether the attached controller is one of TI's, which have their own error codes. */
bool is_ti(const ble_segment *segment);

/* As text; beacons by their index from 0. */
void print_state(FILE *out, const state *s, bool with_payload);
void print_beacons(FILE *out, const state *s, bool with_payload);
void print_beacon(FILE *out, const ble_record *record, size_t i);
void print_beacon_line(FILE *out, const ble_record *record, size_t i);

/* One line each, a whole JSON object. */
void print_state_json(FILE *out, const state *s);
void print_beacons_json(FILE *out, const state *s);
void print_beacon_json(FILE *out, const char *command, const state *s, size_t i);
