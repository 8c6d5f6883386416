// SPDX-License-Identifier: Apache-2.0
/* The daemon's newest warnings, with a short form of vorlind(8)'s advice. */
#pragma once

#include <cstddef>
#include <sys/types.h>

constexpr size_t WARNINGS = 5;
constexpr size_t WARNING_SIZE = 128;

struct warnings {
	bool heard; /* false: the daemon's messages could not be read */
	size_t count;
	char text[WARNINGS][WARNING_SIZE]; /* the newest last, each once */
};

void read_warnings(warnings *w, pid_t daemon);

/* What to do about a warning; empty where its text says it. */
const char *advice_for(const char *warning);

/* Whether one of them begins with `text`. */
bool was_warned(const warnings *w, const char *text);
