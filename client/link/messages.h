// SPDX-License-Identifier: Apache-2.0
/* Reads the daemon's messages for a command: it writes results and warnings to standard error. */
#pragma once

#include <cstdio>
#include <sys/types.h>

struct messages {
	pid_t daemon;
	FILE *file;      /* the file of the messages, or null if it cannot be read */
	bool is_no_file; /* they go to a pipe, a terminal, a device */
	bool appends;    /* the daemon always writes at the end of the file */
	off_t from;      /* earlier messages end here */
	off_t until;     /* messages for other clients begin here */
	bool may_be_cut; /* messages may be lost: the file was full, or was cut meanwhile */
	char place[128]; /* the name of the daemon's standard error */
};

struct outcome {
	bool heard;       /* all messages could be read */
	bool refused;     /* a warning or a failure was among the messages */
	int error_code;   /* of the controller, or -1 */
	char result[128]; /* the line with the result, or empty */
};

/* Remember the end of the earlier messages. Empties a full file if that is allowed. */
void messages_begin(messages *m, pid_t daemon);

/* Remember that later messages are for other clients. */
void messages_stop(messages *m);

/*
 * Read the messages between the two: results go to `results` (null: nowhere), others to stderr,
 * and the outcome to `end`. `failure` is the message of the command's own failure (null: any
 * warning): an attach event or the start-up may have printed warnings too.
 */
void messages_take(messages *m, FILE *results, const char *failure, outcome *end);

/* Why the messages could not be read, as text for the user. */
const char *messages_reason(const messages *m);

/* Close the file of messages_begin. */
void messages_end(messages *m);

/* Add one message to the outcome: true when it is a result. */
bool judge_message(const char *line, const char *failure, outcome *end);
