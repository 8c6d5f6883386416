// SPDX-License-Identifier: Apache-2.0
/* The pace of a serial line: bytes enter at once and leave one after the other. */
#pragma once

#include "sim/controller/bytes.h"

#include <chrono>
#include <deque>

namespace sim
{

/* Time since the simulator's start. */
using moment = std::chrono::nanoseconds;

constexpr unsigned BITS_PER_BYTE = 10; /* with start and stop bit */

class line_pace
{
      public:
	/* With a baud rate of 0 every byte arrives at once. */
	explicit line_pace(uint32_t baud) : m_baud(baud) {}

	/* Sends bytes from `start` on, or after those before them. */
	void push(byte_view data, moment start);

	struct arrival {
		uint8_t byte;
		moment at;
	};

	/* The next byte, if it has arrived by `now`. */
	std::optional<arrival> take(moment now);

	/* When the next byte arrives. */
	std::optional<moment> next() const;

	/* When the line is free again. */
	moment free_at() const
	{
		return m_free_at;
	}
	size_t waiting() const
	{
		return m_waiting;
	}
	void clear();

      private:
	struct chunk {
		bytes data;
		size_t taken;
		moment start;
	};

	moment duration(size_t count) const;

	uint32_t m_baud;
	std::deque<chunk> m_chunks;
	size_t m_waiting = 0;
	moment m_free_at = {};
};

} // namespace sim
