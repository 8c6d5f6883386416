// SPDX-License-Identifier: Apache-2.0
/* Carries out one beacon task of opt.action, after its checks. */
#pragma once

#include <cstdint>

/*
 * Stop, start or restart the beacons, or (ACTION_TEST) only check. Ends a running production
 * test first. With two or more active entries a start returns only after a signal.
 * 0, or -1; a restart whose stop failed is -1 even when its start succeeded.
 */
int32_t do_ble_task(int32_t action);
