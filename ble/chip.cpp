// SPDX-License-Identifier: Apache-2.0
#include "ble/chip.h"

#include "ble/address.h"
#include "ble/interval.h"
#include "daemon/bleipc.h"
#include "daemon/trace.h"
#include "hci/command_tables.h"
#include "hci/serial.h"
#include "hci/standard_commands.h"
#include "util/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

// clang-format off
enum : uint16_t { /* Bluetooth company identifiers */
	MANUFACTURER_TI       = 0x000D,
	MANUFACTURER_QUALCOMM = 0x001D,
};
// clang-format on

bool is_tty_exist()
{
	if (ble_fd < 1) {
		TRACE(TRACE_FLOW, "Device does not exist\n");
		return false;
	}
	TRACE(TRACE_FLOW, "Device exists\n");
	return true;
}

/* The controller kind of an HCI version. The only caller passes 6, 8 or 11. */
static int32_t chip_of_version(int32_t hci_version)
{
	switch (hci_version) {
	case 6:
		return 1;
	case 8:
	case 9:
		return 2;
	case 11:
		return 3;
	}
	TRACE_AS("is_ble_available", __LINE__, TRACE_WARNING, "WARNING: Unknown BLE chip\n");
	return 0;
}

/* Set slot and kind for the answer: opt.status 2 for a supported controller, else 1. */
static uint32_t choose_controller(int32_t manufacturer, int32_t hci_version)
{
	if (!(manufacturer == MANUFACTURER_TI && hci_version <= 11) &&
	    manufacturer != MANUFACTURER_QUALCOMM) {
		TRACE_AS("is_ble_available", __LINE__, TRACE_WARNING,
			 "WARNING: Unknown HCI version\n");
		hci_ver_index = -1;
		return BLE_STATUS_UNCONFIRMED;
	}
	for (int i = 0; i < 3; i++) {
		TRACE_AS("is_ble_available", __LINE__, TRACE_FLOW,
			 "hci_version=%d, BLE_HCI_SUPPORT_VERSION[i=%d]=%d\n", hci_version, i,
			 BLE_HCI_SUPPORT_VERSION[i]);
		if (hci_version == BLE_HCI_SUPPORT_VERSION[i]) {
			ble_used_chip = chip_of_version(hci_version);
			hci_ver_index = i;
			TRACE_AS("is_ble_available", __LINE__, TRACE_FLOW,
				 "BLE_STATUS_AVAILABLE\n");
			return BLE_STATUS_AVAILABLE;
		}
	}
	return BLE_STATUS_UNCONFIRMED; /* keeps the slot: it is not used with status 1 */
}

int32_t is_ble_available()
{
	int32_t hci_version = -1;
	int32_t manufacturer = 0;
	uint32_t retval = BLE_STATUS_UNCONFIRMED;
	uint8_t event[15] = {};

	TRACE(TRACE_FLOW, "Check if the device is present...\n");
	const bool tty_exist = is_tty_exist();
	if (tty_exist && _hci_func_read_local_version_information(event) == 0) {
		hci_version = event[7];
		manufacturer = event[11] | event[12] << 8;
		TRACE(TRACE_FLOW, "hci_version=%d\n", hci_version);
		retval = choose_controller(manufacturer, hci_version);
	}
	TRACE(TRACE_FLOW,
	      "tty_exist=%d, manufacturer_id=0x%x, hci_version=0x%x, hci_ver_index=%d, retval=%d\n",
	      tty_exist, static_cast<unsigned>(manufacturer), static_cast<unsigned>(hci_version),
	      hci_ver_index, static_cast<int>(retval));
	ble_config->opt.status = retval;
	return static_cast<int32_t>(retval);
}

