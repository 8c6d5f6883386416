// SPDX-License-Identifier: Apache-2.0
/* Why is nothing on the air? All that can be seen without a command, and what it amounts to. */
#pragma once

#include "client/cli/exit_status.h"
#include "client/link/advice.h"
#include "client/link/health.h"
#include "client/link/session.h"

struct check {
	exit_status status;
	char verdict[200];
	size_t count;
	char reasons[10][200];

	bool is_running;
	bool is_hidden; /* no permission to look */
	pid_t daemon;
	bool takes_commands;
	bool hangs;
	pursuit waits_for;
	const char *line; /* the first serial line that is there, or null */
	pid_t holder;     /* who has it open, or 0 */
	char holder_name[32];
	unsigned beacons; /* that are on */
	bool differs;     /* what is set from what was started */
	warnings said;
};

/* Look, for some seconds where the daemon is at work. `s` is open when a daemon runs. */
void check_all(check *c, session *s);
