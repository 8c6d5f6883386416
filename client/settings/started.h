// SPDX-License-Identifier: Apache-2.0
/*
 * What was set when the beacons last started and the controller was last set up, noted in words
 * of the segment that are the clients' own: so that what is set can be told from what is on
 * the air. A note belongs to one daemon; a controller that came by itself took what was set then,
 * and may be told as different until the next start or reset.
 */
#pragma once

#include "client/link/session.h"

/*
 * With the lock held, before the record is changed or a command is left: the first client of a
 * daemon notes what the daemon came up with, and what another program has started by then.
 */
void started_adopt(ble_segment *segment, pid_t daemon);

/* With the lock held: what a change of the record, or a command, makes the daemon use. */
void started_note_change(ble_segment *segment);
void started_note_command(ble_segment *segment, const command_words *words);
/* After the command: the address that it has stored. */
void started_note_end(ble_segment *segment, const command_words *words);

/* Whether there is a note of this daemon; without one nothing is told as different. */
bool started_is_known(const ble_segment *segment, pid_t daemon);

/* Whether a stop was the last that was asked for: nothing is to be on the air. */
bool started_was_stopped(const ble_segment *segment, pid_t daemon);

/* Whether beacon `i` (from 0) is set to something else than was started. */
bool beacon_differs(const ble_segment *segment, pid_t daemon, size_t i);
/* The same for "interval", "mac" and "power-index", which only a reset tells the controller. */
bool setting_differs(const ble_segment *segment, pid_t daemon, const char *name);

/* Whether any beacon or any of these settings does. */
bool anything_differs(const ble_segment *segment, pid_t daemon);
