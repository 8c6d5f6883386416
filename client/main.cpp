// SPDX-License-Identifier: Apache-2.0
/* vorlinctl, the command-line client of vorlind. */
#include "client/cli/command.h"
#include "client/cli/output.h"

#include <cstdio>
#include <cstring>

static const char version[] = "0.3.0";

/* The parsed command line. */
struct invocation {
	request asked;
	const char *name;
	bool wants_help;
	bool wants_version;
	bool is_wrong; /* after a complaint */
};

static void set_timeout(invocation *i, const char *value)
{
	i->asked.timeout = value ? read_seconds(value) : 0;
	if (i->asked.timeout > 0)
		return;
	complain("--timeout takes whole seconds, 1 to 86400");
	i->is_wrong = true;
}

/* Take a common option at `n`: false if the argument is none. */
static bool take_common_option(invocation *i, int argc, char **argv, int *n)
{
	const char *argument = argv[*n];

	if (strcmp(argument, "--json") == 0) {
		i->asked.json = true;
		json_mode();
	} else if (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0) {
		i->wants_help = true;
	} else if (strcmp(argument, "--version") == 0) {
		i->wants_version = true;
	} else if (strcmp(argument, "--timeout") == 0) {
		set_timeout(i, ++*n < argc ? argv[*n] : nullptr);
	} else if (strncmp(argument, "--timeout=", 10) == 0) {
		set_timeout(i, argument + 10);
	} else {
		return false;
	}
	return true;
}

/* All arguments but the common options go to the command; after "raw" and "--" these do too. */
static void sort_arguments(invocation *i, int argc, char **argv)
{
	bool ends_options = false;

	for (int n = 1; n < argc; n++) {
		const bool is_raw = i->name && strcmp(i->name, "raw") == 0;
		if (!is_raw && !ends_options) {
			if (strcmp(argv[n], "--") == 0) {
				ends_options = true;
				continue;
			}
			if (take_common_option(i, argc, argv, &n))
				continue;
		}
		if (!i->name && (ends_options || argv[n][0] != '-')) {
			i->name = argv[n];
			continue;
		}
		i->asked.argv[i->asked.argc++] = argv[n];
		i->asked.plain += ends_options;
	}
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

	if (i->is_wrong)
		return EXIT_USAGE;
	if (i->wants_version) {
		fprintf(text_output(), "vorlinctl %s\n", version);
		return EXIT_DONE;
	}
	if (i->name && !c)
		return unknown_command(i->name);
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
	sort_arguments(&i, argc, argv);
	const exit_status status = run(&i);
	json_end(i.name ? i.name : "", status);
	if (fflush(stdout) != 0) {
		complain("the output could not be written");
		return status == EXIT_DONE ? EXIT_REFUSED : status;
	}
	return status;
}
