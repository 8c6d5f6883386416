// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/tally.h"

#include <cstdio>
#include <nlohmann/json.hpp>

uint64_t sum_of(const counts &all)
{
	uint64_t sum = 0;

	for (const auto &[name, count] : all)
		sum += count;
	return sum;
}

struct group_row {
	const char *title;
	const char *key;
	counts tally::*counted;
};

struct number_row {
	const char *title;
	const char *key;
	uint64_t tally::*number;
};

// clang-format off
static const group_row groups[] = {
	{ "steps by kind",        "steps_by_kind",  &tally::by_step },
	{ "commands",             "commands",       &tally::commands },
	{ "vorlinctl ended with", "client_exits",   &tally::client_exits },
	{ "crashes (kill -9)",    "crashes",        &tally::crashes },
	{ "signals",              "signals",        &tally::signals },
	{ "faults that struck",   "faults",         &tally::faults },
	{ "replugs",              "replugs",        &tally::replugs },
	{ "blocks ended by",      "blocks",         &tally::blocks },
};

static const number_row numbers[] = {
	{ "steps",                               "steps",               &tally::steps },
	{ "healings, each with a right answer",  "healings",            &tally::healings },
	{ "daemons started",                     "daemons",             &tally::daemons },
	{ "steps served by the longest-lived",   "longest_life",        &tally::longest_life },
	{ "reports to the access controller",    "reports",             &tally::reports },
	{ "resident memory at first, KiB",       "first_rss_kib",       &tally::first_resident },
	{ "most resident memory, KiB",           "max_rss_kib",         &tally::most_resident },
	{ "most data, KiB",                      "max_data_kib",        &tally::most_data },
	{ "most descriptors",                    "max_descriptors",     &tally::most_descriptors },
	{ "violations",                          "violations",          &tally::violations },
};
// clang-format on

static std::string line(const char *title, uint64_t number)
{
	char text[96];

	snprintf(text, sizeof(text), "%-36s %10llu\n", title,
		 static_cast<unsigned long long>(number));
	return text;
}

std::string as_text(const tally &t)
{
	char text[128];
	snprintf(text, sizeof(text), "seed %llu, controllers %s, %.0f seconds\n",
		 static_cast<unsigned long long>(t.seed), t.controllers.c_str(), t.seconds);
	std::string all = text;

	for (const number_row &row : numbers)
		all += line(row.title, t.*row.number);
	for (const group_row &row : groups) {
		all += line(row.title, sum_of(t.*row.counted));
		for (const auto &[name, count] : t.*row.counted)
			all += line(("  " + name).c_str(), count);
	}
	return all;
}

std::string as_json(const tally &t)
{
	nlohmann::ordered_json all = { { "seed", t.seed },
				       { "controllers", t.controllers },
				       { "seconds", t.seconds } };

	for (const number_row &row : numbers)
		all[row.key] = t.*row.number;
	for (const group_row &row : groups)
		all[row.key] = t.*row.counted;
	return all.dump(2) + "\n";
}
