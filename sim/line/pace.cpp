// SPDX-License-Identifier: Apache-2.0
/* The pace of a serial line: bytes enter at once and leave one after the other. */
#include "sim/line/pace.h"

#include <algorithm>

namespace sim
{

/* From the start of a chunk, so that rounding errors do not add up. */
moment line_pace::duration(size_t count) const
{
	if (m_baud == 0)
		return {};
	return moment(static_cast<int64_t>(count * BITS_PER_BYTE * 1'000'000'000 / m_baud));
}

void line_pace::push(byte_view data, moment start)
{
	if (data.empty())
		return;
	const moment begin = std::max(start, m_free_at);
	m_chunks.push_back({ bytes(data.begin(), data.end()), 0, begin });
	m_waiting += data.size();
	m_free_at = begin + duration(data.size());
}

std::optional<moment> line_pace::next() const
{
	if (m_chunks.empty())
		return std::nullopt;
	const chunk &first = m_chunks.front();
	return first.start + duration(first.taken + 1);
}

std::optional<line_pace::arrival> line_pace::take(moment now)
{
	const auto at = next();

	if (!at || *at > now)
		return std::nullopt;
	chunk &first = m_chunks.front();
	const uint8_t byte = first.data[first.taken++];
	if (first.taken == first.data.size())
		m_chunks.pop_front();
	m_waiting--;
	return arrival{ byte, *at };
}

void line_pace::clear()
{
	m_chunks.clear();
	m_waiting = 0;
	m_free_at = {};
}

} // namespace sim
