// SPDX-License-Identifier: Apache-2.0
/* The controller found and brought up; the only writer of hci_ver_index and ble_used_chip. */
#pragma once

#include <cstdint>

// clang-format off
enum : int32_t {
	CHIP_INIT_HARD = 1,
	CHIP_INIT_SOFT = 2,
};
// clang-format on

/*
 * Open the line anew, identify the controller, then patch, reset and set it as the settings
 * say. 0; -1 for another action (nothing touched), no line (opt.status 0) or no supported
 * controller (1); else the first step that failed, after its message (2).
 */
int32_t ble_chip_init(int32_t action);

bool is_tty_exist(); /* the line is open */

/* Ask the controller who it is: the new opt.status, 1 or 2, which is stored as well. */
int32_t is_ble_available();

/* Publish who the controller is in the segment; what fails is only traced. */
void get_ble_all_status();
