// SPDX-License-Identifier: Apache-2.0
#include "ble/task.h"

#include "ble/beacon.h"
#include "ble/ptm.h"
#include "daemon/bleipc.h"
#include "daemon/signals.h"
#include "daemon/trace.h"

#include <cstdio>

/* End a running production test: 0, or -1 without a serial line. */
static int32_t check_controller()
{
	if (ble_config->opt.status == BLE_STATUS_NONE) {
		TRACE_AS("do_ble_task", __LINE__, TRACE_WARNING, "WARNING: can't find BLE chip\n");
		return -1;
	}
	if (ble_config->opt.status == BLE_STATUS_TESTING) {
		TRACE_AS(
			"do_ble_task", __LINE__, TRACE_WARNING,
			"WARNING: can't change BLE behavior in PTM mode, we will end the PTM test\n");
		ble_ptm_test(PTM_ACTION_END, 0, 0, 0);
		/* 0 on purpose, not the test's 2: the event loop sets the status again. */
		ble_config->opt.status = BLE_STATUS_NONE;
	}
	return 0;
}

static int32_t stop_beacons()
{
	if (do_beacon_advertising(ACTION_STOP) != 0) {
		fputs("WARNING: do_beacon_advertising(ACTION_STOP) failed!!\n", stderr);
		return -1;
	}
	TRACE_AS("do_ble_task", __LINE__, TRACE_FLOW,
		 "do_beacon_advertising(ACTION_STOP) succeed.\n");
	return 0;
}

static int32_t start_beacons()
{
	if (do_beacon_advertising(ACTION_START) != 0) {
		fputs("WARNING: do_beacon_advertising(ACTION_START) failed!!\n", stderr);
		return -1;
	}
	TRACE_AS("do_ble_task", __LINE__, TRACE_FLOW,
		 "do_beacon_advertising(ACTION_START) succeed.\n");
	return 0;
}

int32_t do_ble_task(int32_t action)
{
	TRACE(TRACE_FLOW, "action=%d\n", action);

	if (action < ACTION_STOP || action > ACTION_TEST) {
		TRACE(TRACE_WARNING, "WARNING: invalid action: %d, \n", action);
		return -1;
	}
	if (check_controller() != 0)
		return -1;
	if (action == ACTION_STOP || count_activable_beacons() == 0)
		ble_config->opt.action = ACTION_STOP; /* stored: nothing shall be on the air */

	int32_t result = 0;
	if (action == ACTION_STOP || action == ACTION_RESTART)
		result = stop_beacons(); /* a restart still starts after a failed stop */
	if (action == ACTION_RESTART)
		sleep_undisturbed(100000);
	if (action == ACTION_START || action == ACTION_RESTART) {
		if (start_beacons() != 0)
			return -1;
	}
	return result;
}
