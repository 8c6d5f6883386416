// SPDX-License-Identifier: Apache-2.0
/* What vorlinctl writes: one-line complaints, and JSON that any parser takes. */
#pragma once

#include "client/cli/exit_status.h"

#include <cstdio>

/* "vorlinctl: ..." and a line end, to stderr; a printf format without one. */
void complain(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* From now on whatever is done ends with an object on the standard output. */
void json_mode();

/* Where a result goes that is lines for people: to stdout, or into the object of json_end. */
FILE *text_output();

/* Begin an object of the command's own: json_end then adds none. */
void json_begin(FILE *out, const char *command);

/* The object of a command that has begun none: how it ended, and all complaints. */
void json_end(const char *command, exit_status status);

/*
 * A JSON string. Control characters and bytes above 0x7F are escaped, for the segment may
 * hold any bytes and JSON must be UTF-8.
 */
void json_string(FILE *out, const char *text);

/* `"name": number` in the same way, null for -1. */
void json_number(FILE *out, const char *name, int number);

/* `"name": "text"`, with the comma that a further member needs in front. */
void json_member(FILE *out, const char *name, const char *text);
