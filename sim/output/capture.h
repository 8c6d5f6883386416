// SPDX-License-Identifier: Apache-2.0
/* The record of the line as a btsnoop file for packet analysers. */
#pragma once

#include "sim/controller/bytes.h"

#include <chrono>
#include <cstdio>

namespace sim
{

class capture
{
      public:
	enum class direction : uint8_t { from_host, to_host };
	using wall_time = std::chrono::system_clock::time_point;

	capture() = default;
	~capture()
	{
		close();
	}
	capture(const capture &) = delete;
	capture &operator=(const capture &) = delete;

	/*
	 * Keeps up to half of `most` bytes in the file and half in FILE.1, which has the older
	 * packets; 0: no limit. Returns a fault or an empty text.
	 */
	std::string open(const std::string &path, uint64_t most);

	/* Adds a packet, indicator first. */
	void add(byte_view packet, direction way, wall_time at);

	/* Writes everything, so that a reader sees it. */
	void flush();

	/* Why the record is incomplete, or an empty text. */
	const std::string &problem() const
	{
		return m_problem;
	}

      private:
	std::string begin_file();
	void rotate();
	void close();
	void fail();

	std::string m_path;
	std::string m_problem;
	uint64_t m_most = 0;
	uint64_t m_size = 0;
	bool m_is_flushed = true;
	FILE *m_file = nullptr;
};

} // namespace sim
