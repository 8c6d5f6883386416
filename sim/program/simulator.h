// SPDX-License-Identifier: Apache-2.0
/* The running program: the line, the session, the sockets and the records, in one loop. */
#pragma once

#include "sim/air/air.h"
#include "sim/air/listener.h"
#include "sim/line/line.h"
#include "sim/program/records.h"
#include "sim/program/script.h"

#include <poll.h>

namespace sim
{

class simulator
{
      public:
	explicit simulator(const options &settings);
	~simulator();
	simulator(const simulator &) = delete;
	simulator &operator=(const simulator &) = delete;

	/* Opens everything; returns a fault or an empty text. */
	std::string open();

	/* Runs until a signal, a command or the end of its time; false: a record is incomplete. */
	bool run();

      private:
	moment now() const;
	std::string title() const;
	void note(const record &what);
	size_t appetite() const;
	void take_from_host();
	void give_to_host();
	void unplug(moment away);
	void plug_in_again();
	std::string command(const std::string &text);
	void serve_clients();
	void run_script();
	void share_air();
	void listen();
	void tell_air();
	moment wait_until() const;
	std::vector<pollfd> watched() const;
	bool wait();

	options m_options;
	records m_records;
	session m_session;
	line m_line;
	neighbours m_neighbours;
	air_link m_air;
	listener m_listener;
	std::mt19937 m_chance;
	uint32_t m_chance_of_beacon = 0;
	bool m_was_advertising = false;
	std::string m_name;
	std::optional<moment> m_receiving_since;
	text_socket m_control;
	std::vector<text_socket> m_clients;
	std::vector<timed_command> m_script;
	size_t m_script_done = 0;
	bytes m_unsent;
	std::optional<moment> m_plug_in_at;
	bool m_quit = false;
	bool m_failed = false;
	std::chrono::steady_clock::time_point m_start;
	int m_signals = -1;
};

} // namespace sim
