// SPDX-License-Identifier: Apache-2.0
/* vorlinctl check: the verdict in one line, then the reasons. */
#include "client/cli/command.h"
#include "client/cli/output.h"
#include "client/commands/check.h"
#include "client/settings/state.h"

static void print_check(const check *c)
{
	puts(c->verdict);
	for (size_t i = 0; i < c->count; i++)
		printf("  %s\n", c->reasons[i]);
	for (size_t i = c->said.count; i > 0; i--) {
		const char *text = c->said.text[i - 1];
		printf("  vorlind said: %s\n", text);
		if (advice_for(text)[0])
			printf("    %s\n", advice_for(text));
	}
}

static void json_bool(const char *name, bool value)
{
	printf(", \"%s\": %s", name, value ? "true" : "false");
}

static void print_daemon_json(const check *c, const ble_record *record)
{
	printf(", \"pid\": %d", static_cast<int>(c->daemon));
	json_bool("takes_commands", c->takes_commands);
	json_bool("hangs", c->hangs);
	json_member(stdout, "waits_for", pursuit_text(c->waits_for));
	fputs(", \"line\": ", stdout);
	if (c->line)
		json_string(stdout, c->line);
	else
		fputs("null", stdout);
	fputs(", \"holder\": ", stdout);
	if (c->holder) {
		printf("{\"pid\": %d", static_cast<int>(c->holder));
		json_member(stdout, "name", c->holder_name);
		fputc('}', stdout);
	} else {
		fputs("null", stdout);
	}
	json_member(stdout, "status", status_name(record->opt.status));
	json_member(stdout, "action", action_name(record->opt.action));
	printf(", \"beacons\": %u", c->beacons);
	json_bool("differs", c->differs);
}

static void print_check_json(const check *c, const session *s)
{
	json_begin(stdout, "check");
	printf(", \"exit_status\": %d", c->status);
	json_member(stdout, "verdict", c->verdict);
	printf(", \"running\": %s", c->is_hidden ? "null" : c->is_running ? "true" : "false");
	if (c->is_running)
		print_daemon_json(c, &s->segment->config);
	fputs(", \"reasons\": [", stdout);
	for (size_t i = 0; i < c->count; i++) {
		fputs(i ? ", " : "", stdout);
		json_string(stdout, c->reasons[i]);
	}
	fputs("], \"warnings\": [", stdout);
	for (size_t i = 0; i < c->said.count; i++) {
		fputs(i ? ", {\"text\": " : "{\"text\": ", stdout);
		json_string(stdout, c->said.text[i]);
		json_member(stdout, "advice", advice_for(c->said.text[i]));
		fputc('}', stdout);
	}
	fputs("]}\n", stdout);
}

exit_status run_check(request *r)
{
	static check c;
	session s;

	if (r->argc > 0)
		return bad_usage("check", "unknown argument \"%.60s\"", r->argv[0]);
	check_all(&c, &s);
	if (r->json)
		print_check_json(&c, &s);
	else
		print_check(&c);
	session_close(&s);
	return c.status;
}
