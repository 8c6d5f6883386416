// SPDX-License-Identifier: Apache-2.0
/* The controller's identity, from the segment's information area. */
#pragma once

#include "daemon/segment.h"

struct controller_info {
	const char *kind; /* "ti-06", "ti-08", "qualcomm" or "unknown" */
	unsigned hci_version;
	unsigned hci_revision;
	unsigned manufacturer;
	const char *manufacturer_name;
	bool has_build;
	unsigned build_user;
	unsigned build_system;
};

/* False while no controller is usable: the area then describes an earlier one. */
bool read_controller(const ble_segment *segment, controller_info *info);
