// SPDX-License-Identifier: Apache-2.0
/* What was on the air and when: one row for each advertisement or test, with its periods. */
#include "sim/output/timeline.h"

#include <algorithm>

namespace sim
{

/* A run may last for weeks: the timeline must not grow with it. */
constexpr size_t MOST_ROWS = 64;
constexpr size_t MOST_STRETCHES = 20000;

std::optional<size_t> timeline::row_of(const air_state &air, moment at)
{
	const auto known = std::ranges::find(m_rows, air, &row::air);

	if (known != m_rows.end())
		return static_cast<size_t>(known - m_rows.begin());
	if (m_rows.size() == MOST_ROWS) {
		m_forgotten++;
		return std::nullopt;
	}
	m_rows.push_back({ .air = air, .first = at });
	return m_rows.size() - 1;
}

void timeline::end_current(moment at)
{
	if (!m_current)
		return;
	m_rows[*m_current].total += at - m_since;
	m_stretches.push_back({ *m_current, m_since, at });
	if (m_stretches.size() > MOST_STRETCHES) {
		m_stretches.pop_front();
		m_forgotten++;
	}
	m_current.reset();
}

void timeline::change(const air_state &air, moment at)
{
	end_current(at);
	m_since = at;
	if (air.doing == radio::off)
		return;
	m_current = row_of(air, at);
	if (!m_current)
		return;
	m_rows[*m_current].times++;
	m_rows[*m_current].last = at;
}

moment timeline::total(size_t index, moment now) const
{
	const bool is_on = m_current && *m_current == index;

	return m_rows[index].total + (is_on ? now - m_since : moment{});
}

} // namespace sim
