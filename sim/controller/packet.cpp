// SPDX-License-Identifier: Apache-2.0
/* Finds whole packets in the bytes from a UART. */
#include "sim/controller/packet.h"

#include <algorithm>
#include <utility>

namespace sim
{

static bool begins_packet(uint8_t byte)
{
	return byte >= PACKET_COMMAND && byte <= PACKET_ISOCHRONOUS;
}

size_t packet_length(byte_view packet)
{
	if (packet.empty())
		return 0;
	switch (packet[0]) {
	case PACKET_COMMAND:
	case PACKET_SYNCHRONOUS:
		return packet.size() < 4 ? 0 : 4u + packet[3];
	case PACKET_ACL_DATA:
		return packet.size() < 5 ? 0 : 5u + low_first_16(packet, 3);
	case PACKET_ISOCHRONOUS:
		return packet.size() < 5 ? 0 : 5u + (low_first_16(packet, 3) & 0x3FFFu);
	default:
		return packet.size() < 3 ? 0 : 3u + packet[2];
	}
}

bool packet_reader::may_be_reset() const
{
	return std::ranges::any_of(m_resets, [this](const bytes &head) {
		const size_t count = std::min(m_packet.size(), head.size());
		return std::equal(head.begin(), head.begin() + static_cast<ptrdiff_t>(count),
				  m_packet.begin());
	});
}

void packet_reader::keep_what_may_be_reset()
{
	while (!may_be_reset()) {
		m_junk.push_back(m_packet.front());
		m_packet.erase(m_packet.begin());
	}
}

/* A controller that skips stray bytes accepts all kinds of packets; else only those of a host. */
bool packet_reader::is_stray(uint8_t byte) const
{
	if (m_stray == stray::skip)
		return m_packet.empty() && !begins_packet(byte);
	if (m_packet.empty())
		return byte != PACKET_COMMAND && byte != PACKET_ACL_DATA;
	return m_packet[0] == PACKET_ACL_DATA && m_packet.size() == 4 &&
	       (byte << 8 | m_packet[3]) > static_cast<int>(LONGEST_ACL_DATA);
}

std::optional<bytes> packet_reader::take_whole()
{
	if (m_packet.empty() || packet_length(m_packet) != m_packet.size())
		return std::nullopt;
	m_is_lost = false;
	return std::exchange(m_packet, {});
}

std::optional<bytes> packet_reader::take(uint8_t byte)
{
	if (!m_is_lost && is_stray(byte)) {
		if (m_stray == stray::skip) {
			m_junk.push_back(byte);
			return std::nullopt;
		}
		m_is_lost = true;
	}
	m_packet.push_back(byte);
	if (m_is_lost)
		keep_what_may_be_reset();
	return take_whole();
}

bytes packet_reader::take_junk()
{
	return std::exchange(m_junk, {});
}

void packet_reader::lose_sync()
{
	m_is_lost = true;
	keep_what_may_be_reset();
}

void packet_reader::restart()
{
	m_is_lost = false;
	m_packet.clear();
	m_junk.clear();
}

} // namespace sim
