// SPDX-License-Identifier: Apache-2.0
/* The serial line to the controller: found, locked, raw, 115200 baud with RTS/CTS. */
#pragma once

#include <cstdint>
#include <termios.h>

extern int32_t ble_fd; /* the open line; -1 when closed */

/*
 * Open the first device that can be opened, lock and configure it: 0 with opt.status 1, or
 * -1 with opt.status 0 and the line closed.
 */
int32_t tty_init();

/* Both speeds of `tio` to 115200 baud, applied to `fd` at once: 0 or -1. */
int32_t tty_set_speed(int32_t fd, termios *tio);

/* Unlock and close the line if it is open; opt.status becomes 1. Returns 0 always. */
int32_t tty_deinit();
