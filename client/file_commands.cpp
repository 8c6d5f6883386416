// SPDX-License-Identifier: Apache-2.0
/* The commands that deal in files: apply and save. */
#include "client/apply.h"
#include "client/beacon_task.h"
#include "client/command.h"
#include "client/limits.h"
#include "client/output.h"
#include "client/perform.h"
#include "client/state.h"

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

struct records {
	ble_record before;
	ble_record after;
};

static void work_out(const session *s, records *r)
{
	memcpy(static_cast<void *>(&r->before), &s->segment->config, sizeof(r->before));
	memcpy(static_cast<void *>(&r->after), &r->before, sizeof(r->after));
	edit_by_plan(&r->after, &the_plan); /* no fault in it: it has been checked */
}

static exit_status dry_run(const session *s)
{
	FILE *out = text_output();
	records r;

	work_out(s, &r);
	if (print_differences(out, &r.before, &r.after) == 0)
		fputs("nothing would change\n", out);
	if (needs_reset(&r.before, &r.after))
		fputs("then the controller would be set up anew (soft reset)\n", out);
	if (the_plan.action)
		fprintf(out, "then: %s\n", the_plan.action);
	return EXIT_DONE;
}

static uint32_t pending_action(const char *action)
{
	if (!action)
		return ACTION_NONE;
	return strcmp(action, "stop") == 0 ? ACTION_STOP : ACTION_START;
}

/*
 * One command does it all: for settings that the controller must be told it is the reset, and
 * the beacon task waits in the record until that is through.
 */
static exit_status apply(session *s, bool resets)
{
	const char *const reset[] = { "config", "ble-reset", "soft" };
	const char *const beacons[] = { "ibeacon", the_plan.action };
	const uint32_t status_before = s->segment->config.opt.status;
	task t = resets ? task_of(3, reset) : task_of(2, beacons);
	outcome end;

	t.shows_in_status = true;
	t.edit = edit;
	t.context = &the_plan;
	if (resets)
		t.pending_action = pending_action(the_plan.action);
	if (the_plan.action)
		t.settled = settled_by(the_plan.action);
	return judge_beacon_task(s, status_before, perform(s, &t, false, &end));
}

static exit_status run_plan(session *s, const char *path)
{
	const bool is_usable = s->segment->config.opt.status >= BLE_STATUS_AVAILABLE;
	records r;

	work_out(s, &r);
	if (!takes_settings(s->segment, &r.before, &r.after, &the_plan.wrong))
		return refuse_plan(path, &the_plan.wrong, EXIT_REFUSED);
	if (needs_reset(&r.before, &r.after) && is_usable)
		return apply(s, true);
	if (the_plan.action)
		return apply(s, false);
	return change_record(s, edit, &the_plan);
}

exit_status run_apply(request *r)
{
	const bool is_dry = take_flag(r, "--dry-run");
	session s;

	if (r->argc != 1)
		return bad_usage("apply", "it takes one file, or - for what is typed or piped in");
	exit_status status = read_plan_file(r->argv[0]);
	if (status != EXIT_DONE)
		return status;
	status = open_for(&s, r, RESET_TIMEOUT);
	if (status == EXIT_DONE)
		status = is_dry ? dry_run(&s) : run_plan(&s, r->argv[0]);
	session_close(&s);
	return status;
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