void get_ble_all_status()
{
	TRACE(TRACE_FLOW, "func_read_local_version_information()\n");
	if (hci_call(func_read_local_version_information, ble_ipc.info + INFO_VERSION) != 0) {
		TRACE(TRACE_WARNING, "WARNING: func_read_local_version_information() failed.\n");
		return;
	}
	TRACE(TRACE_FLOW, "func_ext_build_revision_cmd()\n");
	if (hci_call(func_ext_build_revision_cmd, 1, 0, ble_ipc.info + INFO_REVISION) != 0) {
		TRACE(TRACE_WARNING, "WARNING: func_ext_build_revision_cmd() failed.\n");
		return;
	}
	const auto chip = static_cast<uint32_t>(ble_used_chip);
	memcpy(ble_ipc.info + INFO_USED_CHIP, &chip, sizeof(chip));
}

/* Patch and reset: 0, or the step that failed. */
static int32_t start_controller(int32_t action)
{
	int32_t result = hci_call(func_download_patch_file);
	if (result != 0) {
		fputs("WARNING: func_download_patch_file() failed.\n", stderr);
		return result;
	}
	result = hci_call(func_reset_system_cmd, action == CHIP_INIT_HARD ? 0 : 1);
	if (result != 0)
		fputs("WARNING: func_reset_system_cmd() failed.\n", stderr);
	return result;
}

/* Interval, transmit power and address from the settings: 0, or the step that failed. */
static int32_t apply_settings()
{
	char interval[sizeof(ble_config->interval) + 1];
	char power_index[sizeof(ble_config->power_index) + 1];
	char mac[sizeof(ble_config->mac) + 1];

	const int milliseconds =
		atoi(copy_field(interval, ble_config->interval, sizeof(ble_config->interval)));
	TRACE_AS("ble_chip_init", __LINE__, TRACE_FLOW, "Setting beacon interval for BLE: %d\n",
		 milliseconds);
	int32_t result = set_tgap_disc_adv_int(static_cast<uint16_t>(milliseconds));
	if (result != 0) {
		fputs("WARNING: set_tgap_disc_adv_int() failed.\n", stderr);
		return result;
	}

	copy_field(power_index, ble_config->power_index, sizeof(ble_config->power_index));
	TRACE_AS("ble_chip_init", __LINE__, TRACE_FLOW, "Setting power index for BLE: %s\n",
		 power_index);
	result = hci_call(func_ext_set_tx_power_cmd, power_index);
	if (result != 0) {
		fputs("WARNING: func_ext_set_tx_power_cmd() failed.\n", stderr);
		return result;
	}

	copy_field(mac, ble_config->mac, sizeof(ble_config->mac));
	if (strcmp(mac, "NONE") == 0)
		return 0; /* the controller keeps its own address */
	TRACE_AS("ble_chip_init", __LINE__, TRACE_FLOW, "Setting MAC addr for BLE: %s\n", mac);
	result = write_ble_mac(mac);
	if (result != 0)
		fputs("WARNING: hci_fun_set_bdaddr() failed.\n", stderr);
	return result;
}

int32_t ble_chip_init(int32_t action)
{
	TRACE(TRACE_FLOW, "action=%d\n", action);
	if (action != CHIP_INIT_HARD && action != CHIP_INIT_SOFT)
		return -1;
	TRACE(TRACE_FLOW, "ble_config->opt.status: %d\n", static_cast<int>(ble_config->opt.status));

	if (ble_config->opt.status != BLE_STATUS_NONE)
		tty_deinit(); /* always reopen the line */
	if (tty_init() != 0)
		return -1;
	TRACE(TRACE_FLOW, "Finished init_uart()\n");

	if (is_ble_available() < static_cast<int32_t>(BLE_STATUS_AVAILABLE)) {
		TRACE(TRACE_WARNING,
		      "WARNING: Successfully opened this BLE interface but could not confirm the chip details.\n");
		return -1;
	}
	get_ble_all_status();

	int32_t result = start_controller(action);
	if (result == 0)
		result = apply_settings();
	TRACE(TRACE_FLOW, "ble_config->opt.status: %d\n", static_cast<int>(ble_config->opt.status));
	return result;
}
