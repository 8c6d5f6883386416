// SPDX-License-Identifier: Apache-2.0
/* The command test: production tests with a manual end, or with a time and a limit. */
#include "client/cli/command.h"
#include "client/cli/output.h"
#include "client/commands/daemon_options.h"
#include "client/commands/test_sweep.h"
#include "client/commands/timed_test.h"
#include "client/settings/fields.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

static const struct {
	const char *word;
	const char *option;
} tests[] = {
	{ "rx", "le-receiver-test" },
	{ "tx", "le-transmitter-test" },
	{ "end", "le-test-end" },
};

static const char *test_option(const char *word)
{
	for (const auto &test : tests)
		if (strcmp(test.word, word) == 0)
			return test.option;
	return nullptr;
}

struct test_options {
	int64_t length; /* milliseconds; 0: until "test end" */
	int min;        /* the least packets to receive; -1: any number */
	bool is_csv;
	const char *channels; /* of a sweep, or null */
};

/* Take the client's own options: false after a complaint about one that is wrong. */
static bool take_options(request *r, const char *word, test_options *options)
{
	const char *text = nullptr;
	unsigned number;

	*options = { 0, -1, take_flag(r, "--csv"), nullptr };
	if (take_option(r, "--seconds", &text)) {
		options->length = text ? read_seconds(text) : 0;
		if (options->length == 0) {
			bad_usage("test", "--seconds takes whole seconds, 1 to 86400");
			return false;
		}
	}
	if (take_option(r, "--min", &text)) {
		if (!text || !read_number(text, 65535, &number)) {
			bad_usage("test", "--min takes packets, 0 to 65535");
			return false;
		}
		options->min = static_cast<int>(number);
	}
	if (take_option(r, "--channels", &options->channels) && !options->channels)
		options->channels = "";
	const bool is_sweep = strcmp(word, "sweep") == 0;
	if ((options->is_csv || options->channels) && !is_sweep) {
		bad_usage("test", "--csv and --channels are for test sweep");
		return false;
	}
	if (options->min >= 0 && !is_sweep && (strcmp(word, "rx") != 0 || options->length == 0)) {
		bad_usage("test", "--min is for test rx with --seconds: what else counts packets?");
		return false;
	}
	return true;
}

static void print_timed_json(const char *word, const timed_test *test, const test_options *options,
			     const test_result *result)
{
	const bool is_judged = result->is_counted && options->min >= 0 && !interruption();
	char command[16];

	snprintf(command, sizeof(command), "test %s", word);
	json_begin(stdout, command);
	printf(", \"channel\": %s, \"seconds\": %lld", test->begin.words.word[2],
	       static_cast<long long>(test->length / 1000));
	json_number(stdout, "packets", result->is_counted ? static_cast<int>(result->packets) : -1);
	json_number(stdout, "min", options->min);
	printf(", \"passed\": %s, \"interrupted\": %s}\n",
	       !is_judged                         ? "null"
	       : has_passed(result, options->min) ? "true"
						  : "false",
	       interruption() ? "true" : "false");
}

static void print_timed(const test_options *options, const test_result *result)
{
	printf("Num of packets: %u\n", result->packets);
	if (options->min < 0 || interruption())
		return;
	printf("%s: %u packets, at least %d wanted\n",
	       has_passed(result, options->min) ? "passed" : "failed", result->packets,
	       options->min);
}

static exit_status time_test(session *s, const request *r, const char *word, const task *begin,
			     const test_options *options)
{
	const timed_test test = { word, *begin, options->length,
				  r->timeout ? r->timeout : USUAL_TIMEOUT };
	test_result result;

	const exit_status status = run_timed_test(s, &test, &result);
	if (interruption())
		complain("interrupted: the test was not let run for its whole time");
	if (status != EXIT_DONE && status != EXIT_UNKNOWN)
		return status;
	if (r->json)
		print_timed_json(word, &test, options, &result);
	else if (result.is_counted)
		print_timed(options, &result);
	return !result.is_counted || has_passed(&result, options->min) ? status : EXIT_FAILED;
}

static exit_status begin_or_end(session *s, const request *r, const char *word, const task *t)
{
	outcome end = {};

	const exit_status status = perform(s, t, r->json, &end);
	if ((status == EXIT_DONE || status == EXIT_UNKNOWN) && r->json && strcmp(word, "end") == 0)
		print_result_json("test end", end.result);
	return status;
}

static exit_status run_one(request *r, const char *word, const test_options *options)
{
	const char *option = test_option(word);
	const bool is_end = strcmp(word, "end") == 0;
	session s;
	task t;
	fault wrong;

	if (is_end && options->length)
		return bad_usage("test", "end takes no time");
	r->argv[0] = option;
	if (!task_of_option("config", config_options, r->argc, r->argv, &t, &wrong)) {
		/* The fault begins with the daemon's word for it. */
		complain("test %s%s (vorlinctl help test)", word, wrong.text + strlen(option));
		return EXIT_USAGE;
	}
	if (options->length)
		catch_interruptions();
	exit_status status = open_for(&s, r, t.usual_timeout);
	if (status == EXIT_DONE && !is_end)
		status = expect_no_test(&s, word);
	if (status == EXIT_DONE && !is_end)
		status = stop_beacons_for_test(&s);
	if (status == EXIT_DONE)
		status = options->length ? time_test(&s, r, word, &t, options)
					 : begin_or_end(&s, r, word, &t);
	session_close(&s);
	return status;
}

exit_status run_test(request *r)
{
	const char *word = r->argc > 0 ? r->argv[0] : "";
	test_options options;
	exit_status status = EXIT_USAGE;

	if (!test_option(word) && strcmp(word, "sweep") != 0)
		return bad_usage("test",
				 "it takes rx CHANNEL, tx CHANNEL LENGTH PATTERN, end or sweep");
	if (!take_options(r, word, &options))
		return EXIT_USAGE;
	if (test_option(word)) {
		status = run_one(r, word, &options);
	} else {
		const sweep_request wanted = { options.channels, r->argc > 1 ? r->argv[1] : nullptr,
					       options.length, options.min, options.is_csv };
		if (r->argc > 2)
			return bad_usage("test", "sweep: \"%.60s\" is too much", r->argv[2]);
		status = run_sweep(r, &wanted);
	}
	pass_interruption_on();
	return status;
}
