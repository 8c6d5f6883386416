// SPDX-License-Identifier: Apache-2.0
/* The timeline of a whole run as a picture. */
#include "sim/output/svg_report.h"

#include "sim/air/advertisement.h"

#include <algorithm>
#include <cstdio>

namespace sim
{

constexpr double MARGIN = 24;
constexpr double WIDTH = 960;
constexpr double TOP = 64;
constexpr double ROW_HEIGHT = 58;
constexpr double BAR_HEIGHT = 20;
constexpr double AXIS_HEIGHT = 48;

static double seconds_of(moment at)
{
	return std::chrono::duration<double>(at).count();
}

static std::string escaped(const std::string &text)
{
	std::string result;

	for (const char letter : text)
		result += letter == '&'   ? "&amp;"
			  : letter == '<' ? "&lt;"
			  : letter == '>' ? "&gt;"
					  : std::string(1, letter);
	return result;
}

static std::string words(double x, double y, const char *kind, const std::string &text)
{
	char head[96];

	snprintf(head, sizeof(head), "<text x=\"%.1f\" y=\"%.1f\" class=\"%s\">", x, y, kind);
	return head + escaped(text) + "</text>\n";
}

static std::string box(double x, double y, double width, double height, const char *fill)
{
	char text[160];

	snprintf(text, sizeof(text),
		 "<rect x=\"%.2f\" y=\"%.1f\" width=\"%.2f\" height=\"%.1f\" fill=\"%s\"/>\n", x, y,
		 width, height, fill);
	return text;
}

/* The part of the run in the picture, and the place of a moment in it. */
struct scale {
	moment from;
	moment to;

	double x(moment at) const
	{
		const double share = seconds_of(at - from) / std::max(seconds_of(to - from), 1e-9);

		return MARGIN + std::clamp(share, 0.0, 1.0) * (WIDTH - 2 * MARGIN);
	}
};

static scale scale_of(const timeline &times, moment end)
{
	moment from = end;

	for (const timeline::row &row : times.rows())
		from = std::min(from, row.first);
	if (!times.stretches().empty() && times.forgotten() > 0)
		from = times.stretches().front().from;
	return { from, end };
}

/* 1, 2 or 5 times a power of ten, so that about ten ticks fill the axis. */
static moment tick_step(moment span)
{
	moment power = std::chrono::milliseconds(1);

	while (power * 50 < span)
		power *= 10;
	if (power * 10 >= span)
		return power;
	return power * 20 >= span ? power * 2 : power * 5;
}

static std::string axis(const scale &in, double y)
{
	const moment step = tick_step(in.to - in.from);
	std::string text = box(MARGIN, y, WIDTH - 2 * MARGIN, 1, "#888");

	/* The times are those of the log, wherever the picture begins. */
	for (moment tick = (in.from + step - moment(1)) / step * step; tick <= in.to;
	     tick += step) {
		const double x = in.x(tick);
		text += box(x, y, 1, 6, "#888");
		text += words(x, y + 20, "tick", number_text(seconds_of(tick)) + " s");
	}
	return text;
}

static std::string row_words(const timeline &times, size_t index, double y, moment end)
{
	const timeline::row &row = times.rows()[index];
	char counts[96];

	snprintf(counts, sizeof(counts), "%llu %s, %.1f s",
		 static_cast<unsigned long long>(row.times), row.times == 1 ? "time" : "times",
		 seconds_of(times.total(index, end)));
	const std::string more = row.air.doing != radio::advertising
					 ? ""
					 : ", every " + number_text(interval_ms(row.air.slots)) +
						   " ms from " + address_text(row.air.address);
	const std::string what = row.air.doing == radio::advertising ? payload_text(row.air.payload)
								     : air_text(row.air);
	return words(MARGIN, y, "name", what) + words(MARGIN, y + 14, "small", counts + more);
}

static std::string bars(const timeline &times, const scale &in)
{
	static constexpr const char *palette[] = { "#2a9d8f", "#457b9d", "#e9a820",
						   "#9b5de5", "#3a5fcd", "#e76f51" };
	std::string text;
	const auto add = [&](const timeline::stretch &one) {
		const double y = TOP + ROW_HEIGHT * static_cast<double>(one.row) + 18;
		const double x = in.x(one.from);
		text += box(x, y, std::max(in.x(one.to) - x, 0.25), BAR_HEIGHT,
			    palette[one.row % std::size(palette)]);
	};

	for (const timeline::stretch &one : times.stretches())
		add(one);
	if (times.current())
		add({ *times.current(), times.current_since(), in.to });
	return text;
}

std::string svg_report(const std::string &title, const timeline &times, moment end)
{
	const auto count = static_cast<double>(times.rows().size());
	const double height = TOP + ROW_HEIGHT * count + AXIS_HEIGHT;
	const scale in = scale_of(times, end);
	char head[512];

	snprintf(head, sizeof(head),
		 "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
		 "viewBox=\"0 0 %.0f %.0f\" font-family=\"sans-serif\">\n"
		 "<style>.title{font-size:18px}.name{font-size:13px}"
		 ".small{font-size:11px;fill:#555}"
		 ".tick{font-size:11px;fill:#555;text-anchor:middle}</style>\n",
		 WIDTH, height, WIDTH, height);
	std::string text = head + box(0, 0, WIDTH, height, "#fff");
	text += words(MARGIN, 30, "title", title);
	for (size_t i = 0; i < times.rows().size(); i++)
		text += row_words(times, i, TOP + ROW_HEIGHT * static_cast<double>(i), end);
	for (size_t i = 0; i < times.rows().size(); i++)
		text += box(MARGIN, TOP + ROW_HEIGHT * static_cast<double>(i) + 18,
			    WIDTH - 2 * MARGIN, BAR_HEIGHT, "#f2f2f2");
	text += bars(times, in);
	if (times.forgotten() > 0)
		text += words(WIDTH / 2, 30, "small", "the earlier part of the run is left out");
	return text + axis(in, TOP + ROW_HEIGHT * count + 8) + "</svg>\n";
}

} // namespace sim
