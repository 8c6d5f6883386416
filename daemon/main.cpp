// SPDX-License-Identifier: Apache-2.0
/* Start and stop of vorlind, the daemon that makes an access point transmit BLE beacons. */
#include "ble/chip.h"
#include "daemon/bleipc.h"
#include "daemon/event_loop.h"
#include "daemon/lifecycle.h"
#include "daemon/process.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/serial.h"

#include <cstdio>

static const char program[] = "vorlind";

int main()
{
	int flag_ipc_is_init = 0;
	int flag_tty_is_init = 0;

	open_closed_outputs();
	const int32_t other = is_daemon_exist(program);
	if (other == 1) {
		fprintf(stderr, "%s has exist\n", program);
	} else {
		fprintf(stderr, "Start %s daemon...\n", program);
		flag_ipc_is_init = ipc_init() == 0;
	}
	if (!flag_ipc_is_init || system_data_init() != 0) {
		TRACE(TRACE_IPC, "flag_tty_is_init=%d\n", flag_tty_is_init);
		TRACE(TRACE_IPC, "flag_ipc_is_init=%d\n", flag_ipc_is_init);
		if (flag_ipc_is_init)
			ipc_deinit();
		fprintf(stderr, "%s exits with errors (%d).\n", program, -1);
		return -1;
	}

	TRACE(TRACE_IPC, "ble_ipc.shm.id=%d\n", ble_ipc.shm.id);
	TRACE(TRACE_FLOW, "ble_data_init()\n");
	ble_data_init();
	TRACE(TRACE_FLOW, "ble_chip_init()\n");
	flag_tty_is_init = 1;
	ble_chip_init(CHIP_INIT_SOFT); /* without a controller the daemon serves all the same */
	TRACE(TRACE_IPC, "run_daemon_task()\n");
	run_daemon_task();

	TRACE(TRACE_FLOW, "flag_daemon_quit=%d\n", flag_daemon_quit);
	TRACE(TRACE_IPC, "flag_tty_is_init=%d\n", flag_tty_is_init);
	tty_deinit();
	TRACE(TRACE_IPC, "flag_ipc_is_init=%d\n", flag_ipc_is_init);
	ipc_deinit();
	TRACE(TRACE_FLOW, "%s is terminated normally.\n", program);
	return 0;
}
