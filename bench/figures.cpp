// SPDX-License-Identifier: Apache-2.0
#include "bench/figures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <numeric>
#include <sched.h>
#include <stdexcept>
#include <unistd.h>

using json = nlohmann::ordered_json;

double percentile(std::vector<double> samples, double percent)
{
	if (samples.empty())
		throw std::runtime_error("a figure without a measurement");
	std::ranges::sort(samples);
	const double rank = std::ceil(percent / 100 * static_cast<double>(samples.size()));
	return samples[static_cast<size_t>(std::max(rank, 1.0)) - 1];
}

double mean(const std::vector<double> &samples)
{
	return std::accumulate(samples.begin(), samples.end(), 0.0) /
	       static_cast<double>(samples.size());
}

static double median(const figure &of)
{
	return percentile(of.samples, 50);
}

static std::string number(double value)
{
	char text[32];

	snprintf(text, sizeof(text), std::fabs(value) >= 100 ? "%.1f" : "%.3f", value);
	return text;
}

/* Whether the bench runs with priority over all other processes. */
static bool is_alone()
{
	return sched_getscheduler(0) == SCHED_FIFO;
}

static bool is_judged(const figure &of)
{
	switch (of.judged) {
	case judgement::never:
		break;
	case judgement::alone:
		return is_alone();
	case judgement::always:
		return true;
	}
	return false;
}

static double best(const figure &of)
{
	return percentile(of.samples, 0);
}

static bool is_kept(const figure &of)
{
	return best(of) <= of.allowed;
}

static const char *verdict(const figure &of)
{
	if (!is_judged(of))
		return "";
	return is_kept(of) ? "kept" : "MISSED";
}

static double load()
{
	double average = 0;

	return getloadavg(&average, 1) == 1 ? average : -1;
}

void begin_table()
{
	printf("%ld processors, load %.2f, %s\n", sysconf(_SC_NPROCESSORS_ONLN), load(),
	       is_alone() ? "ahead of all other processes" : "one process among others");
	printf("%-52s %10s %21s %-8s %10s %6s %10s\n", "figure", "median", "lowest - highest",
	       "unit", "limit", "ratio", "allowed");
}

void print_figure(const figure &of)
{
	const std::string spread =
		number(percentile(of.samples, 0)) + " - " + number(percentile(of.samples, 100));
	const std::string limit = of.limit > 0 ? number(of.limit) : "";
	const std::string ratio = of.limit > 0 ? number(median(of) / of.limit) : "";
	const std::string allowed = of.allowed > 0 ? number(of.allowed) : "";

	printf("%-52s %10s %21s %-8s %10s %6s %10s %s\n", of.name.c_str(),
	       number(median(of)).c_str(), of.samples.size() > 1 ? spread.c_str() : "",
	       of.unit.c_str(), limit.c_str(), ratio.c_str(), allowed.c_str(), verdict(of));
	fflush(stdout);
}

bool all_kept(const std::vector<figure> &figures)
{
	bool all = true;

	for (const figure &of : figures) {
		if (!is_judged(of) || is_kept(of))
			continue;
		fprintf(stderr, "%s: %s %s at best, %s are allowed\n", of.name.c_str(),
			number(best(of)).c_str(), of.unit.c_str(), number(of.allowed).c_str());
		all = false;
	}
	return all;
}

static json json_of(const figure &of)
{
	json result = { { "name", of.name }, { "unit", of.unit }, { "median", median(of) } };

	if (of.limit > 0) {
		result["limit"] = of.limit;
		result["ratio"] = median(of) / of.limit;
	}
	if (of.allowed > 0)
		result["allowed"] = of.allowed;
	if (is_judged(of))
		result["kept"] = is_kept(of);
	result["samples"] = of.samples;
	return result;
}

void write_json(const std::vector<figure> &figures, const std::string &path)
{
	json all = { { "processors", sysconf(_SC_NPROCESSORS_ONLN) },
		     { "load_at_the_end", load() },
		     { "alone", is_alone() } };
	std::ofstream out(path);

	std::ranges::transform(figures, std::back_inserter(all["figures"]), json_of);
	if (!(out << all.dump(2) << std::endl))
		throw std::runtime_error("cannot write " + path);
}
