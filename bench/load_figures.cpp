// SPDX-License-Identifier: Apache-2.0
/* Figures that the machine limits: system calls, idling, very many exchanges. */
#include "bench/access_point.h"
#include "bench/system_figures.h"
#include "bench/usage.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <sstream>
#include <stdexcept>

struct call_row {
	const char *controller;
	double calls; /* of a rotation's step, without its sleep */
};

// clang-format off
static const call_row call_rows[] = {
	{ "ti-08",    13 }, /* one write, six for each of the two events */
	{ "qualcomm",  7 }, /* one event */
};
// clang-format on

/* The names of the calls between each two sleeps: a step. */
static std::vector<words> steps_of(const std::string &trace)
{
	std::istringstream lines(trace);
	std::vector<words> steps;

	for (std::string line; std::getline(lines, line);) {
		const std::string name = line.substr(0, line.find('('));
		if (name == "clock_nanosleep" || name == "nanosleep")
			steps.emplace_back();
		else if (!steps.empty())
			steps.back().push_back(name);
	}
	return steps;
}

/* The most frequent step is that of the rotation. */
static words usual_step(const std::vector<words> &steps)
{
	std::map<words, size_t> counts;

	for (const words &step : steps)
		if (!step.empty())
			counts[step]++;
	if (counts.empty())
		throw std::runtime_error("strace has seen no exchange");
	return std::ranges::max_element(counts, {}, [](const auto &one) { return one.second; })
		->first;
}

static void measure_calls_of(const bench_settings &settings, const call_row &row,
			     figure_list &figures)
{
	access_point point(settings.build);

	point.make_patch();
	point.start_simulator(row.controller, { "--baud", "0" });
	point.start_and_wait({ "strace", "-o", point.file("calls") });
	point.load_beacons(2, "20");
	point.say_and_wait({ "ibeacon", "start" });
	sleep_for(2);
	point.say_and_wait({ "ibeacon", "stop" });
	point.stop_daemon();
	point.stop_simulator();

	const words step = usual_step(steps_of(content_of(point.file("calls"))));
	add(figures, { std::string(row.controller) + ", system calls of an exchange",
		       "calls",
		       { static_cast<double>(step.size()) },
		       row.calls,
		       row.calls,
		       judgement::always });
	for (const std::string &name : step)
		printf(" %s", name.c_str());
	printf("\n");
}

void measure_system_calls(const bench_settings &settings, figure_list &figures)
{
	for (const call_row &row : call_rows)
		measure_calls_of(settings, row, figures);
}

static void add_memory(figure_list &figures, const std::string &when, const usage &now,
		       const usage &before)
{
	add(figures, { when + ", resident",
		       "KiB",
		       { now.resident_kib },
		       before.resident_kib,
		       before.resident_kib,
		       judgement::always });
	add(figures, { when + ", private and written to",
		       "KiB",
		       { now.private_kib },
		       before.private_kib,
		       before.private_kib,
		       judgement::always });
	add(figures, { when + ", mappings",
		       "",
		       { now.mappings },
		       before.mappings,
		       before.mappings,
		       judgement::always });
}

static void measure_idle(access_point &point, double seconds, figure_list &figures)
{
	sleep_for(0.3);
	/* The times are outside both reads: a delay of this process loses no second. */
	const int64_t begin = wall_clock();
	const usage before = usage_of(point.daemon());
	sleep_for(seconds);
	const usage after = usage_of(point.daemon());
	const double took = static_cast<double>(wall_clock() - begin) / 1e9;

	add(figures, { "idle, wake-ups a second",
		       "1/s",
		       { (after.wakeups - before.wakeups) / took },
		       10,
		       10.1,
		       judgement::always });
	add(figures, { "idle, processor time in 10 minutes",
		       "s",
		       { (after.cpu_seconds - before.cpu_seconds) / took * 600 } });
	add(figures, { "idle, resident", "KiB", { after.resident_kib } });
	add(figures, { "idle, private and written to", "KiB", { after.private_kib } });
	add(figures, { "idle, mappings", "", { after.mappings } });
}

/* Rotate beacons as fast as the controller answers, until `count` packets were written. */
static void exchange(access_point &point, double count)
{
	const double begin = usage_of(point.daemon()).write_calls;

	point.say_and_wait({ "ibeacon", "start" });
	while (usage_of(point.daemon()).write_calls - begin < count)
		sleep_for(0.05);
	point.say_and_wait({ "ibeacon", "stop" });
}

static void measure_load(access_point &point, double count, figure_list &figures)
{
	point.load_beacons(2, "0");
	exchange(point, 1000); /* everything that is loaded on first use is loaded now */
	const usage before = usage_of(point.daemon());
	const usage simulator_before = usage_of(point.simulator());
	const int64_t begin = wall_clock();
	exchange(point, count);
	const double took = static_cast<double>(wall_clock() - begin) / 1e9;
	const usage after = usage_of(point.daemon());
	const usage simulator_after = usage_of(point.simulator());
	const double exchanges = after.write_calls - before.write_calls;
	char when[64];

	snprintf(when, sizeof(when), "after %.0f exchanges", exchanges);
	add(figures, { "unpaced exchanges a second", "1/s", { exchanges / took } });
	add(figures, { "processor time of an exchange",
		       "us",
		       { (after.cpu_seconds - before.cpu_seconds) / exchanges * 1e6 } });
	add(figures,
	    { "the simulator's processor time of it",
	      "us",
	      { (simulator_after.cpu_seconds - simulator_before.cpu_seconds) / exchanges * 1e6 } });
	add_memory(figures, when, after, before);
}

void measure_idle_and_load(const bench_settings &settings, figure_list &figures)
{
	access_point point(settings.build);

	point.start_simulator("ti-08", { "--baud", "0" });
	point.start_and_wait();
	measure_idle(point, settings.is_short ? 3 : 60, figures);
	measure_load(point, settings.is_short ? 20'000 : 1'000'000, figures);
	point.stop_daemon();
	point.stop_simulator();
}
