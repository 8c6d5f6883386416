// SPDX-License-Identifier: Apache-2.0
/* The beacons' payloads, and their rotation on the air. */
#pragma once

#include <cstdint>

/* The number of entries with `enable` exactly "1" and an identifier: 0 to 5. */
int32_t count_activable_beacons();

/* True when a signal has set one of the three flags. */
bool is_new_event();

/*
 * ACTION_STOP: advertising off. ACTION_START: put the entries' payloads on the air; two or more
 * active entries rotate until a signal comes, then advertising goes off. 0, or the result of
 * the first controller operation that failed.
 */
int32_t do_beacon_advertising(int32_t action);
