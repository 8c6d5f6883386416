// SPDX-License-Identifier: Apache-2.0
/* What vorlinctl writes: one-line complaints, and JSON that any parser takes. */
#pragma once

#include <cstdio>

/* "vorlinctl: ..." and a line end, to stderr; a printf format without one. */
void complain(const char *format, ...) __attribute__((format(printf, 1, 2)));

/*
 * A JSON string. Control characters and bytes above 0x7F are escaped, for the segment may
 * hold any bytes and JSON must be UTF-8.
 */
void json_string(FILE *out, const char *text);

/* `"name": "text"`, with the comma that a further member needs in front. */
void json_member(FILE *out, const char *name, const char *text);
