// SPDX-License-Identifier: Apache-2.0
/* Reports to the device's event log, and to the access controller (AC) that manages the device. */
#pragma once

#include <cstdint>

/* Log that the BLE controller is present (any status but 0) or gone. */
void write_to_qvlog();

/* Report to the AC that the state has changed, if it listens; always returns 0. */
int32_t info_forward_to_ac();
