// SPDX-License-Identifier: Apache-2.0
/* Observes what the daemon does through /proc, without a command. */
#pragma once

#include <cstdint>
#include <sys/types.h>

// clang-format off
enum pursuit : uint8_t {
	PURSUIT_UNKNOWN,  /* not visible, or another system call */
	PURSUIT_PAUSE,    /* between two polls, or in a dwell: takes commands */
	PURSUIT_RUN,      /* on a processor */
	PURSUIT_EXCHANGE, /* waits for the controller's answer, at most five seconds */
	PURSUIT_EVENT,    /* waits for the rest of an event, without a limit */
	PURSUIT_LINE,     /* waits to write: the controller's flow control stops it */
	PURSUIT_MESSAGES, /* waits to write a message that is not read */
	PURSUIT_LOCK,     /* waits for the lock of a client */
	PURSUIT_STOPPED,  /* by a signal */
};
// clang-format on

struct glance {
	pursuit what;
	long long switches; /* how often it has slept: the same number means the same sleep */
};

glance glance_at(pid_t daemon);

/* Whether this may last for ever. */
bool may_last(pursuit what);

/* Whether it made no progress between two glances, in a wait that may last for ever. */
bool is_stuck(const glance *before, const glance *now);

/* Milliseconds: no event and no message takes so long, so a daemon without progress hangs. */
constexpr int64_t STUCK_AFTER = 3000;

/* Watch it for `time` or until it makes progress: true if it made none; sets its last pursuit. */
bool stays_stuck(pid_t daemon, int64_t time, pursuit *what);

/* What it waits for, as text: "the rest of an event from the controller". */
const char *pursuit_text(pursuit what);

/* The first of the daemon's serial lines that exists, or null. */
const char *find_line();

/*
 * Send Resets on the daemon's line until the controller answers, or until they fill the longest
 * packet. A controller that lost bytes takes all others as the rest of a packet; after a hardware
 * error it accepts only a Reset. False: the daemon has no line open.
 */
bool send_resets(pid_t daemon);
