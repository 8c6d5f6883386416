// SPDX-License-Identifier: Apache-2.0
/* What the daemon is about, seen from outside: the files of /proc, and no command. */
#pragma once

#include <cstdint>
#include <sys/types.h>

// clang-format off
enum pursuit : uint8_t {
	PURSUIT_UNKNOWN,  /* the kernel does not tell */
	PURSUIT_PAUSE,    /* between two looks, or while a beacon has its turn: takes commands */
	PURSUIT_RUN,      /* on a processor */
	PURSUIT_EXCHANGE, /* waits for the controller's answer, five seconds at most */
	PURSUIT_EVENT,    /* waits for the rest of an event, for ever if it does not come */
	PURSUIT_LINE,     /* the controller does not let it write */
	PURSUIT_MESSAGES, /* nobody reads its messages */
	PURSUIT_LOCK,     /* a client keeps the lock */
	PURSUIT_STOPPED,  /* by a signal */
};
// clang-format on

struct glance {
	pursuit what;
	long long switches; /* how often it has gone to sleep: the same number, the same sleep */
};

glance glance_at(pid_t daemon);

/* Whether it may never come out of this by itself. */
bool may_last(pursuit what);

/* Whether it has not moved between two glances, and may never do so again. */
bool is_stuck(const glance *before, const glance *now);

/* Milliseconds: no event and no message takes so long, and who has not moved by then hangs. */
constexpr int64_t STUCK_AFTER = 3000;

/* Watch it for so long, or until it moves: whether it has not, and what it was about last. */
bool stays_stuck(pid_t daemon, int64_t time, pursuit *what);

/* What it waits for, for people: "the rest of an event from the controller". */
const char *pursuit_text(pursuit what);

/* The first of the daemon's serial lines that is there, or null. */
const char *find_line();

/*
 * Send the controller on the daemon's line Resets until it answers, or until they fill the longest
 * packet: one that lost bytes takes all else for the rest of a packet, and after an error of its
 * hardware it takes nothing but a Reset. False: the daemon has no line open.
 */
bool send_resets(pid_t daemon);
