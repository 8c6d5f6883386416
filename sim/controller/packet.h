// SPDX-License-Identifier: Apache-2.0
/* Finding whole packets in the bytes that arrive at a UART. */
#pragma once

#include "sim/controller/bytes.h"

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

/* How the packets begin by which a host brings a controller back in step. */
inline bytes standard_reset_head()
{
	return { PACKET_COMMAND, 0x03, 0x0C, 0x00 };
}

inline bytes ti_reset_head()
{
	return { PACKET_COMMAND, 0x1D, 0xFC, 0x01 };
}

/* What a reader makes of bytes that begin no packet. */
enum class stray : uint8_t {
	lose_sync, /* nobody knows where the next packet begins: only a reset is looked for */
	skip,      /* they are passed over */
};

constexpr size_t LONGEST_ACL_DATA = 27; /* that the controller has room for */

class packet_reader
{
      public:
	explicit packet_reader(enum stray how = stray::lose_sync,
			       std::vector<bytes> resets = { standard_reset_head() })
	    : m_stray(how), m_resets(std::move(resets))
	{
	}

	/*
	 * Takes one byte; the whole packet, indicator first, when this was its last byte. With
	 * this byte the step may be lost.
	 */
	std::optional<bytes> take(uint8_t byte);

	/* Bytes thrown away because no packet begins with them, since the last call. */
	bytes take_junk();

	/* From now on only a reset is found, wherever in the bytes it stands; it ends this. */
	void lose_sync();
	bool is_lost() const
	{
		return m_is_lost;
	}

	/* The reader forgets the packet that it is in: its controller has just started. */
	void restart();

	/* Inside a packet, the bytes of it so far. */
	size_t pending() const
	{
		return m_packet.size();
	}

      private:
	bool is_stray(uint8_t byte) const;
	bool may_be_reset() const;
	std::optional<bytes> take_whole();
	void keep_what_may_be_reset();

	enum stray m_stray;
	std::vector<bytes> m_resets;
	bytes m_packet;
	bytes m_junk;
	bool m_is_lost = false;
};

/* The bytes that a packet will have, once its header is there; 0 before. */
size_t packet_length(byte_view packet);

} // namespace sim
