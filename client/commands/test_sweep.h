// SPDX-License-Identifier: Apache-2.0
/* Receiver tests on several channels, as a table. */
#pragma once

#include "client/cli/command.h"
#include "client/commands/timed_test.h"

struct sweep_request {
	const char *channels; /* "0,12,19-21", or null */
	const char *path;     /* a file with a channel on each line, or null */
	int64_t length;       /* of each test in milliseconds; 0: the default */
	int min;              /* the least packets for channels without their own; -1: any */
	bool is_csv;
};

/* Whether enough packets were received; -1: any number is enough. */
bool has_passed(const test_result *result, int min);

exit_status run_sweep(request *r, const sweep_request *wanted);
