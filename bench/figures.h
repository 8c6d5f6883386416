// SPDX-License-Identifier: Apache-2.0
/* The measured figures with their spread and limits, as a table and as JSON. */
#pragma once

#include <string>
#include <vector>

/* When a figure above its allowed value is a fault; else the value is only shown. */
enum class judgement {
	never,
	alone,  /* a time: only with priority over all processes; else it includes their load */
	always, /* does not depend on load */
};

struct figure {
	std::string name;
	std::string unit;
	std::vector<double> samples;         /* one a run; the median is shown */
	double limit = 0;                    /* the time of line and sleeps; 0: none */
	double allowed = 0;                  /* the maximum, in the same unit; 0: none */
	judgement judged = judgement::never; /* when more is a fault */
};

/* The value that `percent` of the samples do not exceed. */
double percentile(std::vector<double> samples, double percent);
double mean(const std::vector<double> &samples);

void begin_table();
void print_figure(const figure &of); /* as soon as it is measured */

/*
 * Whether each judged figure was within its allowed value in one run at least: a disturbance
 * spoils some runs, a slower daemon all. Prints the other figures to stderr.
 */
bool all_kept(const std::vector<figure> &figures);

void write_json(const std::vector<figure> &figures, const std::string &path);
