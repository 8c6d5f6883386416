// SPDX-License-Identifier: Apache-2.0
/* What the device is told: its event log, and the access controller (AC) that manages it. */
#pragma once

#include <cstdint>

/* Log that the BLE controller is there (any status but 0) or gone. */
void write_to_qvlog();

/* Tell the AC that the state has changed, if it listens; returns 0 always. */
int32_t info_forward_to_ac();
