// SPDX-License-Identifier: Apache-2.0
/* Finding whole packets in the bytes that arrive at a UART. */
#include "sim/packet.h"

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

std::optional<bytes> packet_reader::take(uint8_t byte)
{
	if (m_packet.empty() && !begins_packet(byte)) {
		m_junk.push_back(byte);
		return std::nullopt;
	}
	m_packet.push_back(byte);
	if (packet_length(m_packet) != m_packet.size())
		return std::nullopt;
	return std::exchange(m_packet, {});
}

bytes packet_reader::take_junk()
{
	return std::exchange(m_junk, {});
}

void packet_reader::restart()
{
	m_packet.clear();
	m_junk.clear();
}

} // namespace sim
