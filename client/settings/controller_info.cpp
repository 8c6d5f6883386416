// SPDX-License-Identifier: Apache-2.0
#include "client/settings/controller_info.h"

#include <cstring>

static const char *const kinds[] = { "unknown", "ti-06", "ti-08", "qualcomm" };
constexpr uint32_t KIND_QUALCOMM = 3;

static unsigned low_byte_first(const uint8_t *bytes)
{
	return static_cast<unsigned>(bytes[0] | bytes[1] << 8);
}

static const char *name_manufacturer(unsigned manufacturer)
{
	switch (manufacturer) {
	case 0x000D:
		return "Texas Instruments";
	case 0x001D:
		return "Qualcomm";
	}
	return "unknown";
}

bool read_controller(const ble_segment *segment, controller_info *info)
{
	const uint8_t *version = segment->info + INFO_VERSION;
	const uint8_t *revision = segment->info + INFO_REVISION;
	uint32_t kind;

	if (segment->config.opt.status < BLE_STATUS_AVAILABLE)
		return false;
	memcpy(&kind, segment->info + INFO_USED_CHIP, sizeof(kind));
	info->kind = kinds[kind <= KIND_QUALCOMM ? kind : 0];
	info->hci_version = version[7];
	info->hci_revision = low_byte_first(version + 8);
	info->manufacturer = low_byte_first(version + 11);
	info->manufacturer_name = name_manufacturer(info->manufacturer);
	info->has_build = kind != KIND_QUALCOMM && revision[0] == 0x04; /* it is an event */
	info->build_user = low_byte_first(revision + 8);
	info->build_system = low_byte_first(revision + 10);
	return true;
}
