// SPDX-License-Identifier: Apache-2.0
/* The record of the line as a btsnoop file for packet analysers. */
#include "sim/output/capture.h"

#include "sim/controller/packet.h"

#include <cerrno>
#include <cstring>

namespace sim
{

constexpr uint32_t FORMAT_VERSION = 1;
constexpr uint32_t DATALINK_H4 = 1002; /* each packet begins with its indicator */
constexpr uint32_t FLAG_TO_HOST = 0x01;
constexpr uint32_t FLAG_COMMAND_OR_EVENT = 0x02;
constexpr size_t RECORD_HEADER = 24;

/* The first second of 2000: in microseconds of the file, and in seconds since 1970. */
constexpr uint64_t YEAR_2000_IN_FILE = 0x00E03AB44A676000;
constexpr uint64_t YEAR_2000 = 946'684'800;

static void append_high_first(bytes &data, uint64_t value, unsigned count)
{
	for (unsigned i = count; i-- > 0;)
		data.push_back(static_cast<uint8_t>(value >> 8 * i));
}

static uint64_t file_time(capture::wall_time at)
{
	using std::chrono::duration_cast;
	using std::chrono::microseconds;
	const auto since_1970 = duration_cast<microseconds>(at.time_since_epoch()).count();

	return static_cast<uint64_t>(since_1970) - YEAR_2000 * 1'000'000 + YEAR_2000_IN_FILE;
}

std::string capture::begin_file()
{
	bytes header = { 'b', 't', 's', 'n', 'o', 'o', 'p', 0 };

	append_high_first(header, FORMAT_VERSION, 4);
	append_high_first(header, DATALINK_H4, 4);
	m_file = fopen(m_path.c_str(), "wb");
	if (!m_file || fwrite(header.data(), 1, header.size(), m_file) != header.size())
		return "cannot write " + m_path + ": " + strerror(errno);
	m_size = header.size();
	return "";
}

std::string capture::open(const std::string &path, uint64_t most)
{
	m_path = path;
	m_most = most;
	return begin_file();
}

void capture::close()
{
	flush();
	if (m_file)
		fclose(m_file);
	m_file = nullptr;
}

void capture::fail()
{
	if (m_problem.empty())
		m_problem = "cannot write " + m_path + ": " + strerror(errno);
}

void capture::rotate()
{
	const std::string older = m_path + ".1";

	close();
	if (rename(m_path.c_str(), older.c_str()) != 0)
		fail();
	if (const std::string problem = begin_file(); m_problem.empty())
		m_problem = problem;
}

void capture::add(byte_view packet, direction way, wall_time at)
{
	const bool is_message = packet[0] == PACKET_COMMAND || packet[0] == PACKET_EVENT;
	bytes record;

	if (m_most != 0 && m_size + RECORD_HEADER + packet.size() > m_most / 2)
		rotate();
	if (!m_file)
		return;
	append_high_first(record, packet.size(), 4);
	append_high_first(record, packet.size(), 4);
	append_high_first(record,
			  (way == direction::to_host ? FLAG_TO_HOST : 0) |
				  (is_message ? FLAG_COMMAND_OR_EVENT : 0),
			  4);
	append_high_first(record, 0, 4); /* dropped packets: none */
	append_high_first(record, file_time(at), 8);
	append(record, packet);
	m_is_flushed = false;
	m_size += record.size();
	if (fwrite(record.data(), 1, record.size(), m_file) != record.size())
		fail();
}

void capture::flush()
{
	if (m_file && !m_is_flushed && fflush(m_file) != 0)
		fail();
	m_is_flushed = true;
}

} // namespace sim
