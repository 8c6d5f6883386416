// SPDX-License-Identifier: Apache-2.0
#include "daemon/signals.h"

#include "daemon/trace.h"

#include <unistd.h>

volatile sig_atomic_t flag_daemon_quit = 0;
volatile sig_atomic_t flag_cmd_change = 0;
volatile sig_atomic_t flag_uevent_change = 0;
sigset_t ble_sig_set;

void sleep_undisturbed(useconds_t microseconds)
{
	sigprocmask(SIG_BLOCK, &ble_sig_set, nullptr);
	usleep(microseconds);
	sigprocmask(SIG_UNBLOCK, &ble_sig_set, nullptr);
}

/* The handlers trace and set their flag, nothing else: all work is done in the event loop. */

static void trace_signal(const char *function, int line, int signo)
{
	if (dbg_level & TRACE_FLOW)
		trace_in_handler("%s(%d) Received signo=%d, getpid()=%d\n", function, line, signo,
				 getpid());
}

void signal_daemon_quit(int signo)
{
	trace_signal(__func__, __LINE__, signo);
	flag_daemon_quit = 1;
}

void signal_usr1(int signo)
{
	trace_signal(__func__, __LINE__, signo);
	flag_cmd_change = 1;
}

void signal_usr2(int signo)
{
	trace_signal(__func__, __LINE__, signo);
	flag_uevent_change = 1;
}
