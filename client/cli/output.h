// SPDX-License-Identifier: Apache-2.0
/* The output of vorlinctl: complaints of one line, and valid JSON. */
#pragma once

#include "client/cli/exit_status.h"

#include <cstdio>

/* Print "vorlinctl: ..." and a line end to stderr; `format` has no line end. */
void complain(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* Switch to --json: the program then ends with an object on standard output. */
void json_mode();

/* The stream for lines for people: stdout, or into the object of json_end. */
FILE *text_output();

/* Begin the command's own object: json_end then adds none. */
void json_begin(FILE *out, const char *command);

/* Print the exit status and all complaints as an object, unless the command has begun its own. */
void json_end(const char *command, exit_status status);

/*
 * Print a JSON string. Escapes control characters and bytes above 0x7F: the segment may have
 * any bytes, and JSON must be UTF-8.
 */
void json_string(FILE *out, const char *text);

/* `"name": number`, null for -1. */
void json_number(FILE *out, const char *name, int number);

/* `"name": "text"`, with the comma before a further member. */
void json_member(FILE *out, const char *name, const char *text);
