// SPDX-License-Identifier: Apache-2.0
/*
 * The vendor commands of the TI network processors (OGF 0x3F). Results: 0; -1 not sent, or no
 * valid event; a positive HCI status. An event buffer receives the whole first event; its
 * size is in its name.
 */
#pragma once

#include <cstdint>

/* A level in decimal, or "max": 0 to 3 on generation 06, 0 to 12 on 08. Any other text: -1. */
int32_t _hci_func_ext_set_tx_power_cmd_06(const char *power_index);
int32_t _hci_func_ext_set_tx_power_cmd_08(const char *power_index);

/* Twelve hexadecimal digits, most significant pair first. */
int32_t _hci_func_set_bdaddr_ti(const char *address);

/*
 * Mode 0 sets the user revision to `value`; any other mode sends no value and reads: user
 * revision at 8-9, system revision at 10-11, low byte first.
 */
int32_t _hci_func_ext_build_revision_cmd(int32_t mode, uint16_t value, uint8_t *event12);

/* Type 0 hard, 1 soft; waits 100 ms after the answer. */
int32_t _hci_func_ext_reset_system_cmd_ti_06(uint8_t type);
int32_t _hci_func_ext_reset_system_cmd_ti_08(uint8_t type); /* soft: sends nothing */

/* Two events answer the GAP commands below; the second is read only if the first has status 0. */
int32_t _hci_func_gap_device_init();
int32_t _hci_func_gap_make_discoverable();
int32_t _hci_func_gap_end_discoverable(); /* not discoverable to begin with: success */
int32_t _hci_func_gap_update_advertising_data(const uint8_t *data30);

/* Not checked here: id and value. The get event has the value at 9-10, low byte first. */
int32_t _hci_func_gap_set_param(uint8_t id, uint16_t value);
int32_t _hci_func_gap_get_param(uint8_t id, uint8_t *event11);
