// SPDX-License-Identifier: Apache-2.0
/* The standard's rules for advertisements, for standard and vendor commands. */
#pragma once

#include "sim/controller/controller.h"

namespace sim
{

// clang-format off
enum advertising_type : uint8_t {
	CONNECTABLE      = 0,
	DIRECTED_FAST    = 1, /* as often as possible, to one device */
	SCANNABLE        = 2,
	NON_CONNECTABLE  = 3,
	DIRECTED_SLOW    = 4,
};
// clang-format on

constexpr uint8_t LAST_ADVERTISING_TYPE = DIRECTED_SLOW;
constexpr uint8_t LONGEST_ADVERTISING_DATA = 31;
constexpr uint8_t ALL_ADVERTISING_CHANNELS = 0x07;
constexpr uint16_t FASTEST_SLOTS = 6; /* 3.75 ms, for fast directed advertising */
constexpr uint8_t LAST_OWN_ADDRESS_TYPE = 3;
constexpr uint8_t LAST_FILTER = 3;

/* Whether advertisements of this type may have this interval in slots of 0.625 ms. */
bool is_interval_allowed(const controller_settings &settings, uint8_t type, uint16_t slots);

/* Types 1 and 3: without a resolving list 3 is like 1, and 2 like 0. */
constexpr bool wants_random_address(uint8_t own_address_type)
{
	return own_address_type % 2 == 1;
}

constexpr bool is_scannable(uint8_t type)
{
	return type == CONNECTABLE || type == SCANNABLE;
}

} // namespace sim
