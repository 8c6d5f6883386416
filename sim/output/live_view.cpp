// SPDX-License-Identifier: Apache-2.0
/* The live view: what is and was on the air, and the last seconds as rows of blocks. */
#include "sim/output/live_view.h"

#include "sim/air/advertisement.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace sim
{

constexpr moment WINDOW = std::chrono::seconds(10);
constexpr size_t LINES_PER_ROW = 3;
constexpr size_t OTHER_LINES = 4;     /* title, state, empty line, axis */
constexpr size_t LEAST_WITH_BARS = 8; /* lines; with fewer a row has one line without blocks */

struct glyphs {
	const char *cells[5]; /* from never on the air to always */
	const char *mark;     /* before the row that is on the air */
	const char *cut;
};

static const glyphs &glyphs_of(letters alphabet)
{
	static constexpr glyphs utf8 = { { " ", "░", "▒", "▓", "█" }, "● ", "…" };
	static constexpr glyphs ascii = { { " ", ".", ":", "+", "#" }, "* ", ">" };

	return alphabet == letters::utf8 ? utf8 : ascii;
}

static std::string painted(const std::string &text, size_t row, colours colour)
{
	static constexpr int palette[] = { 32, 36, 33, 35, 34, 31 };

	if (colour == colours::none)
		return text;
	return "\033[" + std::to_string(palette[row % std::size(palette)]) + "m" + text + "\033[0m";
}

static size_t letters_in(const std::string &text)
{
	return static_cast<size_t>(std::ranges::count_if(
		text, [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}

/* A wrapped line would push the others down, and half a number would be a wrong one. */
static std::string fit(const std::string &text, size_t columns, const glyphs &g)
{
	if (letters_in(text) <= columns)
		return text;
	std::string part = text;
	while (letters_in(part) >= columns)
		part.pop_back();
	const size_t space = part.rfind(' ');
	return part.substr(0, space == std::string::npos ? 0 : space + 1) + g.cut;
}

/* For each cell of the window, the share of time in which a row was on the air. */
static std::vector<double> shares(const timeline &times, size_t index, moment now, size_t cells)
{
	std::vector<double> share(cells, 0);
	const double cell =
		std::chrono::duration<double>(WINDOW).count() / static_cast<double>(cells);
	const auto mark = [&](moment from, moment to) {
		const double begin = std::chrono::duration<double>(from - (now - WINDOW)).count();
		const double end = std::chrono::duration<double>(to - (now - WINDOW)).count();
		const double last = static_cast<double>(cells);
		const auto first = static_cast<size_t>(std::clamp(begin / cell, 0.0, last));

		for (size_t i = first; i < cells && static_cast<double>(i) * cell < end; i++) {
			const double low = std::max(begin, static_cast<double>(i) * cell);
			const double high = std::min(end, static_cast<double>(i + 1) * cell);
			share[i] += std::max(high - low, 0.0) / cell;
		}
	};
	const auto &stretches = times.stretches();

	for (auto s = stretches.rbegin(); s != stretches.rend() && s->to > now - WINDOW; ++s)
		if (s->row == index)
			mark(s->from, s->to);
	if (times.current() == index)
		mark(times.current_since(), now);
	return share;
}

static std::string bar(const std::vector<double> &share, const glyphs &g)
{
	std::string text;

	for (const double part : share)
		text += part <= 0 ? g.cells[0]
				  : g.cells[static_cast<size_t>(
					    std::clamp(part * 4 + 0.5, 1.0, 4.0))];
	return text;
}

/* The row's text; shortens the UUID on a short line, because the numbers differ. */
static std::string heading(const air_state &air, size_t columns, const glyphs &g)
{
	const auto found = decode_beacon(air.payload);
	const std::string whole =
		air.doing == radio::advertising ? payload_text(air.payload) : air_text(air);

	if (letters_in(whole) <= columns || air.doing != radio::advertising || !found)
		return fit(whole, columns, g);
	const std::string numbers = "major " + std::to_string(found->major_number) + " minor " +
				    std::to_string(found->minor_number);
	const std::string shorter = "uuid " + found->uuid.substr(0, 8) + g.cut + " " + numbers +
				    " power " + std::to_string(found->measured_power) + " dBm";
	return letters_in(shorter) <= columns ? shorter : fit(numbers, columns, g);
}

static std::string details(const timeline &times, size_t index, moment now)
{
	const timeline::row &row = times.rows()[index];
	const double seconds = std::chrono::duration<double>(times.total(index, now)).count();
	char text[128];

	snprintf(text, sizeof(text), "%llu %s, %.1f s on the air",
		 static_cast<unsigned long long>(row.times), row.times == 1 ? "time" : "times",
		 seconds);
	if (row.air.doing != radio::advertising)
		return text;
	return std::string(text) + ", every " + number_text(interval_ms(row.air.slots)) +
	       " ms from " + address_text(row.air.address);
}

static std::string axis(size_t cells)
{
	const std::string left = "10 s ago";
	const std::string right = "now";
	const size_t gap =
		cells > left.size() + right.size() ? cells - left.size() - right.size() : 1;

	return "  " + left + std::string(gap, ' ') + right + "\n";
}

static std::string state_line(const timeline &times, moment now, size_t columns, const glyphs &g)
{
	const auto current = times.current();
	char text[64];

	if (!current)
		return "the radio is off";
	const double seconds = std::chrono::duration<double>(now - times.current_since()).count();
	const int length = snprintf(text, sizeof(text), "on the air for %.1f s", seconds);
	const auto room = static_cast<size_t>(length) + 2;
	if (columns < room + strlen("major 1 minor 1"))
		return fit(text, columns, g);
	return std::string(text) + ": " + heading(times.rows()[*current].air, columns - room, g);
}

static std::string first_line(const std::string &title, moment now, size_t columns, const glyphs &g)
{
	char clock[32];

	snprintf(clock, sizeof(clock), "  %.1f s", std::chrono::duration<double>(now).count());
	const size_t room = columns > strlen(clock) ? columns - strlen(clock) : 0;
	return fit(title, room, g) + clock;
}

/* How many rows fit into the lines; the last line may be needed to count the others. */
static size_t rows_shown(size_t rows, size_t lines, size_t lines_per_row)
{
	if (rows * lines_per_row <= lines)
		return rows;
	return lines > 0 ? (lines - 1) / lines_per_row : 0;
}

std::string draw_view(const std::string &title, const timeline &times, moment now, view_size size,
		      colours colour, letters alphabet)
{
	const glyphs &g = glyphs_of(alphabet);
	const bool has_bars = size.lines >= LEAST_WITH_BARS;
	const size_t cells = size.columns > 8 ? size.columns - 4 : 4;
	const size_t rows = times.rows().size();
	const size_t count = has_bars ? rows_shown(rows, size.lines - OTHER_LINES, LINES_PER_ROW)
				      : rows_shown(rows, size.lines > 2 ? size.lines - 2 : 0, 1);
	std::string text = first_line(title, now, size.columns, g) + "\n" +
			   state_line(times, now, size.columns, g) + (has_bars ? "\n\n" : "\n");

	for (size_t i = 0; i < count; i++) {
		const std::string mark = times.current() == i ? g.mark : "  ";
		text += painted(mark + heading(times.rows()[i].air, size.columns - 2, g), i,
				colour);
		text += "\n";
		if (!has_bars)
			continue;
		text += fit("  " + details(times, i, now), size.columns, g) + "\n";
		text += "  " + painted(bar(shares(times, i, now, cells), g), i, colour) + "\n";
	}
	if (has_bars && count > 0)
		text += axis(cells);
	if (count < rows)
		text += "  and " + std::to_string(rows - count) + " more\n";
	return text;
}

} // namespace sim
