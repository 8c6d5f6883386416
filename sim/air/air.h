// SPDX-License-Identifier: Apache-2.0
/* The air that several simulators share: what each sends, and what each receives. */
#pragma once

#include "sim/air/advertisement.h"
#include "sim/air/socket.h"
#include "sim/line/pace.h"

#include <map>
#include <utility>

namespace sim
{

/* The other simulators on the air, according to their messages. */
class neighbours
{
      public:
	struct neighbour {
		air_state air;
		uint32_t chance = 0; /* seed of the delays of its advertising events */
		moment since = {};
		uint64_t counted = 0; /* test packets counted by the running receiver test */
	};

	/*
	 * Takes a message; false when it is not of a neighbour. Packets sent before it can still
	 * be counted.
	 */
	bool take(const std::string &message, moment now);

	/* The new test packets for a receiver that listens on this channel since `since`. */
	uint32_t new_packets(uint8_t channel, moment since, moment now);

	/* The receiver starts, or does not run: begin at zero. */
	void begin_count();

	const std::map<std::string, neighbour> &all() const
	{
		return m_all;
	}
	void clear()
	{
		m_all.clear();
	}

	/* A line for each simulator on the air. */
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

/* The time from one test packet's start to the next, for this payload length. */
moment test_packet_interval(uint8_t length);

/* The message with which a simulator reports its air to the others. */
std::string air_message(const std::string &name, const air_state &air, uint32_t chance);

/* The message of a newcomer: all others then report their air. */
constexpr const char *AIR_HELLO = "hello";

/* The socket of the air: the first simulator keeps it for all others. */
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

	/* The messages of the others, and a final message for each simulator that has gone. */
	std::vector<std::string> hear();

	/* True once after the keeper of the air has gone: all reports are lost. */
	bool take_loss()
	{
		return std::exchange(m_lost_keeper, false);
	}
	std::vector<int> descriptors() const;

      private:
	struct peer {
		text_socket socket;
		std::string name = {}; /* from its messages */
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
