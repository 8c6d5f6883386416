// SPDX-License-Identifier: Apache-2.0
#include "client/commands/test_sweep.h"

#include "client/cli/output.h"
#include "client/commands/daemon_options.h"
#include "client/settings/fields.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

constexpr int64_t USUAL_LENGTH = 1000;
constexpr unsigned LAST_CHANNEL = 39;
constexpr int SWEEP_MAX = 80; /* each channel twice */

struct sweep_row {
	unsigned channel;
	int min;
	test_result result;
};

struct sweep {
	sweep_row row[SWEEP_MAX];
	int count;
	int done;
};

bool has_passed(const test_result *result, int min)
{
	return result->is_counted && (min < 0 || result->packets >= static_cast<unsigned>(min));
}

static bool add_row(sweep *all, unsigned channel, int min)
{
	if (all->count == SWEEP_MAX)
		return false;
	all->row[all->count++] = { channel, min, {} };
	return true;
}

/* "12" or "12-19": false for anything else. */
static bool add_range(sweep *all, char *text, int min)
{
	char *end = strchr(text, '-');
	unsigned first;
	unsigned last;

	if (end)
		*end++ = '\0';
	if (!read_number(text, LAST_CHANNEL, &first) ||
	    !read_number(end ? end : text, LAST_CHANNEL, &last) || last < first)
		return false;
	for (unsigned channel = first; channel <= last; channel++)
		if (!add_row(all, channel, min))
			return false;
	return true;
}

static exit_status bad_channels(const char *text)
{
	return bad_usage(
		"test",
		"sweep: \"%.60s\" does not fit; channels are 0 to 39, up to 80, as 0,12,20-22",
		text);
}

static exit_status read_list(sweep *all, const char *list, int min)
{
	char text[256];
	char *rest = nullptr;

	snprintf(text, sizeof(text), "%s", list);
	for (char *part = strtok_r(text, ",", &rest); part; part = strtok_r(nullptr, ",", &rest))
		if (!add_range(all, part, min))
			return bad_channels(list);
	return strlen(list) < sizeof(text) && all->count > 0 ? EXIT_DONE : bad_channels(list);
}

/* Lines with a channel and, optionally, its minimum of packets. */
static exit_status read_lines(sweep *all, FILE *file, int min)
{
	char line[128];

	while (fgets(line, sizeof(line), file)) {
		char *rest = nullptr;
		line[strcspn(line, "#\r\n")] = '\0';
		char *channel = strtok_r(line, " \t", &rest);
		const char *own = strtok_r(nullptr, " \t", &rest);
		unsigned number = 0;
		if (!channel)
			continue;
		if ((own && !read_number(own, 65535, &number)) || strtok_r(nullptr, " \t", &rest))
			return bad_usage("test", "sweep: a line is CHANNEL, or CHANNEL MIN");
		if (!add_range(all, channel, own ? static_cast<int>(number) : min))
			return bad_channels(channel);
	}
	return all->count > 0 ? EXIT_DONE : bad_usage("test", "sweep: the file has no channel");
}

static exit_status read_file(sweep *all, const char *path, int min)
{
	FILE *file = strcmp(path, "-") == 0 ? stdin : fopen(path, "re");

	if (!file) {
		complain("%s: %s", path, strerror(errno));
		return EXIT_USAGE;
	}
	const exit_status status = read_lines(all, file, min);
	if (file != stdin)
		fclose(file);
	return status;
}

static const char *verdict(const sweep_row *row)
{
	if (row->min < 0)
		return "-";
	return has_passed(&row->result, row->min) ? "pass" : "fail";
}

static void print_row(const sweep_row *row, bool is_csv)
{
	char packets[16] = "";
	char min[16] = "";

	if (row->result.is_counted)
		snprintf(packets, sizeof(packets), "%u", row->result.packets);
	if (row->min >= 0)
		snprintf(min, sizeof(min), "%d", row->min);
	printf(is_csv ? "%u,%u,%s,%s,%s\n" : "%7u  %4u  %7s  %5s  %s\n", row->channel,
	       2402 + 2 * row->channel, packets, min, verdict(row));
	fflush(stdout); /* each row at once */
}

