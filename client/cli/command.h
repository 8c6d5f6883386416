// SPDX-License-Identifier: Apache-2.0
/* The commands of vorlinctl: the user's request, and the table of all commands. */
#pragma once

#include "client/cli/exit_status.h"

#include <cstdint>

struct request {
	int argc; /* the command's arguments, without its name and the common options */
	const char **argv;
	int plain; /* this many at the end came after "--": none of them is an option */
	bool json;
	int64_t timeout; /* milliseconds; 0: the command's default */
};

struct command {
	const char *name;
	const char *arguments;
	const char *summary;
	const char *details;
	exit_status (*run)(request *r);
};

extern const command commands[]; /* ends with a null name */

const command *find_command(const char *name); /* or null */

/* The texts of --help and of "help NAME". */
void print_help();
void print_command_help(const command *c);

/* Complain, with a hint where to read on: EXIT_USAGE. `name` begins with the command's. */
exit_status bad_usage(const char *name, const char *format, ...)
	__attribute__((format(printf, 2, 3)));

/* The same for an unknown command. */
exit_status unknown_command(const char *name);

/* Remove the option from the arguments; false if it was not there. */
bool take_flag(request *r, const char *option);
/* The same for an option with a value; null if the value is missing at the end. */
bool take_option(request *r, const char *option, const char **value);

/* "15" -> 15000 milliseconds, up to a day; 0 for anything else. */
int64_t read_seconds(const char *text);

/* Print the object with the value of the daemon's result line. */
void print_result_json(const char *command, const char *result);

/* Carry out the command with its complaints; returns the exit status. */
exit_status run_status(request *r);
exit_status run_wait(request *r);
exit_status run_beacon(request *r);
exit_status run_set(request *r);
exit_status run_start(request *r);
exit_status run_stop(request *r);
exit_status run_restart(request *r);
exit_status run_test(request *r);
exit_status run_show(request *r);
exit_status run_config(request *r);
exit_status run_reset(request *r);
exit_status run_trace(request *r);
exit_status run_check(request *r);
exit_status run_guard(request *r);
exit_status run_raw(request *r);
exit_status run_apply(request *r);
exit_status run_save(request *r);
exit_status run_metrics(request *r);
exit_status run_help(request *r);
