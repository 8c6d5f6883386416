// SPDX-License-Identifier: Apache-2.0
/* The controller's advertising interval, set from milliseconds. */
#pragma once

#include <cstdint>

/*
 * Program `interval` milliseconds in baseband slots of 0.625 ms, cut, not rounded, and not
 * checked. 0; else the result of the first controller operation that failed, after a message
 * to stderr.
 */
int32_t set_tgap_disc_adv_int(uint16_t interval);
