// SPDX-License-Identifier: Apache-2.0
/* The plain text about what is on the air: a line for each change, or now and then a summary. */
#pragma once

#include "sim/output/timeline.h"

namespace sim
{

class air_log
{
      public:
	/* With a summary interval a known beacon gets no further line of its own. */
	explicit air_log(moment summary_every) : m_every(summary_every), m_next(summary_every) {}

	/* The line for a change, to be asked before the timeline has it; may be empty. */
	std::string change(const air_state &air, const timeline &before, moment at);

	/* The summary, when it is time for one; else empty. */
	std::string summary(const timeline &times, moment now);
	std::optional<moment> next() const;

      private:
	moment m_every;
	moment m_next;
};

/* "+1.234 s  " */
std::string time_text(moment at);

} // namespace sim
