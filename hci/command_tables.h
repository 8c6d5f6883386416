// SPDX-License-Identifier: Apache-2.0
/*
 * What each controller can do: one table per operation, one slot per controller; and the
 * slot and kind of the attached controller.
 */
#pragma once

#include <cstdint>
#include <type_traits>

/* HCI versions of the supported controllers; the position is the slot. */
extern const int32_t BLE_HCI_SUPPORT_VERSION[4]; /* 6, 8, 11, then 0 for the end */

extern int32_t hci_ver_index; /* the slot in use; -1: an unsupported manufacturer answered */
extern int32_t ble_used_chip; /* 0 unknown, 1 TI 06, 2 TI 08, 3 Qualcomm */

/*
 * Results of all entries: 0; -1 not sent, or no valid event; a positive HCI status. The
 * functions of each controller explain the arguments. An event buffer receives the whole
 * event; its size is in its name.
 */
extern int32_t (*const func_reset_system_cmd[4])(uint8_t type); /* 0 hard, 1 soft */
extern int32_t (*const func_read_local_version_information[4])(uint8_t *event15);
extern int32_t (*const func_read_bd_addr[4])(uint8_t *event13);
extern int32_t (*const func_le_set_advertising_parameters[4])(uint32_t baseband_slot_interval);
extern int32_t (*const func_le_read_advertising_channel_tx_power[4])(uint8_t *event8);
extern int32_t (*const func_set_advertising_data[4])(const uint8_t *data30);
extern int32_t (*const func_set_advertise_enable[4])(uint8_t enable);
extern int32_t (*const func_le_receiver_test[4])(uint8_t channel);
extern int32_t (*const func_le_transmitter_test[4])(uint8_t channel, uint8_t length, uint8_t data);
extern int32_t (*const func_le_test_end_command[4])(uint8_t *event9);
extern int32_t (*const func_ext_set_tx_power_cmd[4])(const char *power_index);
extern int32_t (*const func_set_bdaddr[4])(const char *address); /* twelve digits */
extern int32_t (*const func_ext_build_revision_cmd[4])(int32_t mode, uint16_t value,
						       uint8_t *event12);
extern int32_t (*const func_gap_device_init[4])();
extern int32_t (*const func_gap_set_param[4])(uint8_t id, uint16_t value);
extern int32_t (*const func_gap_get_param[4])(uint8_t id, uint8_t *event11);
extern int32_t (*const func_download_patch_file[4])();

/*
 * Call the attached controller's entry of a table. An empty slot means that the controller
 * has no such command: nothing to do, so success. An index outside the table (an unsupported
 * controller is attached) counts as an empty slot too.
 */
template <typename... P>
int32_t hci_call(int32_t (*const (&table)[4])(P...), std::type_identity_t<P>... args)
{
	if (hci_ver_index < 0 || hci_ver_index > 3 || !table[hci_ver_index])
		return 0;
	return table[hci_ver_index](args...);
}

/* TI controllers advertise in their discoverable state; returns 0 whatever they answer. */
int32_t _hci_func_set_advertise_enable_ti(uint8_t enable);
