// SPDX-License-Identifier: Apache-2.0
/* One production test from its begin over its time to its end, which Ctrl-C brings early. */
#pragma once

#include "client/commands/perform.h"

struct timed_test {
	const char *word; /* "rx" or "tx" */
	task begin;
	int64_t length;  /* milliseconds */
	int64_t timeout; /* of the begin and of the end */
};

struct test_result {
	bool is_counted; /* else the count could not be read */
	unsigned packets;
};

/* From now on a signal that would end this process ends the running test first. */
void catch_interruptions();
/* The signal that came, or 0. */
int interruption();
/* End as the signal would have ended this process; returns if none came. */
void pass_interruption_on();

/* A pending start would end the test in the very round that begins it. */
exit_status stop_beacons_for_test(session *s);

/* EXIT_REFUSED with a complaint where one is running. */
exit_status expect_no_test(const session *s, const char *word);

/* End one that is running, and say so, before something that it would be in the way of. */
exit_status end_running_test(session *s);

/* Carry it out; a complaint unless it ran and ended, early or not. */
exit_status run_timed_test(session *s, const timed_test *test, test_result *result);
