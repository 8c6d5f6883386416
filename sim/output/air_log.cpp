// SPDX-License-Identifier: Apache-2.0
/* The air as text: a line for each change, or summaries at intervals. */
#include "sim/output/air_log.h"

#include "sim/air/advertisement.h"

#include <algorithm>
#include <cstdio>

namespace sim
{

std::string time_text(moment at)
{
	char text[32];
	const double seconds = std::chrono::duration<double>(at).count();

	snprintf(text, sizeof(text), "+%.3f s  ", seconds);
	return text;
}

std::string air_log::change(const air_state &air, const timeline &before, moment at)
{
	const bool was_on = before.current().has_value();
	const bool is_known =
		std::ranges::find(before.rows(), air, &timeline::row::air) != before.rows().end();

	if (air.doing == radio::off)
		return time_text(at) + "off\n";
	if (m_every.count() > 0 && was_on && is_known)
		return "";
	return time_text(at) + (was_on ? "change " : "on     ") + air_text(air) + "\n";
}

static std::string row_summary(const timeline &times, size_t index, moment now)
{
	const timeline::row &row = times.rows()[index];
	const double seconds = std::chrono::duration<double>(times.total(index, now)).count();
	char counts[64];

	snprintf(counts, sizeof(counts), "%6.1f s in %4llu times  ", seconds,
		 static_cast<unsigned long long>(row.times));
	return time_text(now) + counts + air_text(row.air) + "\n";
}

std::string air_log::summary(const timeline &times, moment now)
{
	std::string text;

	if (m_every.count() == 0 || now < m_next)
		return "";
	while (m_next <= now)
		m_next += m_every;
	for (size_t i = 0; i < times.rows().size(); i++)
		text += row_summary(times, i, now);
	return text;
}

std::optional<moment> air_log::next() const
{
	return m_every.count() == 0 ? std::nullopt : std::optional(m_next);
}

} // namespace sim
