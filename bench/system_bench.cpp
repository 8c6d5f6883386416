// SPDX-License-Identifier: Apache-2.0
/*
 * How close the shipped daemon is to the minimum that the line and its fixed sleeps allow: a
 * table, and the same as JSON. Runs inside tools/sandbox; ./run bench does that.
 */
#include "bench/system_figures.h"

#include <cstdio>
#include <cstring>
#include <exception>

static bool measure(const bench_settings &settings, const char *json)
{
	figure_list figures;

	begin_table();
	measure_system_calls(settings, figures);
	measure_response(settings, figures);
	const double bare_exchange = measure_rotation(settings, figures);
	measure_busy_rotation(settings, figures);
	measure_starts(settings, bare_exchange, figures);
	measure_idle_and_load(settings, figures);
	write_json(figures, json);
	return all_kept(figures);
}

int main(int argc, char **argv)
{
	bench_settings settings;

	if (argc < 3 || argc > 4 || (argc == 4 && strcmp(argv[3], "--short") != 0)) {
		fputs("usage: system_bench BUILD-FOLDER JSON-FILE [--short]\n", stderr);
		return 2;
	}
	settings.build = argv[1];
	settings.is_short = argc == 4;
	try {
		return measure(settings, argv[2]) ? 0 : 1;
	} catch (const std::exception &problem) {
		fprintf(stderr, "system_bench: %s\n", problem.what());
		return 1;
	}
}
