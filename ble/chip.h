// SPDX-License-Identifier: Apache-2.0
/* Finds the controller and brings it up; only writer of hci_ver_index and ble_used_chip. */
#pragma once

#include <cstdint>

// clang-format off
enum : int32_t {
	CHIP_INIT_HARD = 1,
	CHIP_INIT_SOFT = 2,
};
// clang-format on

/*
 * Reopen the line, identify the controller, patch and reset it, apply the settings. 0; -1 for an
 * unknown action (nothing is done), without a line (opt.status 0) or a supported controller (1);
 * else the result of the first step that failed, after its message (2).
 */
int32_t ble_chip_init(int32_t action);

bool is_tty_exist(); /* the line is open */

/* Identify the controller: stores and returns the new opt.status, 1 or 2. */
int32_t is_ble_available();

/* Write the controller's identity into the segment; a failure is only traced. */
void get_ble_all_status();
