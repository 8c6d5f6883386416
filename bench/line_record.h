// SPDX-License-Identifier: Apache-2.0
/* The simulator's record of the line: each packet with its time and duration. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct line_packet {
	int64_t at; /* end of its last byte, in nanoseconds since 1970 */
	bool to_host;
	std::vector<uint8_t> bytes;

	bool is_command(uint16_t opcode) const
	{
		return !to_host && (bytes[1] | bytes[2] << 8) == opcode;
	}
};

constexpr double MS = 1e6; /* nanoseconds */

/* Nanoseconds for this many bytes at 115200 baud, with start and stop bit. */
int64_t wire_time(size_t bytes);

/* The beginning of its first byte. */
int64_t begin_of(const line_packet &packet);

std::vector<line_packet> read_line_record(const std::string &path);

/* The bytes of [first, last), in both directions. */
size_t bytes_of(const std::vector<line_packet> &packets, size_t first, size_t last);

/* The index of the first such command from `from` on; there must be one. */
size_t find_command(const std::vector<line_packet> &packets, uint16_t opcode, size_t from);
