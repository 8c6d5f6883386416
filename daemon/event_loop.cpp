// SPDX-License-Identifier: Apache-2.0
#include "daemon/event_loop.h"

#include "ble/beacon.h"
#include "ble/chip.h"
#include "ble/task.h"
#include "daemon/bleipc.h"
#include "daemon/interpreter.h"
#include "daemon/reports.h"
#include "daemon/signals.h"
#include "daemon/trace.h"

#include <cstdio>
#include <unistd.h>

constexpr useconds_t POLL_INTERVAL = 100000; /* microseconds; a signal cuts it short */

void uevent_change()
{
	TRACE(TRACE_UEVENT, "Start...\n");

	ble_chip_init(CHIP_INIT_SOFT);
	TRACE(TRACE_QVLOG, "write_to_qvlog()\n");
	write_to_qvlog(); /* at every event, whether or not anything changed */
}

static void task_failed()
{
	fputs("WARNING: do_ble_task() failed!!\n", stderr);
	ble_config->opt.status = BLE_STATUS_UNCONFIRMED;
}

static void run_stop()
{
	if (do_ble_task(ACTION_STOP) != 0)
		task_failed();
	else
		ble_config->opt.status = BLE_STATUS_AVAILABLE;
	/* After the status: clients read without the lock. A failed stop ends here too. */
	store_release(&ble_config->opt.action, ACTION_NONE);
}

/* False when beacons are on the air: the beacon loop has sent the report itself. */
static bool run_start(int32_t action)
{
	/* The action stays pending: every later event starts the beacons again. */
	if (do_ble_task(action) != 0) {
		task_failed();
		return true;
	}
	if (count_activable_beacons() == 0) {
		ble_config->opt.status = BLE_STATUS_AVAILABLE;
		return true;
	}
	ble_config->opt.status = BLE_STATUS_ADVERTISING;
	return false;
}

/* Carry out the pending task: false when the round must not report. */
static bool run_pending_task()
{
	const auto action = static_cast<int32_t>(ble_config->opt.action);

	switch (action) {
	case ACTION_NONE:
		break;
	case ACTION_STOP:
		run_stop();
		break;
	case ACTION_START:
	case ACTION_RESTART:
		return run_start(action);
	case ACTION_TEST:
		ble_config->opt.status = BLE_STATUS_TESTING;
		break;
	default: /* a client may write anything */
		fprintf(stderr, "%s(%d) Unknown command\n", "run_daemon_task", __LINE__);
	}
	return true;
}

/* Handle the flags that signals set, the attach event first: true when one was set. */
static bool take_events()
{
	bool taken = false;

	/* Cleared before it is handled: a signal that comes meanwhile counts in the next round. */
	if (flag_uevent_change) {
		TRACE_AS("run_daemon_task", __LINE__, TRACE_FLOW, "flag_uevent_change=%d\n",
			 flag_uevent_change);
		flag_uevent_change = 0;
		uevent_change();
		taken = true;
	}
	if (flag_cmd_change) {
		TRACE_AS("run_daemon_task", __LINE__, TRACE_FLOW, "flag_cmd_change=%d\n",
			 flag_cmd_change);
		flag_cmd_change = 0;
		user_cmd_change();
		taken = true;
	}
	return taken;
}

void run_daemon_task()
{
	bool recheck = false; /* the controller was unusable when a task was last looked at */

	TRACE(TRACE_FLOW, "Start...\n");
	store_release(&ble_ipc.buf->cmd_doing, 0);
	TRACE(TRACE_REPORT, "ble_config->opt.status=%d\n",
	      static_cast<int>(ble_config->opt.status));
	info_forward_to_ac();

	while (!flag_daemon_quit) {
		bool report = take_events();

		if (report || recheck) {
			recheck = ble_config->opt.status < BLE_STATUS_AVAILABLE;
			if (!recheck && !run_pending_task())
				report = false;
		}
		if (report) {
			TRACE(TRACE_REPORT,
			      "ble_config->opt.status=%d, ble_ipc.buf->cmd_doing=%d\n",
			      static_cast<int>(ble_config->opt.status),
			      static_cast<int>(ble_ipc.buf->cmd_doing));
			info_forward_to_ac();
			/* Tells the client that its command is done. */
			store_release(&ble_ipc.buf->cmd_doing, 0);
		}
		usleep(POLL_INTERVAL);
	}
}
