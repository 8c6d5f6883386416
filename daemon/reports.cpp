// SPDX-License-Identifier: Apache-2.0
#include "daemon/reports.h"

#include "daemon/bleipc.h"
#include "daemon/trace.h"
#include "platform/device_libs.h"

#include <unistd.h>

void write_to_qvlog()
{
	const char *message = ble_config->opt.status != BLE_STATUS_NONE
				      ? "BLE device has been connected."
				      : "BLE device has been disconnected.";

	TRACE(TRACE_QVLOG, "%s\n", message);
	qvlog('C', 5, 'C', 0, 0, 0, 0, "", message);
}

int32_t info_forward_to_ac()
{
	TRACE(TRACE_REPORT, "Start...\n");

	const int fd = init_domain_socket();
	if (fd > 0) { /* no listener is no failure */
		send_wtp_state_chg(fd);
		close(fd);
	}
	return 0;
}
