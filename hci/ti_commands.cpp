// SPDX-License-Identifier: Apache-2.0
#include "hci/ti_commands.h"

#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/exchange.h"
#include "util/text.h"

#include <cstring>

// clang-format off
/*                                             opcode  params  event  event2 */
constexpr hci_command SET_TX_POWER         = { 0xFC01,    1,     8     };
constexpr hci_command SET_BDADDR           = { 0xFC0C,    6,     8     };
constexpr hci_command BUILD_REVISION       = { 0xFC1B,    3,    12     };
constexpr hci_command RESET_SYSTEM         = { 0xFC1D,    1,     8     };
constexpr hci_command GAP_DEVICE_INIT      = { 0xFE00,   38,     9, 47 };
constexpr hci_command GAP_MAKE_DISC        = { 0xFE06,   10,     9,  6 };
constexpr hci_command GAP_UPDATE_ADV_DATA  = { 0xFE07,   32,     9,  7 };
constexpr hci_command GAP_END_DISC         = { 0xFE08,    0,     9,  6 };
constexpr hci_command GAP_SET_PARAM        = { 0xFE30,    3,     9     };
constexpr hci_command GAP_GET_PARAM        = { 0xFE31,    3,    11     };
// clang-format on

constexpr uint8_t RESET_SOFT = 1;
constexpr int32_t WRONG_MODE = 0x12; /* answer to end discoverable while not discoverable */

struct gap_device_init {
	uint8_t profile_role;
	uint8_t max_scan_responses;
	uint8_t identity_key[16];
	uint8_t signature_key[16];
	uint8_t sign_counter[4]; /* low byte first */
};
static_assert(sizeof(gap_device_init) == GAP_DEVICE_INIT.params);

struct gap_make_discoverable {
	uint8_t event_type;
	uint8_t initiator_address_type;
	uint8_t initiator_address[6];
	uint8_t channel_map;
	uint8_t filter_policy;
};
static_assert(sizeof(gap_make_discoverable) == GAP_MAKE_DISC.params);

/* Both generations' power command; traces under its caller's name. */
static int32_t set_tx_power(const char *function, int line, const char *power_index, int32_t max)
{
	TRACE_AS(function, line, TRACE_HCI, "Start...\n");
	TRACE_AS(function, line, TRACE_HCI, "power_index=%s\n", power_index);

	const int32_t level = strcmp(power_index, "max") == 0 ? max : is_decimal_text(power_index);
	if (level < 0 || level > max)
		return -1;

	const uint8_t params[SET_TX_POWER.params] = { static_cast<uint8_t>(level) };
	const int32_t status = hci_run(SET_TX_POWER, params);

	if (status > 0)
		TRACE_AS(function, line, TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_ext_set_tx_power_cmd_06(const char *power_index)
{
	return set_tx_power(__func__, __LINE__, power_index, 3);
}

int32_t _hci_func_ext_set_tx_power_cmd_08(const char *power_index)
{
	return set_tx_power(__func__, __LINE__, power_index, 12);
}

int32_t _hci_func_set_bdaddr_ti(const char *address)
{
	TRACE(TRACE_HCI, "Start...\n");
	if (address[0] == '\0') /* no manufacturing data: the address would be all zeros */
		return -1;

	uint8_t params[SET_BDADDR.params];
	hex_to_bytes(params, address, 12);
	reverse_addr_bytes(params);
	const int32_t status = hci_run(SET_BDADDR, params);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_ext_build_revision_cmd(int32_t mode, uint16_t value, uint8_t *event12)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "mode=%d, val=%d\n", mode, value);

	const uint8_t ask[BUILD_REVISION.params] = { 1, LE16(0) };
	const uint8_t set[BUILD_REVISION.params] = { 0, LE16(value) };
	const int32_t status = hci_run(BUILD_REVISION, mode != 0 ? ask : set, event12);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

/* Both generations' reset; traces under its caller's name. */
static int32_t reset_system(const char *function, int line, uint8_t type)
{
	const uint8_t params[RESET_SYSTEM.params] = { type };

	if (hci_send(RESET_SYSTEM, params) != 0)
		return -1;
	const int32_t status = hci_receive(RESET_SYSTEM, nullptr);
	if (status > 0)
		TRACE_AS(function, line, TRACE_HCI, "HCI error code = 0x%x\n", status);
	sleep_undisturbed(100000); /* the controller restarts, whatever it answered */
	return status;
}

int32_t _hci_func_ext_reset_system_cmd_ti_06(uint8_t type)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "type=%d\n", type);
	return reset_system(__func__, __LINE__, type);
}

