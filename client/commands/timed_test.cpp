// SPDX-License-Identifier: Apache-2.0
#include "client/commands/timed_test.h"

#include "client/cli/output.h"
#include "client/commands/beacon_task.h"

#include <csignal>
#include <cstdio>
#include <unistd.h>

constexpr int64_t STEP = 100; /* milliseconds between two checks of the test */

static volatile sig_atomic_t caught;

static void note_signal(int signo)
{
	caught = signo;
}

void catch_interruptions()
{
	static const int signals[] = { SIGINT, SIGTERM, SIGHUP };

	for (const int signo : signals) {
		struct sigaction now_set = {};
		struct sigaction before = {};

		now_set.sa_handler = note_signal; /* no SA_RESTART: it shall cut a sleep short */
		if (sigaction(signo, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
			sigaction(signo, &now_set, nullptr);
	}
}

int interruption()
{
	return caught;
}

void pass_interruption_on()
{
	if (!caught)
		return;
	fflush(stdout);
	signal(caught, SIG_DFL);
	raise(caught);
}

exit_status stop_beacons_for_test(session *s)
{
	if (s->segment->config.opt.action == ACTION_NONE ||
	    s->segment->config.opt.status < BLE_STATUS_AVAILABLE)
		return EXIT_DONE;
	complain("the beacons are stopped for the test; start puts them on the air again");
	return beacon_task(s, "stop");
}

exit_status expect_no_test(const session *s, const char *word)
{
	if (s->segment->config.opt.status != BLE_STATUS_TESTING)
		return EXIT_DONE;
	complain("test %s: a test is running already; test end ends it and tells its packets",
		 word);
	return EXIT_REFUSED;
}

/* On a terminal: show the progress, overwriting the last line. */
static void show_progress(const timed_test *test, int64_t left)
{
	if (isatty(STDERR_FILENO))
		fprintf(stderr, "\rtest %s %s: %lld of %lld s ", test->word,
			test->begin.words.word[2],
			static_cast<long long>((test->length - left) / 1000),
			static_cast<long long>(test->length / 1000));
}

static void clear_progress()
{
	if (isatty(STDERR_FILENO))
		fputs("\r                                        \r", stderr);
}

/* Wait until its time is over, or a signal or the daemon ends it. */
static exit_status let_run(const session *s, const timed_test *test)
{
	const int64_t end = now() + test->length;

	for (int64_t left = test->length; left > 0 && !caught; left = end - now()) {
		if (!session_alive(s)) {
			complain("vorlind ended while the test ran");
			return EXIT_NO_DAEMON;
		}
		if (s->segment->config.opt.status != BLE_STATUS_TESTING) {
			complain("the test was ended by something else: its packets are not known");
			return EXIT_REFUSED;
		}
		show_progress(test, left);
		pause_for(static_cast<int>(left < STEP ? left : STEP));
	}
	return EXIT_DONE;
}

static exit_status end_test(session *s, test_result *result)
{
	const char *const words[] = { "config", "le-test-end" };
	task t = task_of(2, words);
	outcome end = {};

	t.needs_controller = true;
	t.has_result = true;
	const exit_status status = perform(s, &t, true, &end);
	result->is_counted = sscanf(end.result, "Num of packets: %u", &result->packets) == 1;
	return status;
}

exit_status end_running_test(session *s)
{
	test_result result;

	if (s->segment->config.opt.status != BLE_STATUS_TESTING)
		return EXIT_DONE;
	const exit_status status = end_test(s, &result);
	if (status == EXIT_NO_DAEMON || status == EXIT_TIMEOUT)
		return status;
	if (result.is_counted)
		complain("a production test was running: it is ended, with %u packets",
			 result.packets);
	else
		complain("a production test was running: it is ended");
	return EXIT_DONE; /* also after a refusal: the next step shall help */
}

exit_status run_timed_test(session *s, const timed_test *test, test_result *result)
{
	outcome end = {};

	*result = {};
	s->deadline = now() + test->timeout;
	exit_status status = perform(s, &test->begin, true, &end);
	/* The segment shows that it runs, even if the messages cannot be read. */
	if (status == EXIT_DONE ||
	    (status == EXIT_UNKNOWN && s->segment->config.opt.status == BLE_STATUS_TESTING)) {
		status = let_run(s, test);
		clear_progress();
		s->deadline = now() + test->timeout;
		if (status == EXIT_DONE)
			status = end_test(s, result);
	}
	return status;
}
