// SPDX-License-Identifier: Apache-2.0
/* The commands that read the segment or change its settings, without the daemon. */
#include "client/cli/command.h"
#include "client/cli/output.h"
#include "client/commands/perform.h"
#include "client/settings/edit.h"
#include "client/settings/limits.h"
#include "client/settings/state.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

constexpr int WATCH_PERIOD = 500;       /* milliseconds */
constexpr int IDENTITY_TIMEOUT = 11000; /* milliseconds: two exchanges without an answer */

static exit_status print_no_daemon(session_state found, bool json)
{
	if (!json) {
		complain("%s", session_reason(found));
		return EXIT_NO_DAEMON;
	}
	json_begin(stdout, "status");
	/* Without permission it is unknown whether one runs. */
	printf(", \"running\": %s", found == SESSION_NOT_ALLOWED ? "null" : "false");
	json_member(stdout, "reason", session_reason(found));
	fputs("}\n", stdout);
	return EXIT_NO_DAEMON;
}

struct status_view {
	bool json;
	bool with_payload;
	bool in_place; /* on a terminal: overwrite the last output */
};

static void print_view(const status_view *view, const state *now_state)
{
	if (view->in_place)
		fputs("\033[H\033[J", stdout);
	if (view->json)
		print_state_json(stdout, now_state);
	else
		print_state(stdout, now_state, view->with_payload);
	fflush(stdout);
}

/* Print the state after each change until `end` or the daemon's end. */
static exit_status watch(const session *s, const status_view *view, int64_t end)
{
	state shown;
	state next;

	take_state(&shown, s->segment, s->daemon);
	print_view(view, &shown);
	while (session_alive(s)) {
		if (end && now() >= end) {
			complain("timeout: watched for as long as --timeout says");
			return EXIT_TIMEOUT;
		}
		pause_for(WATCH_PERIOD);
		take_state(&next, s->segment, s->daemon);
		if (next.is_stuck == shown.is_stuck &&
		    memcmp(&next.segment, &shown.segment, sizeof(next.segment)) == 0)
			continue;
		memcpy(static_cast<void *>(&shown), &next, sizeof(next));
		print_view(view, &shown);
	}
	return print_no_daemon(SESSION_NO_DAEMON, view->json);
}

exit_status run_status(request *r)
{
	session s;
	state snapshot;
	exit_status status = EXIT_DONE;
	const bool watches = take_flag(r, "--watch");
	status_view view = { r->json, take_flag(r, "--payload"), false };

	if (r->argc > 0)
		return bad_usage("status", "unknown argument \"%.60s\"", r->argv[0]);
	const session_state found = session_try(&s);
	if (found != SESSION_OPEN)
		return print_no_daemon(found, r->json);
	if (watches) {
		view.in_place = !r->json && isatty(STDOUT_FILENO);
		status = watch(&s, &view, r->timeout ? now() + r->timeout : 0);
	} else {
		take_state(&snapshot, s.segment, s.daemon);
		print_view(&view, &snapshot);
	}
	session_close(&s);
	return status;
}

/* Any usable status counts as "available". */
static bool has_reached(uint32_t status, uint32_t wanted)
{
	return status == wanted || (wanted == BLE_STATUS_AVAILABLE && status > wanted);
}

/*
 * The status becomes usable shortly before the segment has the controller's identity; a
 * controller may also refuse to tell it.
 */
static bool is_identified(const session *s, uint32_t wanted)
{
	uint32_t kind;

	memcpy(&kind, s->segment->info + INFO_USED_CHIP, sizeof(kind));
	return wanted < BLE_STATUS_AVAILABLE || kind != 0;
}

/* True if the status is reached before `end` and while this daemon runs. */
static bool waits_for(const session *s, uint32_t wanted, int64_t end)
{
	int64_t patience = IDENTITY_TIMEOUT;
	bool is_reached;

	do {
		/* A daemon that may hang is not ready, whatever its status. */
		is_reached = has_reached(s->segment->config.opt.status, wanted) &&
			     !may_last(glance_at(s->daemon).what);
		if (is_reached && (is_identified(s, wanted) || patience <= 0))
			return true;
		if (is_reached)
			patience -= 20;
		pause_for(20);
	} while (session_alive(s) && now() < end);
	return is_reached;
}

