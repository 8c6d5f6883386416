// SPDX-License-Identifier: Apache-2.0
/*
 * Notes of the settings at the last start of the beacons and at the controller's last start-up, in
 * words of the segment that belong to the clients. They show whether the settings differ from what
 * is on the air. A note is valid for one daemon. A controller that was attached later got the
 * settings of that time; it may be reported as different until the next start or reset.
 */
#pragma once

#include "client/link/session.h"

/*
 * Call with the lock held, before a change of the record or a command: the first client of a
 * daemon notes the settings of its start, and what another program has started since.
 */
void started_adopt(ble_segment *segment, pid_t daemon);

/* With the lock held: note what the daemon uses after a change of the record, or a command. */
void started_note_change(ble_segment *segment);
void started_note_command(ble_segment *segment, const command_words *words);
/* After the command: note the address that it has stored. */
void started_note_end(ble_segment *segment, const command_words *words);

/* Whether there is a note of this daemon; without one nothing counts as different. */
bool started_is_known(const ble_segment *segment, pid_t daemon);

/* Whether the last task was a stop: nothing shall be on the air. */
bool started_was_stopped(const ble_segment *segment, pid_t daemon);

/* Whether beacon `i` (from 0) differs from its settings at the start. */
bool beacon_differs(const ble_segment *segment, pid_t daemon, size_t i);
/* The same for "interval", "mac" and "power-index", which the controller gets only by a reset. */
bool setting_differs(const ble_segment *segment, pid_t daemon, const char *name);

/* Whether any beacon or any of these settings does. */
bool anything_differs(const ble_segment *segment, pid_t daemon);
