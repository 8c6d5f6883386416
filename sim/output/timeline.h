// SPDX-License-Identifier: Apache-2.0
/* What was on the air and when: one row for each advertisement or test, with its periods. */
#pragma once

#include "sim/controller/controller.h"
#include "sim/line/pace.h"

namespace sim
{

class timeline
{
      public:
	struct row {
		air_state air;
		uint64_t times = 0; /* how often it began */
		moment total = {};  /* on the air, without the current period */
		moment first = {};
		moment last = {}; /* its last begin */
	};
	struct stretch {
		size_t row;
		moment from;
		moment to;
	};

	/* `air` is on the air from `at` on. */
	void change(const air_state &air, moment at);

	const std::vector<row> &rows() const
	{
		return m_rows;
	}
	const std::deque<stretch> &stretches() const
	{
		return m_stretches;
	}

	/* The row that is on the air. */
	std::optional<size_t> current() const
	{
		return m_current;
	}
	moment current_since() const
	{
		return m_since;
	}

	/* How long a row has been on the air until `now`. */
	moment total(size_t index, moment now) const;

	/* The number of rows and periods dropped because of the limits. */
	uint64_t forgotten() const
	{
		return m_forgotten;
	}

      private:
	std::optional<size_t> row_of(const air_state &air, moment at);
	void end_current(moment at);

	std::vector<row> m_rows;
	std::deque<stretch> m_stretches;
	std::optional<size_t> m_current;
	moment m_since = {};
	uint64_t m_forgotten = 0;
};

} // namespace sim
