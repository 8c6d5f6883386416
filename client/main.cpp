// SPDX-License-Identifier: Apache-2.0
/* vorlinctl, the command line that people and scripts drive vorlind with. */
#include "client/command.h"
#include "client/output.h"

#include <cstdio>
#include <cstring>

static const char version[] = "0.3.0";

/* What is to be done once the options are read. */
struct invocation {
	request asked;
	const char *name;
	bool wants_help;
	bool wants_version;
};

static exit_status set_timeout(invocation *i, const char *value)
{
	i->asked.timeout = value ? read_seconds(value) : 0;
	if (i->asked.timeout > 0)
		return EXIT_DONE;
	complain("--timeout takes whole seconds, 1 to 86400");
	return EXIT_USAGE;
}

/* Everything but the options for all goes to the command; behind "raw" all does. */
static exit_status sort_arguments(invocation *i, int argc, char **argv)
{
	exit_status status = EXIT_DONE;

	for (int n = 1; n < argc && status == EXIT_DONE; n++) {
		const char *argument = argv[n];
		if (i->name && strcmp(i->name, "raw") == 0) {
			i->asked.argv[i->asked.argc++] = argument;
			continue;
		}
		if (strcmp(argument, "--json") == 0)
			i->asked.json = true;
		else if (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0)
			i->wants_help = true;
		else if (strcmp(argument, "--version") == 0)
			i->wants_version = true;
		else if (strcmp(argument, "--timeout") == 0)
			status = set_timeout(i, ++n < argc ? argv[n] : nullptr);
		else if (strncmp(argument, "--timeout=", 10) == 0)
			status = set_timeout(i, argument + 10);
		else if (!i->name && argument[0] != '-')
			i->name = argument;
		else
			i->asked.argv[i->asked.argc++] = argument;
	}
	return status;
}

static exit_status help(const command *c)
{
	if (c)
		print_command_help(c);
	else
		print_help();
	return EXIT_DONE;
}

static exit_status run(invocation *i)
{
	const command *c = i->name ? find_command(i->name) : nullptr;

	if (i->wants_version) {
		printf("vorlinctl %s\n", version);
		return EXIT_DONE;
	}
	if (i->wants_help)
		return help(c);
	if (!i->name && i->asked.argc > 0) {
		complain("unknown option \"%.60s\" (vorlinctl --help)", i->asked.argv[0]);
		return EXIT_USAGE;
	}
	if (!i->name) {
		complain("what shall be done? (vorlinctl --help)");
		return EXIT_USAGE;
	}
	if (!c) {
		complain("there is no command \"%.60s\" (vorlinctl --help)", i->name);
		return EXIT_USAGE;
	}
	return c->run(&i->asked);
}

int main(int argc, char **argv)
{
	static const char *arguments[256];
	invocation i = {};

	i.asked.argv = arguments;
	if (argc > 256) {
		complain("too many arguments: up to 255");
		return EXIT_USAGE;
	}
	exit_status status = sort_arguments(&i, argc, argv);
	if (status == EXIT_DONE)
		status = run(&i);
	if (fflush(stdout) != 0) {
		complain("the output could not be written");
		return status == EXIT_DONE ? EXIT_REFUSED : status;
	}
	return status;
}
