// SPDX-License-Identifier: Apache-2.0
/* The receiver test of one channel after the other, as a table. */
#pragma once

#include "client/cli/command.h"
#include "client/commands/timed_test.h"

struct sweep_request {
	const char *channels; /* "0,12,19-21", or null */
	const char *path;     /* of a file with a channel a line, or null */
	int64_t length;       /* of each test in milliseconds; 0: as usual */
	int min;              /* packets for channels that have none of their own; -1: any */
	bool is_csv;
};

/* Whether enough packets came; -1 is any number. */
bool has_passed(const test_result *result, int min);

exit_status run_sweep(request *r, const sweep_request *wanted);
