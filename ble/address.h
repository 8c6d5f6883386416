// SPDX-License-Identifier: Apache-2.0
/* The controller's public device address: from a client, or from the manufacturing data. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t MRD_MAC_SIZE = 18;    /* "00:11:22:33:44:55" and its NUL */
constexpr int32_t MRD_BLE_ADDRESS = 5; /* the controller's address is the base plus this */

/*
 * Write the base address of "/proc/MRD" plus `add`, with colons, to `out`, which holds
 * MRD_MAC_SIZE: 0; or -1 after a message to stderr, with `out` unchanged.
 */
int32_t read_mrd_mac(int32_t add, char *out);

/*
 * Store an address of 12 characters, or for "by-mrd" the one of the manufacturing data, in
 * the settings and the five entries, and send it to the controller. 0; -1 for any other text;
 * else the controller's refusal after a message to stderr, with the new text still stored.
 */
int32_t write_ble_mac(const char *mac);
