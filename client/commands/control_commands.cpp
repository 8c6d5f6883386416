// SPDX-License-Identifier: Apache-2.0
/* The commands that the daemon carries out: beacons on and off, values, settings. */
#include "client/cli/command.h"
#include "client/cli/output.h"
#include "client/commands/beacon_task.h"
#include "client/commands/daemon_options.h"
#include "client/commands/perform.h"
#include "client/commands/timed_test.h"
#include "client/settings/limits.h"
#include "client/settings/state.h"

#include <cstdio>
#include <cstring>

static exit_status run_beacon_task(const request *r, const char *action)
{
	session s;

	if (r->argc > 0)
		return bad_usage(action, "\"%.60s\" is too much: it takes no arguments",
				 r->argv[0]);
	exit_status status = open_for(&s, r, USUAL_TIMEOUT);
	if (status == EXIT_DONE) {
		if (strcmp(action, "stop") != 0 && !has_active_beacon(&s.segment->config))
			complain("no beacon is on, so nothing goes on the air: "
				 "try beacon 1 --uuid random on");
		status = beacon_task(&s, action);
	}
	session_close(&s);
	return status;
}

exit_status run_start(request *r)
{
	return run_beacon_task(r, "start");
}

exit_status run_stop(request *r)
{
	return run_beacon_task(r, "stop");
}

exit_status run_restart(request *r)
{
	return run_beacon_task(r, "restart");
}

void print_result_json(const char *command, const char *result)
{
	char word[64];
	unsigned id;
	unsigned value;

	json_begin(stdout, command);
	if (sscanf(result, "GAP Param ID: %u, Value: %u", &id, &value) == 2)
		printf(", \"id\": %u, \"value\": %u", id, value);
	else if (sscanf(result, "BLE TX Power Setting: 0x%X", &value) == 1)
		printf(", \"value\": %d", static_cast<int8_t>(value));
	else if (sscanf(result, "Num of packets: %u", &value) == 1)
		printf(", \"value\": %u", value);
	else if (sscanf(result, "BLE MAC Address: %63s", word) == 1 ||
		 sscanf(result, "BLE configuration utility: %63s", word) == 1)
		printf(", \"value\": \"%s\"", word);
	else
		fputs(", \"value\": null", stdout);
	fputs("}\n", stdout);
}

/* With a known option the fault's text begins with it: no colon then. */
static exit_status bad_option(const char *name, const daemon_option *options, const request *r,
			      const fault *wrong)
{
	const bool is_known = r->argc > 0 && find_option(options, r->argv[0]);

	complain("%s%s %s (vorlinctl help %s)", name, is_known ? "" : ":", wrong->text, name);
	return EXIT_USAGE;
}

/* Send the option, if it concerns this controller. */
static exit_status perform_option(const request *r, const char *name, const task *t, outcome *end)
{
	session s;
	fault wrong;

	exit_status status = open_for(&s, r, t->usual_timeout);
	if (status == EXIT_DONE && !has_option(s.segment, r->argv[0], &wrong)) {
		complain("%s %s: %s", name, r->argv[0], wrong.text);
		status = EXIT_REFUSED;
	}
	if (status == EXIT_DONE)
		status = perform(&s, t, r->json, end);
	session_close(&s);
	return status;
}

exit_status run_show(request *r)
{
	task t;
	fault wrong;
	outcome end = {};
	char command[64];

	if (!task_of_option("show", show_options, r->argc, r->argv, &t, &wrong))
		return bad_option("show", show_options, r, &wrong);
	const exit_status status = perform_option(r, "show", &t, &end);
	snprintf(command, sizeof(command), "show %s", r->argv[0]);
	if ((status == EXIT_DONE || status == EXIT_UNKNOWN) && r->json)
		print_result_json(command, end.result);
	return status;
}

exit_status run_config(request *r)
{
	task t;
	fault wrong;
	outcome end = {};

	if (!task_of_option("config", config_options, r->argc, r->argv, &t, &wrong))
		return bad_option("config", config_options, r, &wrong);
	const exit_status status = perform_option(r, "config", &t, &end);
	if (r->json && end.result[0])
		fprintf(text_output(), "%s\n", end.result);
	return status;
}

exit_status run_raw(request *r)
{
	outcome end = {};

	if (r->argc == 0 || r->argc > static_cast<int>(BLE_WORDS))
		return bad_usage("raw", "%d words; it takes 1 to %zu", r->argc, BLE_WORDS);
	for (int i = 0; i < r->argc; i++)
		if (strlen(r->argv[i]) >= BLE_WORD_SIZE)
			return bad_usage("raw", "word %d is too long: up to %zu characters", i + 1,
					 BLE_WORD_SIZE - 1);
	const task t = task_of(r->argc, r->argv);
	const exit_status status = perform_request(r, &t, &end);
	if (r->json && end.result[0])
		fprintf(text_output(), "%s\n", end.result);
	return status;
}

exit_status run_reset(request *r)
{
	const char *words[] = { "ble-reset", r->argc > 0 ? r->argv[0] : "" };
	session s;
	task t;
	fault wrong;
	outcome end;

	if (r->argc != 1 || !task_of_option("config", config_options, 2, words, &t, &wrong))
		return bad_usage("reset", "it takes hard or soft");
	exit_status status = open_for(&s, r, t.usual_timeout);
	if (status == EXIT_DONE)
		status = end_running_test(&s);
	if (status == EXIT_DONE) {
		if (strcmp(r->argv[0], "soft") == 0 && needs_hard_reset(s.segment, s.daemon))
			complain("this controller keeps its address until reset hard");
		t.shows_in_status = true;
		status = perform(&s, &t, r->json, &end);
		if (status == EXIT_DONE && s.segment->config.opt.status < BLE_STATUS_AVAILABLE) {
			complain("no usable controller answers");
			status = EXIT_NO_CONTROLLER;
		}
	}
	session_close(&s);
	return status;
}

exit_status run_trace(request *r)
{
	char digits[16];
	const char *const words[] = { "debug-level", digits };
	uint32_t mask;
	task t;
	fault wrong;
	outcome end;

	if (r->argc != 1)
		return bad_usage("trace", "it takes one argument");
	if (!read_trace_mask(r->argv[0], &mask, &wrong))
		return bad_usage("trace", "%s", wrong.text);
	snprintf(digits, sizeof(digits), "%x", mask);
	if (!task_of_option("config", config_options, 2, words, &t, &wrong))
		return bad_usage("trace", "%s", wrong.text);
	t.shows_in_status = true;
	return perform_request(r, &t, &end);
}
