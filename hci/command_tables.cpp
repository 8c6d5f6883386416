// SPDX-License-Identifier: Apache-2.0
/* Slots: TI 06, TI 08, Qualcomm, none. */
#include "hci/command_tables.h"

#include "hci/qualcomm_commands.h"
#include "hci/standard_commands.h"
#include "hci/ti_commands.h"

const int32_t BLE_HCI_SUPPORT_VERSION[4] = { 6, 8, 11, 0 };

int32_t hci_ver_index = 0;
int32_t ble_used_chip = 0;

int32_t _hci_func_set_advertise_enable_ti(uint8_t enable)
{
	if (enable)
		_hci_func_gap_make_discoverable();
	else
		_hci_func_gap_end_discoverable();
	return 0; /* on purpose: a failure to switch is not reported to the caller */
}

decltype(func_reset_system_cmd) func_reset_system_cmd = {
	_hci_func_ext_reset_system_cmd_ti_06,
	_hci_func_ext_reset_system_cmd_ti_08,
	_hci_func_reset_system_cmd,
	nullptr,
};

decltype(func_read_local_version_information) func_read_local_version_information = {
	_hci_func_read_local_version_information,
	_hci_func_read_local_version_information,
	_hci_func_read_local_version_information,
	nullptr,
};

decltype(func_read_bd_addr) func_read_bd_addr = {
	_hci_func_read_bd_addr,
	_hci_func_read_bd_addr,
	_hci_func_read_bd_addr,
	nullptr,
};

decltype(func_le_set_advertising_parameters) func_le_set_advertising_parameters = {
	nullptr,
	nullptr,
	_hci_func_le_set_advertising_parameters,
	nullptr,
};

decltype(func_le_read_advertising_channel_tx_power) func_le_read_advertising_channel_tx_power = {
	_hci_func_le_read_advertising_channel_tx_power,
	_hci_func_le_read_advertising_channel_tx_power,
	_hci_func_le_read_advertising_channel_tx_power,
	nullptr,
};

decltype(func_set_advertising_data) func_set_advertising_data = {
	_hci_func_gap_update_advertising_data,
	_hci_func_gap_update_advertising_data,
	_hci_func_le_set_advertising_data,
	nullptr,
};

decltype(func_set_advertise_enable) func_set_advertise_enable = {
	_hci_func_set_advertise_enable_ti,
	_hci_func_set_advertise_enable_ti,
	_hci_func_le_set_advertise_enable,
	nullptr,
};

decltype(func_le_receiver_test) func_le_receiver_test = {
	_hci_func_le_receiver_test,
	_hci_func_le_receiver_test,
	_hci_func_le_receiver_test,
	nullptr,
};

decltype(func_le_transmitter_test) func_le_transmitter_test = {
	_hci_func_le_transmitter_test,
	_hci_func_le_transmitter_test,
	_hci_func_le_transmitter_test,
	nullptr,
};

decltype(func_le_test_end_command) func_le_test_end_command = {
	_hci_func_le_test_end_command,
	_hci_func_le_test_end_command,
	_hci_func_le_test_end_command,
	nullptr,
};

decltype(func_ext_set_tx_power_cmd) func_ext_set_tx_power_cmd = {
	_hci_func_ext_set_tx_power_cmd_06,
	_hci_func_ext_set_tx_power_cmd_08,
	nullptr,
	nullptr,
};

decltype(func_set_bdaddr) func_set_bdaddr = {
	_hci_func_set_bdaddr_ti,
	_hci_func_set_bdaddr_ti,
	_hci_func_set_bdaddr_qualcomm,
	nullptr,
};

decltype(func_ext_build_revision_cmd) func_ext_build_revision_cmd = {
	_hci_func_ext_build_revision_cmd,
	_hci_func_ext_build_revision_cmd,
	nullptr,
	nullptr,
};

decltype(func_gap_device_init) func_gap_device_init = {
	_hci_func_gap_device_init,
	_hci_func_gap_device_init,
	nullptr,
	nullptr,
};

decltype(func_gap_set_param) func_gap_set_param = {
	_hci_func_gap_set_param,
	_hci_func_gap_set_param,
	nullptr,
	nullptr,
};

decltype(func_gap_get_param) func_gap_get_param = {
	_hci_func_gap_get_param,
	_hci_func_gap_get_param,
	nullptr,
	nullptr,
};

decltype(func_download_patch_file) func_download_patch_file = {
	nullptr,
	nullptr,
	_hci_func_download_patch_file_qualcomm,
	nullptr,
};
