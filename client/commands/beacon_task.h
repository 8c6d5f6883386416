// SPDX-License-Identifier: Apache-2.0
/* Beacons on and off: tasks that the daemon carries out after the command itself. */
#pragma once

#include "client/commands/perform.h"

/* For "start", "stop" or "restart": the function that detects the end of the task. */
bool (*settled_by(const char *action))(const ble_segment *segment);

/* The result of a beacon task; complains about a failure. */
exit_status judge_beacon_task(const session *s, uint32_t status_before, exit_status result);

/* Carry out the action in an open session. */
exit_status beacon_task(session *s, const char *action);
