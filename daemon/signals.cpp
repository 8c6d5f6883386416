// SPDX-License-Identifier: Apache-2.0
#include "daemon/signals.h"

#include "daemon/trace.h"

#include <unistd.h>

volatile sig_atomic_t flag_daemon_quit = 0;
volatile sig_atomic_t flag_cmd_change = 0;
volatile sig_atomic_t flag_uevent_change = 0;
sigset_t ble_sig_set;

/* The handlers trace and set their flag, nothing else: all work is done in the event loop. */

void signal_daemon_quit(int signo)
{
	TRACE(TRACE_FLOW, "Received signo=%d, getpid()=%d\n", signo, getpid());
	flag_daemon_quit = 1;
}

void signal_usr1(int signo)
{
	TRACE(TRACE_FLOW, "Received signo=%d, getpid()=%d\n", signo, getpid());
	flag_cmd_change = 1;
}

void signal_usr2(int signo)
{
	TRACE(TRACE_FLOW, "Received signo=%d, getpid()=%d\n", signo, getpid());
	flag_uevent_change = 1;
}
