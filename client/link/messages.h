// SPDX-License-Identifier: Apache-2.0
/* What the daemon says of a command: it writes results and warnings to its standard error. */
#pragma once

#include <cstdio>
#include <sys/types.h>

struct messages {
	pid_t daemon;
	FILE *file;      /* where the next message comes, or null: it cannot be read */
	bool is_no_file; /* they go to a pipe, a terminal, a device */
	bool appends;    /* the daemon writes at the end of the file, wherever that is by then */
	off_t from;      /* what stands before this was said before */
	off_t until;     /* what stands behind this is said to others */
	bool may_be_cut; /* there was no room for all that it said, or the file was cut meanwhile */
	char place[128]; /* where the daemon's standard error goes */
};

struct outcome {
	bool heard;       /* the messages could be read, every one of them */
	bool refused;     /* a warning or a failure was among the messages */
	int error_code;   /* the controller's, or -1 */
	char result[128]; /* the line with the result, or empty */
};

/* Note what the daemon has said so far. A file that is full is emptied, if that is allowed. */
void messages_begin(messages *m, pid_t daemon);

/* Note that what it says from now on is for others. */
void messages_stop(messages *m);

/*
 * Take what it has said between: results to `results` (null: nowhere), all else to stderr, and
 * what they amount to into `end`. `failure` is what the command's own failure is known by
 * (null: any warning), for an attach event or the start-up may have warned as well.
 */
void messages_take(messages *m, FILE *results, const char *failure, outcome *end);

/* Why the messages could not be heard: what to tell the user. */
const char *messages_reason(const messages *m);

/* Close what messages_begin has opened. */
void messages_end(messages *m);

/* One message's part of the outcome: true when it is a result. */
bool judge_message(const char *line, const char *failure, outcome *end);
