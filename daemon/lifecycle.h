// SPDX-License-Identifier: Apache-2.0
/* What main needs to start: the signal handlers and the default settings. */
#pragma once

#include <cstdint>

/*
 * Before anything is opened: /dev/null becomes standard output and standard error where they are
 * closed. The serial line would get their descriptor, and the controller what is printed.
 */
void open_closed_outputs();

/* Install the handlers and fill ble_sig_set: 0, or -1 after messages to stderr. */
int32_t system_data_init();

/* Write the default settings, the address from the manufacturing data; opt is left alone. */
void ble_data_init();
