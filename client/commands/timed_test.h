// SPDX-License-Identifier: Apache-2.0
/* One production test with a fixed time, which Ctrl-C ends early. */
#pragma once

#include "client/commands/perform.h"

struct timed_test {
	const char *word; /* "rx" or "tx" */
	task begin;
	int64_t length;  /* milliseconds */
	int64_t timeout; /* of the begin and of the end */
};

struct test_result {
	bool is_counted; /* false: the count could not be read */
	unsigned packets;
};

/* Catch the signals that would end this process: the running test is ended first. */
void catch_interruptions();
/* The signal that came, or 0. */
int interruption();
/* End this process as the caught signal would; returns if there was none. */
void pass_interruption_on();

/* Needed before a test: a pending start would end it in the same round. */
exit_status stop_beacons_for_test(session *s);

/* EXIT_REFUSED with a complaint if a test runs. */
exit_status expect_no_test(const session *s, const char *word);

/* End a running test, with a message, before a command that it would block. */
exit_status end_running_test(session *s);

/* Carry it out; complains unless it ran and ended, early or not. */
exit_status run_timed_test(session *s, const timed_test *test, test_result *result);
