// SPDX-License-Identifier: Apache-2.0
/* Keeps the beacons on the air without a person: what is wrong, and the steps against it. */
#pragma once

#include "client/link/health.h"
#include "client/link/session.h"

/* What the service manager and the user allow. */
struct guard_options {
	bool restarts; /* whoever starts the daemon starts it again: a stuck one may be ended */
	int64_t probe; /* milliseconds between two questions to the controller; 0: none */
};

enum trouble : uint8_t {
	TROUBLE_NONE,
	TROUBLE_UNSEEN,  /* the daemon is at work: it cannot be told yet */
	TROUBLE_NO_LINE, /* no serial line is there: nothing that a step could change */
	TROUBLE_STATUS,  /* a start is pending, and no beacon is on the air */
	TROUBLE_STUCK,   /* the daemon does not move */
};

/* What is known from one look to the next. Times in milliseconds of the monotonic clock. */
struct guard_memory {
	pid_t daemon;
	glance last;
	int64_t moved;     /* when the daemon was last seen to move */
	int64_t available; /* since when the status is 2, or 0 */
	int64_t next_step; /* none is taken before */
	int64_t pause;     /* after the next step */
	int64_t next_probe;
	int64_t turn_until; /* a command is under way: the turn is the guard's until then, or 0 */
	unsigned steps;     /* of this trouble */
	unsigned resets;    /* among them, since the start of this daemon */
	bool was_asked;     /* the stuck daemon was sent SIGTERM */
	bool said_no_line;
	bool said_no_daemon;
};

/* Give the turn to others when the guard's command is through: whether it still is under way. */
bool guard_is_commanding(guard_memory *memory, session *s);
void guard_give_turn(guard_memory *memory, session *s);

/* Look once at an open session, and note what was seen. */
trouble guard_look(guard_memory *memory, const session *s);

/* Take the step that is due, if one is. */
void guard_act(guard_memory *memory, session *s, trouble what, const guard_options *options);

/* How many steps were taken for this daemon, modulo 256. */
unsigned guard_steps(const ble_segment *segment);
