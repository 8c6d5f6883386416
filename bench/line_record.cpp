// SPDX-License-Identifier: Apache-2.0
#include "bench/line_record.h"

#include "bench/access_point.h"

#include <stdexcept>

constexpr int64_t BAUD = 115200;
constexpr int64_t BITS_PER_BYTE = 10;
constexpr size_t FILE_HEADER = 16;
constexpr size_t PACKET_HEADER = 24;

/* The first second of 2000: in microseconds of the file, and in seconds since 1970. */
constexpr int64_t YEAR_2000_IN_FILE = 0x00E03AB44A676000;
constexpr int64_t YEAR_2000 = 946'684'800;

static int64_t high_first(const std::string &data, size_t offset, size_t count)
{
	uint64_t value = 0;

	for (size_t i = 0; i < count; i++)
		value = value << 8 | static_cast<uint8_t>(data[offset + i]);
	return static_cast<int64_t>(value);
}

int64_t wire_time(size_t bytes)
{
	return static_cast<int64_t>(bytes) * BITS_PER_BYTE * 1'000'000'000 / BAUD;
}

int64_t begin_of(const line_packet &packet)
{
	return packet.at - wire_time(packet.bytes.size());
}

std::vector<line_packet> read_line_record(const std::string &path)
{
	const std::string data = content_of(path);
	std::vector<line_packet> packets;

	for (size_t at = FILE_HEADER; at + PACKET_HEADER <= data.size();) {
		const auto length = static_cast<size_t>(high_first(data, at + 4, 4));
		const bool to_host = high_first(data, at + 8, 4) & 1;
		const int64_t time = high_first(data, at + 16, 8) - YEAR_2000_IN_FILE;
		at += PACKET_HEADER;
		if (at + length > data.size())
			break;
		packets.push_back({ (time + YEAR_2000 * 1'000'000) * 1000,
				    to_host,
				    { data.begin() + static_cast<ptrdiff_t>(at),
				      data.begin() + static_cast<ptrdiff_t>(at + length) } });
		at += length;
	}
	return packets;
}

size_t bytes_of(const std::vector<line_packet> &packets, size_t first, size_t last)
{
	size_t count = 0;

	for (size_t i = first; i < last; i++)
		count += packets[i].bytes.size();
	return count;
}

size_t find_command(const std::vector<line_packet> &packets, uint16_t opcode, size_t from)
{
	for (size_t i = from; i < packets.size(); i++)
		if (packets[i].is_command(opcode))
			return i;
	throw std::runtime_error("a command is missing in the record of the line");
}
