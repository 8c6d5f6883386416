// SPDX-License-Identifier: Apache-2.0
/* Why nothing is on the air: collects all that is visible without a command, and judges it. */
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
	const char *line; /* the first serial line that exists, or null */
	pid_t holder;     /* the process that has it open, or 0 */
	char holder_name[32];
	unsigned beacons; /* that are on */
	bool differs;     /* the settings differ from those at the start */
	warnings said;
};

/* Takes some seconds if the daemon is busy. `s` is open when a daemon runs. */
void check_all(check *c, session *s);
