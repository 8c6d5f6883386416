// SPDX-License-Identifier: Apache-2.0
/* The air that several simulators share: who sends what, and what of it one of them hears. */
#pragma once

#include "sim/advertisement.h"
#include "sim/pace.h"
#include "sim/socket.h"

#include <map>

namespace sim
{

/* The others on the air, as their messages tell. */
class neighbours
{
      public:
	struct neighbour {
		air_state air;
		moment since = {};
		uint64_t counted = 0; /* of its test packets, by the receiver test that runs */
	};

	/* Takes a message; false when it is none of a neighbour's. */
	bool take(const std::string &message, moment now);

	/* The test packets that a receiver on this channel since `since` has not counted yet. */
	uint32_t new_packets(uint8_t channel, moment since, moment now);

	/* The receiver starts or ends: nothing is counted yet. */
	void begin_count();

	const std::map<std::string, neighbour> &all() const
	{
		return m_all;
	}
	void clear()
	{
		m_all.clear();
	}

	/* A line for each that is on the air. */
	std::string list() const;

      private:
	std::map<std::string, neighbour> m_all;
};

/* The time from the start of one test packet to the next, for its payload's length. */
moment test_packet_interval(uint8_t length);

/* How a simulator tells the others what it has on the air. */
std::string air_message(const std::string &name, const air_state &air);

/* What a newcomer says so that all others tell theirs. */
constexpr const char *AIR_HELLO = "hello";

/* The socket of the air: the first who comes keeps it for all others. */
class air_link
{
      public:
	air_link() = default;
	~air_link();
	air_link(const air_link &) = delete;
	air_link &operator=(const air_link &) = delete;

	std::string open(const std::string &path);
	bool is_open() const
	{
		return m_listener.is_open() || !m_peers.empty();
	}
	void say(const std::string &message);

	/* What the others have said. */
	std::vector<std::string> hear();
	std::vector<int> descriptors() const;

      private:
	void accept_all();
	void rejoin();

	std::string m_path;
	text_socket m_listener;
	std::vector<text_socket> m_peers;
};

} // namespace sim
