// SPDX-License-Identifier: Apache-2.0
/* The live view: what is on the air now, what was, and the last seconds as a row of blocks. */
#include "sim/live_view.h"

#include "sim/advertisement.h"

#include <algorithm>
#include <cstdio>

namespace sim
{

constexpr moment WINDOW = std::chrono::seconds(10);
constexpr size_t LINES_PER_ROW = 3;
constexpr size_t OTHER_LINES = 5; /* title, state, blank, axis, and what is left out */

static std::string painted(const std::string &text, size_t row, colours colour)
{
	static constexpr int palette[] = { 32, 36, 33, 35, 34, 31 };

	if (colour == colours::none)
		return text;
	return "\033[" + std::to_string(palette[row % std::size(palette)]) + "m" + text + "\033[0m";
}

/* At most so many letters: a line that the terminal breaks would push the others down. */
static std::string fit(const std::string &text, size_t columns)
{
	size_t letters = 0;

	for (size_t i = 0; i < text.size(); i++) {
		const bool begins_letter = (static_cast<uint8_t>(text[i]) & 0xC0) != 0x80;
		if (begins_letter && ++letters > columns)
			return text.substr(0, i);
	}
	return text;
}

/* The share of each cell of the window in which a row was on the air. */
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

static std::string bar(const std::vector<double> &share)
{
	static constexpr const char *blocks[] = { " ", "░", "▒", "▓", "█" };
	std::string text;

	for (const double part : share)
		text += part <= 0
				? blocks[0]
				: blocks[static_cast<size_t>(std::clamp(part * 4 + 0.5, 1.0, 4.0))];
	return text;
}

static std::string heading(const air_state &air)
{
	return air.doing == radio::advertising ? payload_text(air.payload) : air_text(air);
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

static std::string state_line(const timeline &times, moment now)
{
	const auto current = times.current();
	char text[64];

	if (!current)
		return "the radio is off";
	const double seconds = std::chrono::duration<double>(now - times.current_since()).count();
	snprintf(text, sizeof(text), "on the air for %.1f s: ", seconds);
	return text + heading(times.rows()[*current].air);
}

std::string draw_view(const std::string &title, const timeline &times, moment now, view_size size,
		      colours colour)
{
	const size_t cells = size.columns > 8 ? size.columns - 4 : 4;
	const size_t room =
		size.lines > OTHER_LINES ? (size.lines - OTHER_LINES) / LINES_PER_ROW : 0;
	const size_t count = std::min(times.rows().size(), std::max<size_t>(room, 1));
	char clock[32];

	snprintf(clock, sizeof(clock), "  %.1f s", std::chrono::duration<double>(now).count());
	std::string text = fit(title + clock, size.columns) + "\n" +
			   fit(state_line(times, now), size.columns) + "\n\n";
	for (size_t i = 0; i < count; i++) {
		const std::string mark = times.current() == i ? "● " : "  ";
		text += painted(fit(mark + heading(times.rows()[i].air), size.columns), i, colour);
		text += "\n" + fit("  " + details(times, i, now), size.columns) + "\n";
		text += "  " + painted(bar(shares(times, i, now, cells)), i, colour) + "\n";
	}
	if (count > 0)
		text += axis(cells);
	if (count < times.rows().size())
		text += "  and " + std::to_string(times.rows().size() - count) + " more\n";
	return text;
}

} // namespace sim
