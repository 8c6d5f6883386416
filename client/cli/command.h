// SPDX-License-Identifier: Apache-2.0
/* The commands of vorlinctl: what the user asked for, and the table of what can be asked. */
#pragma once

#include "client/cli/exit_status.h"

#include <cstdint>

struct request {
	int argc; /* the command's arguments, without its name and the options for all */
	const char **argv;
	int plain; /* so many of them at the end stood behind "--": no option is among these */
	bool json;
	int64_t timeout; /* milliseconds; 0: as long as the command usually takes */
};

struct command {
	const char *name;
	const char *arguments;
	const char *summary;
	const char *details;
	exit_status (*run)(request *r);
};

extern const command commands[]; /* ends with a null name */

const command *find_command(const char *name); /* null: there is none */

/* What --help says, and what "help NAME" says. */
void print_help();
void print_command_help(const command *c);

/* A complaint that ends with where to read on: EXIT_USAGE. `name` begins with the command's. */
exit_status bad_usage(const char *name, const char *format, ...)
	__attribute__((format(printf, 2, 3)));

/* The same for a name that no command has. */
exit_status unknown_command(const char *name);

/* Take the option out of the arguments: whether it was there. */
bool take_flag(request *r, const char *option);
/* The same for one with a value (null if it is missing from the end): false if not there. */
bool take_option(request *r, const char *option, const char **value);

/* "15" -> 15000 milliseconds, up to a day; 0 for anything else. */
int64_t read_seconds(const char *text);

/* The object with the value of a line that the daemon answered. */
void print_result_json(const char *command, const char *result);

/* Carry out the command, its complaint included, and how vorlinctl then ends. */
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
