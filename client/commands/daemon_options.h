// SPDX-License-Identifier: Apache-2.0
/* The daemon's "show" and "config" options, and their arguments. */
#pragma once

#include "client/cli/command.h"
#include "client/commands/perform.h"
#include "client/settings/edit.h"

struct argument_rule {
	const char *name;
	const char *limit;
	bool (*accepts)(const char *text);
};

struct daemon_option {
	const char *word;
	bool needs_controller;
	bool has_result;
	hci_code_kind codes;
	const char *failure; /* the daemon's message for it, or null */
	int64_t usual_timeout;
	const argument_rule *arguments[4]; /* ends with null */
};

extern const daemon_option show_options[];   /* ends with a null word */
extern const daemon_option config_options[]; /* likewise */

/* The option of that word, or null. */
const daemon_option *find_option(const daemon_option *options, const char *word);

/*
 * Make the task that sends the first word and the option in `argv`. False with a fault for
 * an unknown option and for arguments that the daemon would refuse.
 */
bool task_of_option(const char *first_word, const daemon_option *options, int argc,
		    const char *const *argv, task *t, fault *wrong);

/* "on", "off", category names with commas between them, or a hexadecimal number. */
bool read_trace_mask(const char *text, uint32_t *sum, fault *wrong);
