// SPDX-License-Identifier: Apache-2.0
/* The radio tests of the production line (production test mode). */
#pragma once

#include <cstdint>

// clang-format off
enum : int32_t {
	PTM_ACTION_RECEIVER    = 1,
	PTM_ACTION_TRANSMITTER = 2,
	PTM_ACTION_END         = 3,
};
// clang-format on

/*
 * Start a test (opt.status becomes 5), or end one (2) and print the number of received packets
 * to stderr. Channel 0 to 39; only for the transmitter: length 0 to 37 bytes, data pattern 0 to
 * 7. 0; -1 for a value out of range; else the controller's refusal, after a message to stderr
 * and with opt.status unchanged.
 */
int32_t ble_ptm_test(int32_t action, uint8_t channel, uint8_t length, uint8_t data);
