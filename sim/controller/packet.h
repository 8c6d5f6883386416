// SPDX-License-Identifier: Apache-2.0
/* Finds whole packets in the bytes from a UART. */
#pragma once

#include "sim/controller/bytes.h"

namespace sim
{

// clang-format off
enum indicator : uint8_t { /* the first byte of every packet on the line */
	PACKET_COMMAND      = 0x01,
	PACKET_ACL_DATA     = 0x02,
	PACKET_SYNCHRONOUS  = 0x03,
	PACKET_EVENT        = 0x04,
	PACKET_ISOCHRONOUS  = 0x05,
};
// clang-format on

/* The beginnings of the packets with which a host synchronizes a controller again. */
inline bytes standard_reset_head()
{
	return { PACKET_COMMAND, 0x03, 0x0C, 0x00 };
}

inline bytes ti_reset_head()
{
	return { PACKET_COMMAND, 0x1D, 0xFC, 0x01 };
}

/* What a reader does with bytes that begin no packet. */
enum class stray : uint8_t {
	lose_sync, /* the next packet's begin is unknown: search for a reset only */
	skip,
};

constexpr size_t LONGEST_ACL_DATA = 27; /* the size of the controller's buffer */

class packet_reader
{
      public:
	explicit packet_reader(enum stray how = stray::lose_sync,
			       std::vector<bytes> resets = { standard_reset_head() })
	    : m_stray(how), m_resets(std::move(resets))
	{
	}

	/*
	 * Takes one byte; returns the whole packet, indicator first, if it was the last byte. The
	 * byte may make the reader lose sync.
	 */
	std::optional<bytes> take(uint8_t byte);

	/* The bytes skipped since the last call because no packet begins with them. */
	bytes take_junk();

	/* Find only a reset, anywhere in the bytes; the reset ends this state. */
	void lose_sync();
	bool is_lost() const
	{
		return m_is_lost;
	}

	/* Drops an incomplete packet: the controller has just started. */
	void restart();

	/* The bytes of an incomplete packet so far. */
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

/* The length of the whole packet, or 0 before its header is complete. */
size_t packet_length(byte_view packet);

} // namespace sim
