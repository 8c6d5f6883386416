// SPDX-License-Identifier: Apache-2.0
/* Sets the controller's advertising interval in milliseconds. */
#pragma once

#include <cstdint>

/*
 * Set the interval in baseband slots of 0.625 ms: rounded down, not checked.
 * 0, or the result of the first controller operation that failed, after a message to stderr.
 */
int32_t set_tgap_disc_adv_int(uint16_t interval);
