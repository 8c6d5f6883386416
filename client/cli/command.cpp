// SPDX-License-Identifier: Apache-2.0
#include "client/cli/command.h"

#include "client/cli/output.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// clang-format off
const command commands[] = {
	{ "beacon", "N [--uuid U] [--major M] [--minor M] [--power P] [--prefix HEX] [on|off]",
	  "set a beacon, 1 to 5",
	  "  U       32 hexadecimal digits with or without hyphens, random, or NONE\n"
	  "  M       0 to 65535\n"
	  "  P       dBm at one metre (-128 to -1), the byte itself (0 to 255), or NONE: as set\n"
	  "  HEX     18 hexadecimal digits that begin the payload, or default\n"
	  "The form name=value is taken, too. What is on the air changes with start or restart.\n"
	  "  beacon list [--payload]   all five, with --payload their 30 bytes\n"
	  "  beacon show N             one payload explained byte by byte\n"
	  "  beacon clear N|all        as they are when vorlind starts\n",
	  run_beacon },
	{ "start", "", "put the beacons that are on onto the air",
	  "Two or more take turns, each for as long as the setting interval says.\n", run_start },
	{ "stop", "", "take them off the air", "", run_stop },
	{ "restart", "", "stop and start", "", run_restart },
	{ "status", "[--payload] [--watch]", "what vorlind, the controller and the beacons do",
	  "  --payload   with the 30 bytes of each beacon\n"
	  "  --watch     show it again whenever it changes, until Ctrl-C\n", run_status },
	{ "set", "NAME VALUE ...", "change a setting of vorlind",
	  "  interval      100 to 10240 milliseconds that each beacon stays on the air\n"
	  "  power         measured power for beacons that have NONE\n"
	  "  power-index   the controller's transmit power, 0 to 12 or max\n"
	  "  mac           the controller's address, 12 hexadecimal digits, or NONE: its own\n"
	  "The controller is told of interval, power-index and mac with the next reset.\n", run_set },
	{ "show", "version|mac|txpower|gap-param ID", "read from the controller",
	  "gap-param is there for TI controllers; ID is 0 to 103.\n", run_show },
	{ "config", "OPTION ARGUMENT...", "tell the controller something now",
	  "  interval MS                                100 to 10240 milliseconds\n"
	  "  mac ADDRESS                                12 hexadecimal digits, or by-mrd\n"
	  "  txpower-index INDEX                        0 to 12, or max\n"
	  "  gap-param ID VALUE                         0 to 103, 0 to 65534\n"
	  "  le-receiver-test CHANNEL                   as test rx\n"
	  "  le-transmitter-test CHANNEL LENGTH PATTERN as test tx\n"
	  "  le-test-end                                as test end\n"
	  "  ble-reset hard|soft                        as reset\n"
	  "  debug-level MASK                           as trace, hexadecimal\n", run_config },
	{ "test", "rx CHANNEL | tx CHANNEL LENGTH PATTERN | end | sweep [FILE]", "production tests",
	  "  CHANNEL   0 to 39; LENGTH 0 to 37 bytes; PATTERN 0 to 7\n"
	  "  --seconds S    end it after so many seconds, or with Ctrl-C, and tell its packets\n"
	  "  --min N        the exit status is 7 if fewer came\n"
	  "  sweep          rx on one channel after the other: a table\n"
	  "  --channels L   which ones, as 0,12,19 or 0-39\n"
	  "  FILE           the same as a file: a channel a line, and behind it its own N, if any\n"
	  "  --csv          the table as comma separated values\n"
	  "Beacons are stopped for a test. The end of one tells how many packets came.\n", run_test },
	{ "reset", "hard|soft", "set the controller up anew",
	  "Takes as long as the controller takes to load its patch, if it needs one.\n", run_reset },
	{ "trace", "on|off|NAME,...", "what vorlind traces to the console",
	  "Names: hci-tx hci-rx hci ipc uevent log report flow warning; or a mask as 0x30.\n",
	  run_trace },
	{ "apply", "[--check | --dry-run] FILE", "beacons and settings from a file, in one step",
	  "Lines as they are typed: beacon ..., set ..., and as the last one start, stop or restart.\n"
	  "A # begins a comment. A fault in any line changes nothing. FILE may be - .\n"
	  "What is so already is left alone; beacons that are on the air as they are set stay there.\n"
	  "  --check     only tell what would change; the exit status is 4 if something would\n"
	  "  --dry-run   the same, but 0, and without vorlind, too\n", run_apply },
	{ "save", "", "the same as such a file, to the standard output", "", run_save },
	{ "wait", "[--status NAME]", "until the controller's status is NAME",
	  "  NAME   available (the default: any usable), advertising, testing, unconfirmed, none\n"
	  "Waits for vorlind itself, too.\n", run_wait },
	{ "metrics", "", "the state in figures, for a monitoring system",
	  "OpenMetrics text. No command is sent: ask as often as you like.\n", run_metrics },
	{ "check", "", "is all as it was set, and if not, why",
	  "One line with the verdict, then the reasons and what vorlind has warned of last.\n"
	  "The exit status is 0 if all is as it was set, 4 if not, 2, 3 as always, and 5 when\n"
	  "vorlind hangs. No command is sent.\n", run_check },
	{ "guard", "[--restarts] [--probe MINUTES]", "keep the beacons on the air, without a person",
	  "Looks every two seconds; where a start is pending and no beacon is on the air it resets\n"
	  "the controller, with pauses from 5 seconds to 5 minutes. Runs until it is ended.\n"
	  "  --restarts        vorlind is started again when it ends: one that hangs may be ended\n"
	  "  --probe MINUTES   ask the controller something so often, for faults that do not show\n",
	  run_guard },
	{ "raw", "WORD...", "send the words as they are", "", run_raw },
	{ "help", "[COMMAND]", "how a command is used", "", run_help },
	{},
};

