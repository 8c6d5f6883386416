// SPDX-License-Identifier: Apache-2.0
/* Describes what is on the air: beacons decoded from their payloads, tests with their channel. */
#pragma once

#include "sim/controller/controller.h"

namespace sim
{

struct beacon {
	std::string uuid = {}; /* 8-4-4-4-12, upper case */
	uint16_t major_number = 0;
	uint16_t minor_number = 0;
	int measured_power = 0; /* dBm at one metre */

	bool operator==(const beacon &) const = default;
};

/* The iBeacon in an advertisement's payload, or nothing. */
std::optional<beacon> decode_beacon(byte_view payload);

double interval_ms(uint16_t slots);
double channel_mhz(uint8_t channel);
const char *pattern_name(uint8_t pattern);

/* "100", "100.625": as short as possible */
std::string number_text(double value);

/* "uuid ... major 1 minor 2 power -54 dBm", or the payload's bytes */
std::string payload_text(byte_view payload);

/* One line for what is on the air, without line end. */
std::string air_text(const air_state &air);

} // namespace sim
