// SPDX-License-Identifier: Apache-2.0
/* The five beacon entries that the daemon writes at its start. */
#pragma once

#include "daemon/segment.h"

#include <gtest/gtest.h>
#include <string>

inline void expect_default_beacons(const ble_record &config)
{
	for (size_t i = 0; i < BLE_BEACONS; i++) {
		const beacon_entry &entry = config.beacon[i];
		EXPECT_EQ(std::string(entry.id), std::to_string(i + 1));
		EXPECT_STREQ(entry.enable, "0");
		EXPECT_STREQ(entry.option, "0");
		EXPECT_STREQ(entry.type, "ibeacon");
		EXPECT_STREQ(entry.interval, "100");
		EXPECT_STREQ(entry.mac, "NONE");
		EXPECT_STREQ(entry.prefix, "0201061AFF4C000215");
		EXPECT_STREQ(entry.uuid, "NONE");
		EXPECT_STREQ(entry.major, "0");
		EXPECT_STREQ(entry.minor, "0");
		EXPECT_STREQ(entry.measured_power, "202");
	}
}
