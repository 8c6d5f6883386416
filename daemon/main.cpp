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
#include <cstring>

static const char program[] = "vorlind";
static const char version[] = "0.3.0";

/* Print the help or the version: true when the only argument asks for it. Others are ignored. */
static bool tell_about_itself(const char *argument)
{
	if (strcmp(argument, "--version") == 0 || strcmp(argument, "-V") == 0) {
		fprintf(stdout, "%s %s\n", program, version);
		return true;
	}
	if (strcmp(argument, "--help") != 0 && strcmp(argument, "-h") != 0)
		return false;
	fputs("Usage: vorlind\n"
	      "Make an access point transmit BLE beacons: find the serial line and the controller\n"
	      "behind it, and serve until SIGTERM. Stays in the foreground; vorlinctl drives it.\n"
	      "\n"
	      "  -h, --help     this text\n"
	      "  -V, --version  the version\n",
	      stdout);
	return true;
}

int main(int argc, char **argv)
{
	int flag_ipc_is_init = 0;
	int flag_tty_is_init = 0;

	open_closed_outputs();
	if (argc == 2 && tell_about_itself(argv[1]))
		return 0;

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
	ble_chip_init(CHIP_INIT_SOFT); /* the daemon also runs without a controller */
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
