// SPDX-License-Identifier: Apache-2.0
/* The three event flags, the handlers that set them, and the signals blocked during I/O. */
#pragma once

#include <csignal>
#include <sys/types.h>

/* Set to 1 by the handlers; the event loop clears the last two. */
extern volatile sig_atomic_t flag_daemon_quit;   /* SIGINT, SIGTERM */
extern volatile sig_atomic_t flag_cmd_change;    /* SIGUSR1: a command waits */
extern volatile sig_atomic_t flag_uevent_change; /* SIGUSR2: a controller came or went */

/* SIGUSR1 and SIGUSR2: blocked while the daemon waits for the controller. */
extern sigset_t ble_sig_set;

/*
 * usleep for waits that the controller needs: a command or an attach event does not cut it short
 * but is handled right after it. SIGINT and SIGTERM still end it.
 */
void sleep_undisturbed(useconds_t microseconds);

/* The handlers: trace `signo` and set the flag, nothing else. */
void signal_daemon_quit(int signo);
void signal_usr1(int signo);
void signal_usr2(int signo);
