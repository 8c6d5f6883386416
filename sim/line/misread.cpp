// SPDX-License-Identifier: Apache-2.0
/* What a UART receives of bytes that were sent with another baud rate. */
#include "sim/line/misread.h"

namespace sim
{

/* The level of each bit on the line: start bit 0, eight bits from the lowest, stop bit 1. */
static std::vector<bool> levels_of(byte_view sent)
{
	std::vector<bool> levels;

	for (const uint8_t byte : sent) {
		levels.push_back(false);
		for (int bit = 0; bit < 8; bit++)
			levels.push_back(byte >> bit & 1);
		levels.push_back(true);
	}
	return levels;
}

/*
 * Time is counted in units in which the sender's bit lasts `read_at` and the reader's `sent_at`,
 * so that both are whole numbers. A byte without a stop bit reads as 0, as from a terminal.
 */
bytes misread(byte_view sent, uint32_t sent_at, uint32_t read_at)
{
	const std::vector<bool> levels = levels_of(sent);
	const uint64_t sent_bit = read_at;
	const uint64_t read_bit = sent_at;
	const auto level = [&](uint64_t at) {
		return at / sent_bit >= levels.size() || levels[at / sent_bit];
	};
	const uint64_t end = levels.size() * sent_bit;
	uint64_t now = 0;
	bytes read;

	while (now < end) {
		if (level(now)) { /* idle: go to the next edge of the sender's bits */
			now = (now / sent_bit + 1) * sent_bit;
			continue;
		}
		uint8_t byte = 0;
		for (uint64_t bit = 0; bit < 8; bit++)
			if (level(now + read_bit * (2 * bit + 3) / 2))
				byte = static_cast<uint8_t>(byte | 1u << bit);
		now += read_bit * 19 / 2;
		const bool is_framed = level(now);
		read.push_back(is_framed ? byte : uint8_t{ 0 });
		while (!is_framed && now < end &&
		       !level(now)) /* a break lasts until the line rises */
			now += sent_bit;
	}
	return read;
}

} // namespace sim