static const struct {
	exit_status status;
	const char *meaning;
} exit_meanings[] = {
	{ EXIT_DONE,          "done" },
	{ EXIT_USAGE,         "bad usage; nothing was sent" },
	{ EXIT_NO_DAEMON,     "no daemon, or no permission to talk to it" },
	{ EXIT_NO_CONTROLLER, "no usable controller" },
	{ EXIT_REFUSED,       "the daemon or the controller refused" },
	{ EXIT_TIMEOUT,       "timeout, or busy" },
	{ EXIT_UNKNOWN,       "done, outcome unknown: vorlind's messages cannot be read" },
	{ EXIT_FAILED,        "a production test counted fewer packets than --min" },
};
// clang-format on

const command *find_command(const char *name)
{
	for (const command *c = commands; c->name; c++)
		if (strcmp(c->name, name) == 0)
			return c;
	return nullptr;
}

void print_help()
{
	FILE *out = text_output();

	fputs("Usage: vorlinctl [OPTION]... COMMAND [ARGUMENT]...\n"
	      "Drive vorlind, the daemon that makes an access point transmit BLE beacons.\n"
	      "\n"
	      "A beacon on the air in two commands:\n"
	      "  vorlinctl beacon 1 --uuid random --major 1 --minor 2 on\n"
	      "  vorlinctl start\n"
	      "\n"
	      "Commands (vorlinctl help COMMAND tells more):\n",
	      out);
	for (const command *c = commands; c->name; c++)
		fprintf(out, "  %-9s %s\n", c->name, c->summary);
	fputs("\n"
	      "Options:\n"
	      "  --timeout S   seconds to wait at most; otherwise 15, for reset and apply 60\n"
	      "  --json        an object for programs on the standard output, failures included\n"
	      "  --help        this text, or behind a command its own\n"
	      "  --version     the version\n"
	      "  --            no option comes behind it\n"
	      "\n"
	      "Exit status:\n",
	      out);
	for (const auto &row : exit_meanings)
		fprintf(out, "  %d  %s\n", row.status, row.meaning);
}

void print_command_help(const command *c)
{
	FILE *out = text_output();

	fprintf(out, "Usage: vorlinctl %s%s%s\n%c%s.\n", c->name, c->arguments[0] ? " " : "",
		c->arguments, c->summary[0] - 'a' + 'A', c->summary + 1);
	if (c->details[0])
		fprintf(out, "\n%s", c->details);
}

exit_status bad_usage(const char *name, const char *format, ...)
{
	char text[512];
	va_list arguments;

	va_start(arguments, format);
	vsnprintf(text, sizeof(text), format, arguments);
	va_end(arguments);
	complain("%s: %s (vorlinctl help %.*s)", name, text, static_cast<int>(strcspn(name, " ")),
		 name);
	return EXIT_USAGE;
}

exit_status unknown_command(const char *name)
{
	complain("there is no command \"%.60s\" (vorlinctl --help)", name);
	return EXIT_USAGE;
}

static void remove_arguments(request *r, int from, int count)
{
	for (int i = from; i + count < r->argc; i++)
		r->argv[i] = r->argv[i + count];
	r->argc -= count;
}

bool take_flag(request *r, const char *option)
{
	for (int i = 0; i < r->argc - r->plain; i++) {
		if (strcmp(r->argv[i], option) == 0) {
			remove_arguments(r, i, 1);
			return true;
		}
	}
	return false;
}

bool take_option(request *r, const char *option, const char **value)
{
	const size_t length = strlen(option);

	for (int i = 0; i < r->argc - r->plain; i++) {
		if (strncmp(r->argv[i], option, length) != 0)
			continue;
		if (r->argv[i][length] == '=') {
			*value = r->argv[i] + length + 1;
			remove_arguments(r, i, 1);
			return true;
		}
		if (r->argv[i][length] == '\0') {
			const int taken = i + 1 < r->argc - r->plain ? 2 : 1;
			*value = taken == 2 ? r->argv[i + 1] : nullptr;
			remove_arguments(r, i, taken);
			return true;
		}
	}
	return false;
}

int64_t read_seconds(const char *text)
{
	char *end;
	const long seconds = strtol(text, &end, 10);

	return end == text || *end || seconds < 1 || seconds > 86400 ? 0
								     : int64_t{ seconds } * 1000;
}

exit_status run_help(request *r)
{
	if (r->argc == 0) {
		print_help();
		return EXIT_DONE;
	}
	const command *c = find_command(r->argv[0]);
	if (!c)
		return unknown_command(r->argv[0]);
	print_command_help(c);
	return EXIT_DONE;
}
