// SPDX-License-Identifier: Apache-2.0
#include "hci/standard_commands.h"

#include "daemon/trace.h"
#include "hci/exchange.h"
#include "util/text.h"

#include <cstring>

// clang-format off
/*                                              opcode  params  event */
constexpr hci_command RESET                 = { 0x0C03,    0,     7 };
constexpr hci_command READ_LOCAL_VERSION    = { 0x1001,    0,    15 };
constexpr hci_command READ_BD_ADDR          = { 0x1009,    0,    13 };
constexpr hci_command LE_SET_ADV_PARAMETERS = { 0x2006,   15,     7 };
constexpr hci_command LE_READ_ADV_TX_POWER  = { 0x2007,    0,     8 };
constexpr hci_command LE_SET_ADV_DATA       = { 0x2008,   32,     7 };
constexpr hci_command LE_SET_ADV_ENABLE     = { 0x200A,    1,     7 };
constexpr hci_command LE_RECEIVER_TEST      = { 0x201D,    1,     7 };
constexpr hci_command LE_TRANSMITTER_TEST   = { 0x201E,    3,     7 };
constexpr hci_command LE_TEST_END           = { 0x201F,    0,     9 };
// clang-format on

struct le_adv_parameters {
	uint8_t interval_min[2]; /* all fields: low byte first */
	uint8_t interval_max[2];
	uint8_t type;
	uint8_t own_address_type;
	uint8_t peer_address_type;
	uint8_t peer_address[6];
	uint8_t channel_map;
	uint8_t filter_policy;
};
static_assert(sizeof(le_adv_parameters) == LE_SET_ADV_PARAMETERS.params);

int32_t _hci_func_reset_system_cmd(uint8_t type)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "type=%d\n", type);

	const int32_t status = hci_run(RESET, nullptr);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_read_local_version_information(uint8_t *event15)
{
	TRACE(TRACE_HCI, "Start...\n");

	const int32_t status = hci_run(READ_LOCAL_VERSION, nullptr, event15);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_read_bd_addr(uint8_t *event13)
{
	TRACE(TRACE_HCI, "Start...\n");

	const int32_t status = hci_run(READ_BD_ADDR, nullptr, event13);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_le_set_advertising_parameters(uint32_t baseband_slot_interval)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "baseband_slot_interval=%u\n", baseband_slot_interval);

	le_adv_parameters params = {
		.interval_min = { LE16(baseband_slot_interval) },
		.interval_max = { LE16(baseband_slot_interval) },
		.type = 3, /* non-connectable undirected */
		.own_address_type = 0,
		.peer_address_type = 0,
		.peer_address = {},
		.channel_map = 7, /* all three */
		.filter_policy = 0,
	};
	hex_to_bytes(params.peer_address, "00:00:00:00:00:00", 12); /* a pair with ":" gives 0 */
	TRACE(TRACE_HCI, "baseband_slot_interval=%u\n", baseband_slot_interval);
	const int32_t status = hci_run(LE_SET_ADV_PARAMETERS, &params);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI event error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_le_read_advertising_channel_tx_power(uint8_t *event8)
{
	TRACE(TRACE_HCI, "Start...\n");

	const int32_t status = hci_run(LE_READ_ADV_TX_POWER, nullptr, event8);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_le_set_advertising_data(const uint8_t *data30)
{
	TRACE(TRACE_HCI, "Start...\n");

	uint8_t params[LE_SET_ADV_DATA.params] = { 30 };
	memcpy(params + 1, data30, 30); /* the 31st data byte stays 0 */
	const int32_t status = hci_run(LE_SET_ADV_DATA, params);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI event error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_le_set_advertise_enable(uint8_t enable)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "advertise_enable=%d\n", enable);

	const uint8_t params[LE_SET_ADV_ENABLE.params] = { enable };
	const int32_t status = hci_run(LE_SET_ADV_ENABLE, params);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI event error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_le_receiver_test(uint8_t channel)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "rx_channel=%d\n", channel);

	const uint8_t params[LE_RECEIVER_TEST.params] = { channel };
	const int32_t status = hci_run(LE_RECEIVER_TEST, params);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_le_transmitter_test(uint8_t channel, uint8_t length, uint8_t data)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "tx_channel=%d, test_data_length=%d, test_data=%d\n", channel, length,
	      data);

	const uint8_t params[LE_TRANSMITTER_TEST.params] = { channel, length, data };
	const int32_t status = hci_run(LE_TRANSMITTER_TEST, params);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_le_test_end_command(uint8_t *event9)
{
	TRACE(TRACE_HCI, "Start...\n");

	const int32_t status = hci_run(LE_TEST_END, nullptr, event9);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}