int32_t _hci_func_ext_reset_system_cmd_ti_08(uint8_t type)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "type=%d\n", type);
	if (type == RESET_SOFT) { /* this generation has no soft reset */
		TRACE(TRACE_HCI, "skip soft reset command...\n");
		return 0;
	}
	return reset_system(__func__, __LINE__, type);
}

/* Go on after the first event's `status`: only status 0 is followed by a second event. */
static int32_t gap_finish(const char *function, int line, const hci_command &command,
			  int32_t status)
{
	if (status > 0)
		TRACE_AS(function, line, TRACE_HCI, "HCI event1 error code = 0x%x\n", status);
	if (status != 0)
		return status;

	uint8_t event[HCI_EVENT_MAX] = {};
	status = hci_receive_event(event, command.event2, 2);
	if (status > 0)
		TRACE_AS(function, line, TRACE_HCI, "HCI event2 error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_gap_device_init()
{
	TRACE(TRACE_HCI, "Start...\n");

	const gap_device_init params = {
		.profile_role = 1, /* broadcaster */
		.max_scan_responses = 5,
		.identity_key = {},
		.signature_key = {},
		.sign_counter = { 1 },
	};
	return gap_finish(__func__, __LINE__, GAP_DEVICE_INIT, hci_run(GAP_DEVICE_INIT, &params));
}

int32_t _hci_func_gap_make_discoverable()
{
	TRACE(TRACE_HCI, "Start...\n");

	const gap_make_discoverable params = {
		.event_type = 3, /* non-connectable undirected */
		.initiator_address_type = 0,
		.initiator_address = {},
		.channel_map = 7, /* all three */
		.filter_policy = 0,
	};
	return gap_finish(__func__, __LINE__, GAP_MAKE_DISC, hci_run(GAP_MAKE_DISC, &params));
}

int32_t _hci_func_gap_end_discoverable()
{
	TRACE(TRACE_HCI, "Start...\n");

	const int32_t status = hci_run(GAP_END_DISC, nullptr);

	if (status == WRONG_MODE) { /* was not discoverable before: done */
		TRACE(TRACE_HCI_RX, "HCI event1 error code = 0x%x\n", status);
		return 0;
	}
	return gap_finish(__func__, __LINE__, GAP_END_DISC, status);
}

int32_t _hci_func_gap_update_advertising_data(const uint8_t *data30)
{
	TRACE(TRACE_HCI, "Start...\n");

	uint8_t params[GAP_UPDATE_ADV_DATA.params] = { 1, 30 }; /* 1: not the scan response */
	memcpy(params + 2, data30, 30);
	return gap_finish(__func__, __LINE__, GAP_UPDATE_ADV_DATA,
			  hci_run(GAP_UPDATE_ADV_DATA, params));
}

int32_t _hci_func_gap_set_param(uint8_t id, uint16_t value)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "id=%d, val=%d\n", id, value);

	const uint8_t params[GAP_SET_PARAM.params] = { id, LE16(value) };
	const int32_t status = hci_run(GAP_SET_PARAM, params);

	if (status > 0)
		TRACE(TRACE_HCI_RX, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_gap_get_param(uint8_t id, uint8_t *event11)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "id=%d\n", id);

	/* Three bytes on purpose, though only the first one is used. */
	const uint8_t params[GAP_GET_PARAM.params] = { id };
	const int32_t status = hci_run(GAP_GET_PARAM, params, event11);

	if (status > 0)
		TRACE(TRACE_HCI_RX, "HCI error code = 0x%x\n", status);
	return status;
}
