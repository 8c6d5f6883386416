// SPDX-License-Identifier: Apache-2.0
/* A scan: which advertising events of the others fall into its windows, and the reports of them.
 */
#pragma once

#include "sim/air/air.h"

namespace sim
{

class listener
{
      public:
	/* It receives everything with this strength, in dBm. */
	explicit listener(int8_t strength) : m_strength(strength) {}

	/*
	 * The report events since the last call. Call it also before a change of the others is
	 * taken: what they sent until then was heard.
	 */
	std::vector<bytes> hear(const neighbours &others, const scan_state &scan, moment now);

	/* When the next advertising event begins; empty: no sender, or no scan.
	 */
	std::optional<moment> next() const
	{
		return m_next;
	}

      private:
	/* An advertiser: its rhythm continues when its payload changes. */
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
	uint32_t m_scan = 0; /* the scan's number */
	moment m_since = {};
	std::map<std::string, sender> m_senders;
	std::vector<std::pair<uint8_t, peer_address>> m_told; /* reported: duplicates are dropped */
	std::optional<moment> m_next;
};

} // namespace sim
