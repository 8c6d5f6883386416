// SPDX-License-Identifier: Apache-2.0
/* A scan: which advertising events of the others fall into its windows, and what is told of them.
 */
#pragma once

#include "sim/air/air.h"

namespace sim
{

class listener
{
      public:
	/* All that it hears is as strong as this, in dBm. */
	explicit listener(int8_t strength) : m_strength(strength) {}

	/*
	 * The report events of what was heard since the last call. To be asked before a change of
	 * the others is taken, too: what they sent until then was heard.
	 */
	std::vector<bytes> hear(const neighbours &others, const scan_state &scan, moment now);

	/* When the next advertising event of anybody begins; empty: nobody sends or nobody scans.
	 */
	std::optional<moment> next() const
	{
		return m_next;
	}

      private:
	/* One who advertises: its events go on through changes of what it sends. */
	struct sender {
		uint32_t chance = 0;
		std::mt19937 random{ chance };
		moment next = {};
	};

	void begin(const scan_state &scan, moment now);
	unsigned times_heard(const scan_state &scan, const air_state &air, moment at) const;
	void tell(const scan_state &scan, const air_state &air, std::vector<bytes> &told);
	bytes report(uint8_t type, const air_state &air, byte_view data) const;

	int8_t m_strength;
	uint32_t m_scan = 0; /* its number */
	moment m_since = {};
	std::map<std::string, sender> m_senders;
	std::vector<std::pair<uint8_t, peer_address>> m_told; /* of which duplicates are dropped */
	std::optional<moment> m_next;
};

} // namespace sim
