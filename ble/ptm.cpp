// SPDX-License-Identifier: Apache-2.0
#include "ble/ptm.h"

#include "daemon/bleipc.h"
#include "daemon/trace.h"
#include "hci/command_tables.h"

#include <cstdio>

constexpr uint8_t CHANNEL_MAX = 39;
constexpr uint8_t LENGTH_MAX = 37;
constexpr uint8_t DATA_MAX = 7;

static int32_t receiver_test(uint8_t channel)
{
	const int32_t status = hci_call(func_le_receiver_test, channel);

	if (status != 0)
		fputs("WARNING: func_le_receiver_test() failed.\n", stderr);
	else
		ble_config->opt.status = BLE_STATUS_TESTING;
	return status;
}

static int32_t transmitter_test(uint8_t channel, uint8_t length, uint8_t data)
{
	const int32_t status = hci_call(func_le_transmitter_test, channel, length, data);

	if (status != 0)
		fputs("WARNING: func_le_transmitter_test() failed.\n", stderr);
	else
		ble_config->opt.status = BLE_STATUS_TESTING;
	return status;
}

static int32_t end_test()
{
	uint8_t event[9] = {};
	const int32_t status = hci_call(func_le_test_end_command, event);

	if (status != 0) {
		fputs("WARNING: func_le_test_end_command() failed.\n", stderr);
	} else {
		fprintf(stderr, "Num of packets: %d\n", event[7] | event[8] << 8);
		ble_config->opt.status = BLE_STATUS_AVAILABLE;
	}
	return status;
}

int32_t ble_ptm_test(int32_t action, uint8_t channel, uint8_t length, uint8_t data)
{
	int32_t result = -1;

	TRACE(TRACE_FLOW, "action=%d, channel=%u, length=%u, data=%u\n", action, channel, length,
	      data);
	if (channel <= CHANNEL_MAX && length <= LENGTH_MAX && data <= DATA_MAX) {
		if (action == PTM_ACTION_RECEIVER)
			result = receiver_test(channel);
		else if (action == PTM_ACTION_TRANSMITTER)
			result = transmitter_test(channel, length, data);
		else if (action == PTM_ACTION_END)
			result = end_test();
	}
	TRACE(TRACE_FLOW, "ble_config->opt.status=%d\n", static_cast<int>(ble_config->opt.status));
	return result;
}
