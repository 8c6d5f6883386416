// SPDX-License-Identifier: Apache-2.0
/* The functions of the device's closed libraries that vorlind calls. */
#pragma once

extern "C" {

/*
 * Write one entry to the device's event log (libqvsh_log.so).
 * The daemon passes 'C', 5, 'C', 0, 0, 0, 0, "" and the message; only the library knows what
 * the numbers mean. The zeros are 64 bits wide: they suit an integer and a pointer parameter.
 * The result is not used.
 */
int qvlog(int, int, int, long, long, long, long, const char *, const char *message);

/* Connect to the process that talks to the access controller: a descriptor, or -1. */
int init_domain_socket(void);

/* Report through that descriptor that the state has changed. */
int send_wtp_state_chg(int fd);
}
