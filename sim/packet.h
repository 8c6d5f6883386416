// SPDX-License-Identifier: Apache-2.0
/* Finding whole packets in the bytes that arrive at a UART. */
#pragma once

#include "sim/bytes.h"

namespace sim
{

// clang-format off
enum indicator : uint8_t { /* the byte in front of every packet on the line */
	PACKET_COMMAND      = 0x01,
	PACKET_ACL_DATA     = 0x02,
	PACKET_SYNCHRONOUS  = 0x03,
	PACKET_EVENT        = 0x04,
	PACKET_ISOCHRONOUS  = 0x05,
};
// clang-format on

class packet_reader
{
      public:
	/* Takes one byte; the whole packet, indicator first, when this was its last byte. */
	std::optional<bytes> take(uint8_t byte);

	/* Bytes thrown away because no packet begins with them, since the last call. */
	bytes take_junk();

	/* The reader forgets the packet that it is in: its controller has just started. */
	void restart();

	/* Inside a packet, the bytes of it so far. */
	size_t pending() const
	{
		return m_packet.size();
	}

      private:
	bytes m_packet;
	bytes m_junk;
};

/* The bytes that a packet will have, once its header is there; 0 before. */
size_t packet_length(byte_view packet);

} // namespace sim
