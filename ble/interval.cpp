// SPDX-License-Identifier: Apache-2.0
#include "ble/interval.h"

#include "daemon/trace.h"
#include "hci/command_tables.h"

#include <cstdio>

/* TI GAP parameters: minimum and maximum for limited, then for general discovery. */
static const uint8_t interval_params[] = { 6, 7, 8, 9 };

int32_t set_tgap_disc_adv_int(uint16_t interval)
{
	const auto slots = static_cast<uint32_t>(interval / 0.625);
	TRACE(TRACE_HCI, "interval=%d, baseband_slot_interval=%u\n", interval, slots);

	for (const uint8_t id : interval_params) {
		/* The 16 bits of a GAP parameter cut it above 40959 ms: kept on purpose. */
		const int32_t status =
			hci_call(func_gap_set_param, id, static_cast<uint16_t>(slots));
		if (status != 0) {
			fputs("WARNING: func_gap_set_param() failed.\n", stderr);
			return status;
		}
	}
	const int32_t status = hci_call(func_le_set_advertising_parameters, slots);
	if (status != 0)
		fputs("WARNING: func_le_set_advertising_parameters() failed.\n", stderr);
	return status;
}
