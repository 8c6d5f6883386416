// SPDX-License-Identifier: Apache-2.0
/* The measured figures: their spread, the limit beside each, the table and the JSON of them. */
#pragma once

#include <string>
#include <vector>

/* When what is allowed is held against a figure; else it only stands beside it. */
enum class judgement {
	never,
	alone,  /* a time: only ahead of all other processes, whose load it has in it otherwise */
	always, /* what no load changes */
};

struct figure {
	std::string name;
	std::string unit;
	std::vector<double> samples; /* one a run, the median is shown */
	double limit = 0;            /* what the line and its sleeps take; 0: there is none */
	double allowed = 0; /* the most it should be, in the same unit; 0: nothing is set */
	judgement judged = judgement::never; /* whether more is a fault */
};

/* The value that so many of a hundred samples do not exceed. */
double percentile(std::vector<double> samples, double percent);
double mean(const std::vector<double> &samples);

void begin_table();
void print_figure(const figure &of); /* as soon as it is measured */

/*
 * Whether each figure that is judged had a run within what is allowed: a disturbance spoils some
 * runs, a slower daemon all of them. Those that had none are told on stderr.
 */
bool all_kept(const std::vector<figure> &figures);

void write_json(const std::vector<figure> &figures, const std::string &path);
