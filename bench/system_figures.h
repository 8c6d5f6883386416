// SPDX-License-Identifier: Apache-2.0
/* The measurements of the shipped daemon with the simulated controller. */
#pragma once

#include "bench/figures.h"

struct bench_settings {
	std::string build;     /* folder of the programs */
	bool is_short = false; /* fewer and shorter runs: a check that it works */
};

using figure_list = std::vector<figure>;

/* Each prints its figures at once, and adds them to the list. */
void measure_system_calls(const bench_settings &settings, figure_list &figures);
void measure_response(const bench_settings &settings, figure_list &figures);
void measure_idle_and_load(const bench_settings &settings, figure_list &figures);

/* Returns the median of the milliseconds that a bare process's exchange takes beyond its bytes. */
double measure_rotation(const bench_settings &settings, figure_list &figures);

/* The same with four busy processes on each processor, at nice 0 and at nice -10. */
void measure_busy_rotation(const bench_settings &settings, figure_list &figures);
void measure_starts(const bench_settings &settings, double bare_exchange, figure_list &figures);

inline void add(figure_list &figures, const figure &one)
{
	print_figure(one);
	figures.push_back(one);
}
