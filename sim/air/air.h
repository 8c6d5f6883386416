// SPDX-License-Identifier: Apache-2.0
/* The air that several simulators share: who sends what, and what of it one of them hears. */
#pragma once

#include "sim/air/advertisement.h"
#include "sim/air/socket.h"
#include "sim/line/pace.h"

#include <map>
#include <utility>

namespace sim
{

/* The others on the air, as their messages tell. */
class neighbours
{
      public:
	struct neighbour {
		air_state air;
		uint32_t chance = 0; /* from which the delays of its advertising events come */
		moment since = {};
		uint64_t counted = 0; /* of its test packets, by the receiver test that runs */
	};

	/*
	 * Takes a message; false when it is none of a neighbour's. What somebody sent before it
	 * stays to be counted.
	 */
	bool take(const std::string &message, moment now);

	/* The test packets that a receiver on this channel since `since` has not counted yet. */
	uint32_t new_packets(uint8_t channel, moment since, moment now);

	/* The receiver starts or does not run: nothing is counted yet. */
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
	static uint64_t sent_by(const neighbour &other, moment since, moment until);

	std::map<std::string, neighbour> m_all;
	struct ended_test {
		neighbour who;
		moment until;
	};
	std::vector<ended_test> m_ended;
};

/* The time from the start of one test packet to the next, for its payload's length. */
moment test_packet_interval(uint8_t length);

/* How a simulator tells the others what it has on the air; `chance` is that of a neighbour. */
std::string air_message(const std::string &name, const air_state &air, uint32_t chance);

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

	/* What the others have said; what somebody who has gone can say no more is said for him. */
	std::vector<std::string> hear();

	/* The keeper of the air has gone, and with him all that he told; to be asked once. */
	bool take_loss()
	{
		return std::exchange(m_lost_keeper, false);
	}
	std::vector<int> descriptors() const;

      private:
	struct peer {
		text_socket socket;
		std::string name = {}; /* by which it calls itself */
	};

	void accept_all();
	void pass_on(const peer *from, const std::string &line);
	void part_from_gone(std::vector<std::string> &heard);
	void rejoin();

	std::string m_path;
	text_socket m_listener;
	std::vector<peer> m_peers;
	bool m_lost_keeper = false;
};

} // namespace sim
