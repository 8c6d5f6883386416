// SPDX-License-Identifier: Apache-2.0
/* The commands for files: apply and save. */
#include "client/cli/command.h"
#include "client/cli/output.h"
#include "client/commands/beacon_task.h"
#include "client/commands/perform.h"
#include "client/commands/timed_test.h"
#include "client/settings/apply.h"
#include "client/settings/fields.h"
#include "client/settings/limits.h"
#include "client/settings/started.h"
#include "client/settings/state.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

static plan the_plan; /* too large for the stack of a small device */

static exit_status refuse_plan(const char *path, const fault *wrong, exit_status status)
{
	complain("%s: %s; nothing was changed", path, wrong->text);
	return status;
}

static exit_status read_plan_file(const char *path)
{
	FILE *file = strcmp(path, "-") == 0 ? stdin : fopen(path, "re");

	if (!file) {
		complain("%s: %s", path, strerror(errno));
		return EXIT_USAGE;
	}
	const bool is_read = read_plan(file, &the_plan);
	if (file != stdin)
		fclose(file);
	if (is_read && the_plan.note.text[0])
		complain("%s: %s", path, the_plan.note.text);
	if (is_read)
		return EXIT_DONE;
	return refuse_plan(path, &the_plan.wrong, EXIT_USAGE);
}

static bool edit(ble_record *record, void *context)
{
	return edit_by_plan(record, static_cast<plan *>(context));
}

/* The steps that the plan needs, and no more. */
struct work {
	ble_record before;
	ble_segment after; /* the segment with the changed record */
	bool edits;
	bool ends_test;
	bool resets; /* the controller gets these settings only at its start-up */
	bool is_hard;
	bool acts; /* the plan's start, stop or restart must be sent */
};

static bool is_same(const ble_record *one, const ble_record *other)
{
	const size_t from = offsetof(ble_record, interval);

	return memcmp(one->interval, other->interval, sizeof(ble_record) - from) == 0;
}

static bool any_setting_differs(const ble_segment *segment, pid_t daemon)
{
	return setting_differs(segment, daemon, "interval") ||
	       setting_differs(segment, daemon, "mac") ||
	       setting_differs(segment, daemon, "power-index");
}

/* Beacons that are on the air with their settings stay: a start would interrupt them. */
static bool is_action_done(const ble_segment *after, pid_t daemon)
{
	const uint32_t status = after->config.opt.status;
	const uint32_t pending = after->config.opt.action;

	if (strcmp(the_plan.action, "start") == 0)
		return status == BLE_STATUS_ADVERTISING && started_is_known(after, daemon) &&
		       !anything_differs(after, daemon);
	return strcmp(the_plan.action, "stop") == 0 && status == BLE_STATUS_AVAILABLE &&
	       pending != ACTION_START && pending != ACTION_RESTART;
}

static void work_out(const ble_segment *segment, pid_t daemon, work *w)
{
	const uint32_t status = segment->config.opt.status;

	memcpy(static_cast<void *>(&w->after), segment, sizeof(w->after));
	memcpy(static_cast<void *>(&w->before), &w->after.config, sizeof(w->before));
	edit_by_plan(&w->after.config, &the_plan); /* it has been checked: no fault */
	w->edits = !is_same(&w->before, &w->after.config);
	w->resets = status >= BLE_STATUS_AVAILABLE &&
		    (started_is_known(segment, daemon) ? any_setting_differs(&w->after, daemon)
						       : needs_reset(&w->before, &w->after.config));
	w->is_hard = w->resets && needs_hard_reset(&w->after, daemon);
	w->acts = the_plan.action && (w->resets || !is_action_done(&w->after, daemon));
	w->ends_test = status == BLE_STATUS_TESTING && (w->resets || w->acts);
}

static bool is_nothing(const work *w)
{
	return !w->edits && !w->resets && !w->acts;
}

static void print_work(FILE *out, const work *w)
{
	print_differences(out, &w->before, &w->after.config);
	if (w->ends_test)
		fputs("then the production test that is running would be ended\n", out);
	if (w->resets)
		fprintf(out, "then the controller would be set up anew (%s reset)\n",
			w->is_hard ? "hard" : "soft");
	if (w->acts)
		fprintf(out, "then: %s\n", the_plan.action);
	if (is_nothing(w))
		fputs("nothing would change\n", out);
}

static uint32_t pending_action(const char *action)
{
	if (!action)
		return ACTION_NONE;
	return strcmp(action, "stop") == 0 ? ACTION_STOP : ACTION_START;
}

