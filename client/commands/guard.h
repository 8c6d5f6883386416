// SPDX-License-Identifier: Apache-2.0
/* Keeps the beacons on the air without an operator: detects troubles and takes steps. */
#pragma once

#include "client/link/health.h"
#include "client/link/session.h"

/* What the guard may do. */
struct guard_options {
	bool restarts; /* the service manager restarts the daemon: a stuck one may be ended */
	int64_t probe; /* milliseconds between two probes of the controller; 0: none */
};

enum trouble : uint8_t {
	TROUBLE_NONE,
	TROUBLE_UNSEEN,  /* the daemon is busy: not known yet */
	TROUBLE_NO_LINE, /* there is no serial line: no step helps */
	TROUBLE_STATUS,  /* a start is pending, and no beacon is on the air */
	TROUBLE_STUCK,   /* the daemon does not move */
};

/* Kept from one check to the next. Times in milliseconds of the monotonic clock. */
struct guard_memory {
	pid_t daemon;
	glance last;
	int64_t moved;     /* when the daemon last made progress */
	int64_t available; /* when the status became 2, or 0 */
	int64_t next_step; /* no step before this time */
	int64_t pause;     /* after the next step */
	int64_t next_probe;
	int64_t turn_until; /* during a command the guard keeps the turn until then; else 0 */
	unsigned steps;     /* of this trouble */
	unsigned resets;    /* resets since the start of this daemon */
	bool was_asked;     /* the stuck daemon got SIGTERM */
	bool said_no_line;
	bool said_no_daemon;
};

/* Whether the guard's command still runs; if not, give the turn to others. */
bool guard_is_commanding(guard_memory *memory, session *s);
void guard_give_turn(guard_memory *memory, session *s);

/* Check an open session once, and remember the result. */
trouble guard_look(guard_memory *memory, const session *s);

/* Take the next step, if it is time for one. */
void guard_act(guard_memory *memory, session *s, trouble what, const guard_options *options);

/* The number of steps for this daemon, modulo 256. */
unsigned guard_steps(const ble_segment *segment);
