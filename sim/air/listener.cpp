// SPDX-License-Identifier: Apache-2.0
/* A scan: which advertising events of the others fall into its windows, and the reports of them.
 */
#include "sim/air/listener.h"

#include "sim/controller/advertising_rules.h"
#include "sim/controller/packet.h"

#include <algorithm>

namespace sim
{

constexpr moment SLOT = std::chrono::microseconds(625);
constexpr moment BETWEEN_PACKETS = std::chrono::microseconds(150);
constexpr int64_t LONGEST_DELAY_US = 10'000; /* random, after each interval */
constexpr unsigned CHANNELS = 3;
constexpr uint8_t EVENT_LE_META = 0x3E;
constexpr uint8_t ADVERTISING_REPORT = 0x02;
constexpr uint8_t REPORT_OF_SCAN_RESPONSE = 0x04;
constexpr size_t MOST_TOLD = 1000; /* with more senders duplicates are reported again */

/* With preamble 1, access address 4, header 2, address 6 and check 3 bytes. */
static moment packet_duration(size_t payload)
{
	return std::chrono::microseconds(static_cast<int64_t>(16 + payload) * 8);
}

/*
 * The packets of one event are sent on the three channels in turn. A scan listens on one channel
 * during its window, and on the next channel in the next interval. Only whole packets count.
 */
unsigned listener::times_heard(const scan_state &scan, const air_state &air, moment at) const
{
	const moment duration = packet_duration(air.payload.size());
	const moment interval = scan.interval_slots * SLOT;
	const moment window = scan.window_slots * SLOT;
	unsigned times = 0;

	for (unsigned channel = 0; channel < CHANNELS; channel++) {
		if ((air.channels >> channel & 1) == 0)
			continue;
		const moment listened = at - m_since;
		const bool fits = listened.count() >= 0 &&
				  listened % interval + duration <= window &&
				  listened / interval % CHANNELS == channel;
		times += fits ? 1 : 0;
		at += duration + BETWEEN_PACKETS;
	}
	return times;
}

bytes listener::report(uint8_t type, const air_state &air, byte_view data) const
{
	bytes event = { PACKET_EVENT,
			EVENT_LE_META,
			static_cast<uint8_t>(12 + data.size()),
			ADVERTISING_REPORT,
			1,
			type,
			air.is_random_address };

	append(event, air.address);
	event.push_back(static_cast<uint8_t>(data.size()));
	append(event, data);
	event.push_back(static_cast<uint8_t>(m_strength));
	return event;
}

void listener::tell(const scan_state &scan, const air_state &air, std::vector<bytes> &told)
{
	const peer_address who = { air.is_random_address, air.address };
	const bool asks = scan.asks && is_scannable(air.type);
	const bool is_wanted =
		scan.filter % 2 == 0 || std::ranges::find(scan.wanted, who) != scan.wanted.end();
	const auto is_new = [&](uint8_t type) {
		const std::pair<uint8_t, peer_address> one = { type, who };
		if (!scan.drops_duplicates)
			return true;
		if (std::ranges::find(m_told, one) != m_told.end())
			return false;
		if (m_told.size() < MOST_TOLD)
			m_told.push_back(one);
		return true;
	};

	/* Directed advertising is for another device. */
	if (!is_wanted || air.type == DIRECTED_FAST || air.type == DIRECTED_SLOW)
		return;
	if (is_new(air.type))
		told.push_back(report(air.type, air, air.payload));
	if (asks && is_new(REPORT_OF_SCAN_RESPONSE))
		told.push_back(report(REPORT_OF_SCAN_RESPONSE, air, air.scan_response));
}

/* A new scan has heard no sender yet. */
void listener::begin(const scan_state &scan, moment now)
{
	m_scan = scan.number;
	m_since = now;
	m_told.clear();
}

std::vector<bytes> listener::hear(const neighbours &others, const scan_state &scan, moment now)
{
	std::vector<bytes> told;

	m_next.reset();
	if (scan.is_on && scan.number != m_scan)
		begin(scan, now);
	std::erase_if(m_senders,
		      [&](const auto &one) { return !others.all().contains(one.first); });
	for (const auto &[name, other] : others.all()) {
		if (other.air.doing != radio::advertising)
			continue;
		sender &one = m_senders[name];
		if (one.next.count() == 0 || one.chance != other.chance)
			one = { other.chance, std::mt19937(other.chance), other.since };
		while (one.next <= now) {
			if (scan.is_on)
				for (unsigned n = times_heard(scan, other.air, one.next); n > 0;
				     n--)
					tell(scan, other.air, told);
			const auto delay = one.random() % (LONGEST_DELAY_US + 1);
			one.next += other.air.slots * SLOT + std::chrono::microseconds(delay);
		}
		if (scan.is_on)
			m_next = std::min(m_next.value_or(one.next), one.next);
	}
	return told;
}

} // namespace sim