/*
 * One command does everything: a reset if the controller must get settings. The beacon task
 * waits in the record until the reset is done.
 */
static exit_status apply(session *s, const work *w)
{
	const char *const reset[] = { "config", "ble-reset", w->is_hard ? "hard" : "soft" };
	const char *const beacons[] = { "ibeacon", the_plan.action };
	const uint32_t status_before = s->segment->config.opt.status;
	task t = w->resets ? task_of(3, reset) : task_of(2, beacons);
	outcome end;

	t.shows_in_status = true;
	t.edit = edit;
	t.context = &the_plan;
	if (w->resets)
		t.pending_action = pending_action(the_plan.action);
	if (the_plan.action)
		t.settled = settled_by(the_plan.action);
	return judge_beacon_task(s, status_before, perform(s, &t, false, &end));
}

static exit_status run_work(session *s, const request *r, const work *w)
{
	if (is_nothing(w))
		return EXIT_DONE;
	if (!w->resets && !w->acts)
		return change_record(s, edit, &the_plan);
	const exit_status status = w->ends_test ? end_running_test(s) : EXIT_DONE;
	if (status != EXIT_DONE)
		return status;
	if (r->timeout == 0) /* also for a dwell of the new interval */
		s->deadline += dwells(&w->after.config);
	return apply(s, w);
}

/* Without a daemon: compares the file with the settings at a daemon's start. */
static void print_work_without_daemon(FILE *out)
{
	static ble_segment fresh;
	static work w;

	strcpy(fresh.config.interval, "100");
	strcpy(fresh.config.mac, "by-mrd");
	strcpy(fresh.config.measured_power, "202");
	strcpy(fresh.config.power_index, "max");
	for (size_t i = 0; i < BLE_BEACONS; i++)
		clear_entry(&fresh.config.beacon[i], static_cast<int>(i) + 1);
	work_out(&fresh, -1, &w);
	print_work(out, &w);
	print_undecided(out, &w.after.config);
	if (needs_reset(&w.before, &w.after.config))
		fputs("the controller decides: a reset before that\n", out);
}

enum apply_mode { APPLY, APPLY_CHECK, APPLY_DRY_RUN };

static exit_status run_plan(session *s, const request *r, apply_mode mode)
{
	static work w;
	const bool is_usable = s->segment->config.opt.status >= BLE_STATUS_AVAILABLE;

	work_out(s->segment, s->daemon, &w);
	if (!takes_settings(s->segment, &w.before, &w.after.config, &the_plan.wrong))
		return refuse_plan(r->argv[0], &the_plan.wrong, EXIT_REFUSED);
	if (mode == APPLY)
		return run_work(s, r, &w);
	print_work(text_output(), &w);
	if (!is_usable)
		print_undecided(text_output(), &w.after.config);
	return mode == APPLY_DRY_RUN || is_nothing(&w) ? EXIT_DONE : EXIT_REFUSED;
}

static exit_status open_and_run(const request *r, apply_mode mode)
{
	session s;
	exit_status status;

	if (mode == APPLY_DRY_RUN) {
		const session_state found = session_try(&s);
		if (found != SESSION_OPEN) {
			complain("%s; compared with what it begins with", session_reason(found));
			print_work_without_daemon(text_output());
			return EXIT_DONE;
		}
		status = EXIT_DONE;
	} else {
		status = open_for(&s, r, RESET_TIMEOUT);
	}
	if (status == EXIT_DONE)
		status = run_plan(&s, r, mode);
	session_close(&s);
	return status;
}

exit_status run_apply(request *r)
{
	const bool is_dry = take_flag(r, "--dry-run");
	const bool is_check = take_flag(r, "--check");

	if (r->argc != 1)
		return bad_usage("apply", "it takes one file, or - for what is typed or piped in");
	const exit_status status = read_plan_file(r->argv[0]);
	if (status != EXIT_DONE)
		return status;
	return open_and_run(r, is_check ? APPLY_CHECK : is_dry ? APPLY_DRY_RUN : APPLY);
}

exit_status run_save(request *r)
{
	session s;

	if (r->argc > 0)
		return bad_usage("save", "\"%.60s\" is too much: it writes to the standard output",
				 r->argv[0]);
	const exit_status status = session_open(&s, 0);
	if (status == EXIT_DONE)
		print_plan(text_output(), &s.segment->config);
	session_close(&s);
	return status;
}
