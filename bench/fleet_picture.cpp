// SPDX-License-Identifier: Apache-2.0
#include "bench/fleet_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

constexpr double PANEL_WIDTH = 340;
constexpr double PANEL_HEIGHT = 220;
constexpr double TOP = 60;

struct series {
	const char *name;
	const char *colour;
	double fleet_point::*value;
};

struct panel {
	const char *title;
	double left;
	series lines[2];
};

static const panel panels[] = {
	{ "processor time, % of one core",
	  60,
	  { { "simulators", "#c2703d", &fleet_point::simulator_cpu },
	    { "daemons", "#2f6690", &fleet_point::daemon_cpu } } },
	{ "memory, MiB",
	  480,
	  { { "simulators", "#c2703d", &fleet_point::simulator_mib },
	    { "daemons", "#2f6690", &fleet_point::daemon_mib } } },
};

/* The next of 1, 2, 5, 10, 20, 50 ... that is not below. */
static double round_up(double value)
{
	const double power = std::pow(10, std::floor(std::log10(std::max(value, 1e-3))));

	for (const double step : { 1.0, 2.0, 5.0 })
		if (value <= step * power)
			return step * power;
	return 10 * power;
}

__attribute__((format(printf, 1, 2))) static std::string text_of(const char *format, ...)
{
	char text[512];

	va_list values;
	va_start(values, format);
	vsnprintf(text, sizeof(text), format, values);
	va_end(values);
	return text;
}

static std::string axes(const panel &of, double most_count, double most)
{
	std::string svg = text_of("<text x='%.0f' y='%.0f' class='title'>%s</text>\n", of.left,
				  TOP - 16, of.title);

	for (int i = 0; i <= 4; i++) {
		const double y = TOP + PANEL_HEIGHT - PANEL_HEIGHT * i / 4;
		const double x = of.left + PANEL_WIDTH * i / 4;
		svg += text_of("<line x1='%.1f' y1='%.1f' x2='%.1f' y2='%.1f' class='grid'/>\n",
			       of.left, y, of.left + PANEL_WIDTH, y);
		svg += text_of("<text x='%.1f' y='%.1f' text-anchor='end'>%.4g</text>\n",
			       of.left - 6, y + 4, most * i / 4);
		svg += text_of("<text x='%.1f' y='%.1f' text-anchor='middle'>%.4g</text>\n", x,
			       TOP + PANEL_HEIGHT + 18, most_count * i / 4);
	}
	return svg;
}

static std::string curve(const panel &of, const series &line,
			 const std::vector<fleet_point> &points, double most_count, double most)
{
	std::string path;
	std::string dots;
	double x = 0;
	double y = 0;

	for (const fleet_point &point : points) {
		x = of.left + PANEL_WIDTH * point.count / most_count;
		y = TOP + PANEL_HEIGHT - PANEL_HEIGHT * point.*line.value / most;
		path += text_of("%s%.1f %.1f", path.empty() ? "M" : " L", x, y);
		dots += text_of("<circle cx='%.1f' cy='%.1f' r='3' fill='%s'/>\n", x, y,
				line.colour);
	}
	return "<path d='" + path +
	       text_of("' fill='none' stroke='%s' stroke-width='1.5'/>\n", line.colour) + dots +
	       text_of("<text x='%.1f' y='%.1f' text-anchor='end' fill='%s'>%s</text>\n", x - 4,
		       y - 8, line.colour, line.name);
}

std::string fleet_picture(const std::vector<fleet_point> &points, double seconds)
{
	const double most_count = points.back().count;
	std::string svg =
		"<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 860 330'>\n"
		"<style>text{font:12px sans-serif;fill:#444}.title{font-size:14px;fill:#222}"
		".grid{stroke:#ddd}</style>\n<rect width='860' height='330' fill='#fff'/>\n";

	for (const panel &of : panels) {
		double most = 0;
		for (const series &line : of.lines)
			for (const fleet_point &point : points)
				most = std::max(most, point.*line.value);
		most = round_up(most);
		svg += axes(of, most_count, most);
		for (const series &line : of.lines)
			svg += curve(of, line, points, most_count, most);
	}
	svg += text_of("<text x='430' y='318' text-anchor='middle'>access points on one machine, "
		       "each rotating three beacons at 100 ms, %.0f s each</text>\n</svg>\n",
		       seconds);
	return svg;
}
