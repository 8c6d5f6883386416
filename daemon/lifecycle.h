// SPDX-License-Identifier: Apache-2.0
/* What main needs to start: the signal handlers and the default settings. */
#pragma once

#include <cstdint>

/*
 * Call before anything is opened: opens /dev/null for a closed standard output or standard error.
 * Otherwise the serial line would get that descriptor, and messages would go to the controller.
 */
void open_closed_outputs();

/* Install the handlers and fill ble_sig_set: 0, or -1 after messages to stderr. */
int32_t system_data_init();

/* Write the default settings, with the address of the manufacturing data; opt stays unchanged. */
void ble_data_init();