exit_status run_wait(request *r)
{
	const int64_t end = now() + (r->timeout ? r->timeout : USUAL_TIMEOUT);
	uint32_t wanted = BLE_STATUS_AVAILABLE;
	const char *name = "available";
	session_state found;
	session s;

	if (take_option(r, "--status", &name) && !(name && find_status(name, &wanted)))
		return bad_usage("wait", "--status takes none, unconfirmed, available, "
					 "advertising or testing");
	if (r->argc > 0)
		return bad_usage("wait", "unknown argument \"%.60s\"", r->argv[0]);
	do {
		found = session_try(&s);
		const bool is_reached = found == SESSION_OPEN && waits_for(&s, wanted, end);
		session_close(&s);
		if (is_reached)
			return EXIT_DONE;
		pause_for(20);
	} while (now() < end && found != SESSION_NOT_ALLOWED);
	if (found == SESSION_OPEN) {
		complain("timeout: the status is not %s", name);
		return EXIT_TIMEOUT;
	}
	complain("%s", session_reason(found));
	return EXIT_NO_DAEMON;
}

struct edit_arguments {
	int argc;
	const char *argv[64];
	fault wrong;
};

static bool edit(ble_record *record, void *context)
{
	auto *arguments = static_cast<edit_arguments *>(context);

	return edit_record(record, arguments->argc, arguments->argv, &arguments->wrong, nullptr);
}

static void print_one_json(const session *s, const char *command, size_t i)
{
	state snapshot;

	take_state(&snapshot, s->segment, s->daemon);
	print_beacon_json(stdout, command, &snapshot, i);
}

/* Print the beacon: its UUID may be a random one. */
static void tell_beacon(const session *s, const char *number, bool json)
{
	const ble_record *record = &s->segment->config;
	fault wrong;
	const int i = beacon_index(number, &wrong);

	if (i >= 0 && json)
		print_one_json(s, "beacon", static_cast<size_t>(i));
	else if (i >= 0)
		print_beacon_line(stdout, record, static_cast<size_t>(i));
	if (record->opt.status == BLE_STATUS_ADVERTISING)
		complain("what is on the air changes with restart");
}

/* Refuse values that the controller would refuse at its next start-up. */
static exit_status check_limits(const session *s, edit_arguments *arguments)
{
	ble_record after;
	fault wrong;

	memcpy(static_cast<void *>(&after), &s->segment->config, sizeof(after));
	if (!edit(&after, arguments) ||
	    takes_settings(s->segment, &s->segment->config, &after, &wrong))
		return EXIT_DONE;
	complain("set: %s", wrong.text);
	return EXIT_REFUSED;
}

/* Check with a temporary record first: that reports faults without a daemon too. */
static exit_status run_edit(const request *r, const char *name)
{
	static ble_record scratch;
	edit_arguments arguments = {};
	session s;

	if (r->argc > 63)
		return bad_usage(name, "too many arguments");
	arguments.argv[arguments.argc++] = name;
	for (int i = 0; i < r->argc; i++)
		arguments.argv[arguments.argc++] = r->argv[i];
	if (!edit(&scratch, &arguments))
		return bad_usage(name, "%s", arguments.wrong.text);
	exit_status status = open_for(&s, r, USUAL_TIMEOUT);
	if (status == EXIT_DONE)
		status = check_limits(&s, &arguments);
	if (status == EXIT_DONE)
		status = change_record(&s, edit, &arguments);
	if (status == EXIT_DONE && strcmp(name, "beacon") == 0)
		tell_beacon(&s, r->argv[0], r->json);
	session_close(&s);
	return status;
}

exit_status run_set(request *r)
{
	return run_edit(r, "set");
}

static exit_status show_beacon(const request *r)
{
	session s;
	fault wrong;
	const int i = beacon_index(r->argc == 2 ? r->argv[1] : nullptr, &wrong);

	if (i < 0)
		return bad_usage("beacon", "show: %s", wrong.text);
	const exit_status status = session_open(&s, 0);
	if (status == EXIT_DONE) {
		if (r->json)
			print_one_json(&s, "beacon show", static_cast<size_t>(i));
		else
			print_beacon(stdout, &s.segment->config, static_cast<size_t>(i));
	}
	session_close(&s);
	return status;
}

static exit_status list_beacons(request *r)
{
	const bool with_payload = take_flag(r, "--payload");
	session s;

	if (r->argc > 1)
		return bad_usage("beacon", "list: unknown argument \"%.60s\"", r->argv[1]);
	const exit_status status = session_open(&s, 0);
	if (status == EXIT_DONE) {
		state snapshot;
		take_state(&snapshot, s.segment, s.daemon);
		if (r->json)
			print_beacons_json(stdout, &snapshot);
		else
			print_beacons(stdout, &snapshot, with_payload);
	}
	session_close(&s);
	return status;
}

exit_status run_beacon(request *r)
{
	if (r->argc > 0 && strcmp(r->argv[0], "list") == 0)
		return list_beacons(r);
	if (r->argc > 0 && strcmp(r->argv[0], "show") == 0)
		return show_beacon(r);
	return run_edit(r, "beacon");
}