static void print_json(const sweep *all, int64_t length, bool is_judged, bool has_failed)
{
	json_begin(stdout, "test sweep");
	printf(", \"seconds\": %lld, \"passed\": %s, \"interrupted\": %s, \"channels\": [",
	       static_cast<long long>(length / 1000),
	       !is_judged   ? "null"
	       : has_failed ? "false"
			    : "true",
	       interruption() ? "true" : "false");
	for (int i = 0; i < all->done; i++) {
		const sweep_row *row = &all->row[i];
		printf("%s{\"channel\": %u", i ? ", " : "", row->channel);
		json_number(stdout, "packets",
			    row->result.is_counted ? static_cast<int>(row->result.packets) : -1);
		json_number(stdout, "min", row->min);
		printf(", \"passed\": %s}", row->min < 0 || !row->result.is_counted ? "null"
					    : has_passed(&row->result, row->min)    ? "true"
										    : "false");
	}
	fputs("]}\n", stdout);
}

static exit_status test_row(session *s, sweep_row *row, timed_test *test)
{
	char channel[8];
	const char *const words[] = { "le-receiver-test", channel };
	fault wrong;

	snprintf(channel, sizeof(channel), "%u", row->channel);
	if (!task_of_option("config", config_options, 2, words, &test->begin, &wrong))
		return EXIT_USAGE; /* impossible: the channel has been checked */
	return run_timed_test(s, test, &row->result);
}

/* An interrupted test does not count, and is the last one. */
static exit_status test_rows(session *s, const request *r, const sweep_request *wanted, sweep *all,
			     int64_t length)
{
	timed_test test = { "rx", {}, length, r->timeout ? r->timeout : USUAL_TIMEOUT };
	exit_status status = EXIT_DONE;

	if (!r->json)
		fputs(wanted->is_csv ? "channel,mhz,packets,min,verdict\n"
				     : "channel   MHz  packets    min  verdict\n",
		      stdout);
	while (all->done < all->count) {
		sweep_row *row = &all->row[all->done];
		status = test_row(s, row, &test);
		if ((status != EXIT_DONE && status != EXIT_UNKNOWN) || interruption())
			break;
		all->done++;
		if (!r->json)
			print_row(row, wanted->is_csv);
	}
	if (interruption())
		complain("interrupted: not all channels were tested");
	return status;
}

static exit_status sweep_channels(session *s, const request *r, const sweep_request *wanted,
				  sweep *all)
{
	const int64_t length = wanted->length ? wanted->length : USUAL_LENGTH;
	bool is_judged = !interruption();
	bool has_failed = false;

	const exit_status status = test_rows(s, r, wanted, all, length);
	for (int i = 0; i < all->done; i++) {
		const sweep_row *row = &all->row[i];
		is_judged &= row->min >= 0 && row->result.is_counted;
		has_failed |= row->min >= 0 && row->result.is_counted &&
			      !has_passed(&row->result, row->min);
	}
	if (status != EXIT_DONE && status != EXIT_UNKNOWN)
		return status;
	is_judged &= all->done == all->count;
	if (r->json)
		print_json(all, length, is_judged || has_failed, has_failed);
	return has_failed ? EXIT_FAILED : status;
}

exit_status run_sweep(request *r, const sweep_request *wanted)
{
	static sweep all;
	session s;

	if (!wanted->channels == !wanted->path)
		return bad_usage("test", "sweep takes a file with a channel a line, or --channels");
	exit_status status = wanted->path ? read_file(&all, wanted->path, wanted->min)
					  : read_list(&all, wanted->channels, wanted->min);
	if (status != EXIT_DONE)
		return status;
	catch_interruptions();
	status = open_for(&s, r, USUAL_TIMEOUT);
	if (status == EXIT_DONE)
		status = expect_no_test(&s, "sweep");
	if (status == EXIT_DONE)
		status = stop_beacons_for_test(&s);
	if (status == EXIT_DONE)
		status = sweep_channels(&s, r, wanted, &all);
	session_close(&s);
	return status;
}
