// SPDX-License-Identifier: Apache-2.0
/* The three event flags, the handlers that set them, and the signals held back during I/O. */
#pragma once

#include <csignal>

/* Set to 1 by the handlers; the event loop clears the last two. */
extern volatile sig_atomic_t flag_daemon_quit;   /* SIGINT, SIGTERM */
extern volatile sig_atomic_t flag_cmd_change;    /* SIGUSR1: a command waits */
extern volatile sig_atomic_t flag_uevent_change; /* SIGUSR2: a controller came or went */

/* SIGUSR1 and SIGUSR2: blocked while the serial reader waits for the controller. */
extern sigset_t ble_sig_set;

/* The handlers: trace `signo` and set the flag, nothing else. */
void signal_daemon_quit(int signo);
void signal_usr1(int signo);
void signal_usr2(int signo);
