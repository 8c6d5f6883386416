// SPDX-License-Identifier: Apache-2.0
/* Beacons on and off: the tasks that the daemon goes on with after it took the command. */
#pragma once

#include "client/commands/perform.h"

/* "start", "stop" or "restart": the function that says when such a task has come to its end. */
bool (*settled_by(const char *action))(const ble_segment *segment);

/* What has become of a beacon task; a complaint unless all is well. */
exit_status judge_beacon_task(const session *s, uint32_t status_before, exit_status result);

/* Carry out the action in an open session. */
exit_status beacon_task(session *s, const char *action);
