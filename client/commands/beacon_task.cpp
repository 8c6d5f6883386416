// SPDX-License-Identifier: Apache-2.0
#include "client/commands/beacon_task.h"

#include "client/cli/output.h"
#include "client/settings/state.h"

#include <cstring>

static bool start_settled(const ble_segment *segment)
{
	const uint32_t action = load_acquire(&segment->config.opt.action);
	const uint32_t status = segment->config.opt.status;

	return status < BLE_STATUS_AVAILABLE || status == BLE_STATUS_ADVERTISING ||
	       (action != ACTION_START && action != ACTION_RESTART);
}

static bool stop_settled(const ble_segment *segment)
{
	return load_acquire(&segment->config.opt.action) != ACTION_STOP ||
	       segment->config.opt.status < BLE_STATUS_AVAILABLE;
}

bool (*settled_by(const char *action))(const ble_segment *segment)
{
	return strcmp(action, "stop") == 0 ? stop_settled : start_settled;
}

exit_status judge_beacon_task(const session *s, uint32_t status_before, exit_status result)
{
	const uint32_t status = s->segment->config.opt.status;

	if (status >= BLE_STATUS_AVAILABLE || (result != EXIT_DONE && result != EXIT_REFUSED))
		return result;
	if (status_before >= BLE_STATUS_AVAILABLE) {
		complain("vorlind could not do it: the controller's status is now %s; "
			 "vorlinctl reset soft sets it up anew",
			 status_name(status));
		return EXIT_REFUSED;
	}
	/* An attached controller was not found or not usable, and only a reset looks again.
	 */
	complain("no usable controller (status %s); vorlind does it as soon as one comes%s",
		 status_name(status), "; if it is there: vorlinctl reset soft");
	return EXIT_NO_CONTROLLER;
}

exit_status beacon_task(session *s, const char *action)
{
	const char *const words[] = { "ibeacon", action };
	const uint32_t status_before = s->segment->config.opt.status;
	task t = task_of(2, words);
	outcome end;

	t.shows_in_status = true;
	t.settled = settled_by(action);
	return judge_beacon_task(s, status_before, perform(s, &t, false, &end));
}
