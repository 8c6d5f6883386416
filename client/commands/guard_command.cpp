// SPDX-License-Identifier: Apache-2.0
/* vorlinctl guard: checks every two seconds until it is ended. */
#include "client/cli/command.h"
#include "client/cli/output.h"
#include "client/commands/guard.h"

#include <cstring>

constexpr int LOOK = 2000;       /* milliseconds */
constexpr int COMMAND_LOOK = 50; /* while others wait for their turn */

/* Keep the session of a living daemon; otherwise try to open a new one. */
static session_state attend(session *s, guard_memory *memory)
{
	if (s->segment && session_alive(s))
		return SESSION_OPEN;
	guard_give_turn(memory, s);
	session_close(s);
	const session_state found = session_try(s);
	if (found == SESSION_OPEN) {
		memory->said_no_daemon = false;
	} else if (!memory->said_no_daemon) {
		complain("guard: %s", session_reason(found));
		memory->said_no_daemon = true;
	}
	return found;
}

static void pause_between(guard_memory *memory, session *s)
{
	const int64_t end = now() + LOOK;

	while (guard_is_commanding(memory, s) && now() < end)
		pause_for(COMMAND_LOOK);
	if (now() < end)
		pause_for(static_cast<int>(end - now()));
}

static exit_status keep_guard(const guard_options *options)
{
	static guard_memory memory;
	session s = {};

	memory.next_probe = now() + options->probe;
	while (true) {
		const session_state found = attend(&s, &memory);
		if (found == SESSION_NOT_ALLOWED)
			return EXIT_NO_DAEMON;
		if (found == SESSION_OPEN)
			guard_act(&memory, &s, guard_look(&memory, &s), options);
		pause_between(&memory, &s);
	}
}

exit_status run_guard(request *r)
{
	guard_options options = { take_flag(r, "--restarts"), 0 };
	const char *minutes = nullptr;

	if (take_option(r, "--probe", &minutes)) {
		options.probe = minutes ? 60 * read_seconds(minutes) : 0;
		if (options.probe == 0)
			return bad_usage("guard", "--probe takes whole minutes, 1 to 86400");
	}
	if (r->argc > 0)
		return bad_usage("guard", "unknown argument \"%.60s\"", r->argv[0]);
	return keep_guard(&options);
}
