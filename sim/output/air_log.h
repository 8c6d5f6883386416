// SPDX-License-Identifier: Apache-2.0
/* The air as text: a line for each change, or summaries at intervals. */
#pragma once

#include "sim/output/timeline.h"

namespace sim
{

class air_log
{
      public:
	/* With a summary interval a known beacon gets no further line. */
	explicit air_log(moment summary_every) : m_every(summary_every), m_next(summary_every) {}

	/* The line for a change, which may be empty; call it before the timeline's change. */
	std::string change(const air_state &air, const timeline &before, moment at);

	/* The summary if it is time for one; else empty. */
	std::string summary(const timeline &times, moment now);
	std::optional<moment> next() const;

      private:
	moment m_every;
	moment m_next;
};

/* "+1.234 s  " */
std::string time_text(moment at);

} // namespace sim
