// SPDX-License-Identifier: Apache-2.0
/* The default settings, and the text that a function of the client writes. */
#pragma once

#include "client/settings/fields.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

inline void fill_with_defaults(ble_record &record)
{
	strcpy(record.interval, "100");
	strcpy(record.mac, "NONE");
	strcpy(record.measured_power, "202");
	strcpy(record.power_index, "max");
	for (size_t i = 0; i < BLE_BEACONS; i++)
		clear_entry(&record.beacon[i], static_cast<int>(i) + 1);
}

/* What a function writes to a stream. */
inline std::string written(const std::function<void(FILE *)> &writer)
{
	char *text = nullptr;
	size_t size = 0;
	FILE *file = open_memstream(&text, &size);

	writer(file);
	fclose(file);
	const std::string result(text, size);
	free(text);
	return result;
}
