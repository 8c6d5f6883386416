// SPDX-License-Identifier: Apache-2.0
#include "client/commands/perform.h"

#include "client/cli/output.h"
#include "client/settings/edit.h"
#include "client/settings/fields.h"
#include "client/settings/started.h"
#include "client/settings/state.h"

#include <cstdlib>
#include <cstring>

task task_of(int count, const char *const *words)
{
	task t = {};

	t.words.count = count;
	for (int i = 0; i < count; i++)
		t.words.word[i] = words[i];
	t.usual_timeout = USUAL_TIMEOUT;
	return t;
}

int64_t dwells(const ble_record *record)
{
	char text[FIELD_TEXT];
	const long dwell =
		strtol(bounded_text(record->interval, sizeof(record->interval), text), nullptr, 10);

	return dwell > 0 ? 2 * dwell : 0;
}

exit_status open_for(session *s, const request *r, int64_t usual_timeout)
{
	const exit_status status = session_open(s, r->timeout);

	if (status == EXIT_DONE && r->timeout == 0)
		s->deadline += usual_timeout + dwells(&s->segment->config);
	return status;
}

/* Edit a copy, then write the changes: a killed client leaves little half done. */
static bool edit_live(ble_record *live, bool (*edit)(ble_record *, void *), void *context)
{
	ble_record before;
	ble_record after;

	memcpy(static_cast<void *>(&before), live, sizeof(before));
	memcpy(static_cast<void *>(&after), &before, sizeof(after));
	if (!edit(&after, context))
		return false;
	write_changes(live, &before, &after);
	return true;
}

exit_status change_record(session *s, bool (*edit)(ble_record *, void *), void *context)
{
	const exit_status status = session_lock(s);

	if (status != EXIT_DONE)
		return status;
	started_adopt(s->segment, s->daemon);
	const bool is_edited = edit_live(&s->segment->config, edit, context);
	if (is_edited)
		started_note_change(s->segment);
	session_unlock(s);
	return is_edited ? EXIT_DONE : EXIT_USAGE;
}

static bool is_usable(const session *s)
{
	return s->segment->config.opt.status >= BLE_STATUS_AVAILABLE;
}

/* The daemon refuses such a command itself, but says so only in its trace. */
static exit_status no_controller(const session *s)
{
	complain("no usable controller (status %s)", status_name(s->segment->config.opt.status));
	return EXIT_NO_CONTROLLER;
}

static bool resets(const task *t)
{
	return t->words.count > 1 && strcmp(t->words.word[1], "ble-reset") == 0;
}

/* Whether only the messages show the result; after a reset the status shows a usable controller. */
static bool is_told_in_messages(const session *s, const task *t)
{
	return resets(t) ? is_usable(s) : !t->shows_in_status;
}

static exit_status unknown_outcome(const messages *m)
{
	complain("done, outcome unknown: vorlind's messages %s: see %s", messages_reason(m),
		 m->place[0] ? m->place : "where it was started");
	return EXIT_UNKNOWN;
}

static exit_status judge(const session *s, const task *t, bool was_usable, const messages *m,
			 const outcome *end)
{
	const hci_code_kind codes = is_ti(s->segment) ? t->codes : HCI_STANDARD;

	/* A warning beside a result is of an attach event or the start-up, not of the command. */
	if (t->has_result && end->result[0])
		return EXIT_DONE;
	/* Nor is one beside a good status, because a failed beacon task leaves a bad one; unless
	 * the command was a reset followed by the task. */
	if (t->settled && !t->pending_action && is_usable(s))
		return EXIT_DONE;
	if (end->error_code >= 0)
		complain("the controller refused: 0x%02x %s",
			 static_cast<unsigned>(end->error_code),
			 hci_error_name(end->error_code, codes));
	else if (end->refused)
		complain("vorlind reports a failure, see above");
	else if (t->needs_controller && !was_usable && !is_usable(s))
		return no_controller(s);
	else if (!end->heard)
		return is_told_in_messages(s, t) ? unknown_outcome(m) : EXIT_DONE;
	else if (t->has_result)
		complain("the controller gave no answer");
	else
		return EXIT_DONE;
	return EXIT_REFUSED;
}

exit_status perform(session *s, const task *t, bool json, outcome *end)
{
	messages m;
	const bool was_usable = is_usable(s);
	exit_status status = session_lock(s);
	if (status != EXIT_DONE)
		return status;
	started_adopt(s->segment, s->daemon);
	if (t->edit && !edit_live(&s->segment->config, t->edit, t->context)) {
		session_unlock(s);
		return EXIT_USAGE;
	}
	if (t->pending_action)
		s->segment->config.opt.action = t->pending_action;
	started_note_command(s->segment, &t->words);
	messages_begin(&m, s->daemon);
	status = session_run(s, &t->words, t->settled);
	started_note_end(s->segment, &t->words);
	messages_stop(&m);
	session_give_turn(s);
	/* Messages after another client's command has replaced this one belong to that. */
	messages_take(&m, json || status == EXIT_UNKNOWN ? nullptr : stdout, t->failure, end);
	if (status == EXIT_DONE)
		status = judge(s, t, was_usable, &m, end);
	messages_end(&m);
	return status;
}

exit_status perform_request(const request *r, const task *t, outcome *end)
{
	session s;
	exit_status status = open_for(&s, r, t->usual_timeout);

	if (status == EXIT_DONE)
		status = perform(&s, t, r->json, end);
	session_close(&s);
	return status;
}
