// SPDX-License-Identifier: Apache-2.0
/* Finds, locks and opens the serial line to the controller: raw, 115200 baud with RTS/CTS. */
#pragma once

#include <cstdint>
#include <termios.h>

extern int32_t ble_fd; /* the open line; -1 when closed */

/*
 * Open the first device that can be opened, lock and configure it: 0 with opt.status 1, or
 * -1 with opt.status 0 and the line closed.
 */
int32_t tty_init();

/* Set both speeds of `tio` to 115200 baud and apply them to `fd`: 0 or -1. */
int32_t tty_set_speed(int32_t fd, termios *tio);

/* Unlock and close the line if it is open; opt.status becomes 1. Always returns 0. */
int32_t tty_deinit();
