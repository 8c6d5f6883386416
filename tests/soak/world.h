// SPDX-License-Identifier: Apache-2.0
/*
 * The programs of a soak run and the rules for them: one daemon, one simulated controller,
 * clients that start and end. A broken rule is thrown as a `violation`.
 */
#pragma once

#include "sim/air/socket.h"
#include "tests/soak/chance.h"
#include "tests/soak/guard.h"
#include "tests/soak/process.h"
#include "tests/soak/tally.h"
#include "tests/system/stage.h"

#include <stdexcept>

struct violation : std::runtime_error {
	using std::runtime_error::runtime_error;
};

class world : public SystemTest
{
      public:
	world(const std::vector<std::string> &kinds, tally &counted);

	/* Start everything; false if this machine does not allow it. */
	bool open(chance &dice);
	/* End everything in order, and check that nothing is left. */
	void close(chance &dice);
	/* Kill everything that still runs. */
	void clean_up();

	/* Programs. */
	void begin_daemon();
	void kill_daemon(const char *how);
	/* Start one and kill it while it starts; then no daemon runs. */
	void kill_starting_daemon(unsigned microseconds);
	/* By SIGTERM or SIGINT; its end must be clean. */
	void end_daemon(int signo, chance &dice);
	void signal_daemon(int signo);
	void begin_simulator(chance &dice);
	void kill_simulator();
	program begin_client(std::vector<std::string> words);
	/* Wait for its end; returns what it printed. */
	std::string end_client(const program &client);
	/* End it with kill -9; it may have ended before. */
	void kill_client(const program &client);
	pid_t pid_of_simulator() const
	{
		return simulator.pid;
	}
	pid_t pid_of_daemon() const
	{
		return daemon.pid;
	}

	/* Start a second vorlind: it must refuse. */
	void begin_second_daemon();

	/* The line. */
	std::string control(const std::string &command);
	void clear_faults();
	void unplug(unsigned milliseconds);
	void plug();
	void move_link(chance &dice);

	/* The segment; may be written like a client that holds the lock. */
	ble_segment &shared()
	{
		return *segment;
	}
	guard &guarded()
	{
		return m_guard;
	}
	/* Release with unlock(). False when the line blocks the daemon, which holds the lock. */
	bool lock();
	void put_words(const std::vector<std::string> &words);
	/* Words, cmd_doing, SIGUSR1. */
	bool post(const std::vector<std::string> &words);
	/* The same, and wait until it is done; false when the line blocks the daemon. */
	bool ask(const std::vector<std::string> &words, const std::function<bool()> &is_done);
	/* The same, and wait until the daemon has also printed this. */
	bool ask(const std::vector<std::string> &words, const std::string &expected);
	/* Allow processes that act as clients to write until the next check. */
	void let_clients_write()
	{
		m_writers |= CLIENT;
	}

	/* Wait until the daemon accepts commands; ends a block by the line. */
	void settle(chance &dice);
	/* Remove all faults and restart the controller: then commands must work. */
	void heal(chance &dice);
	/* Check the rules after a step; `is_quiet`: after settle(). */
	void check(bool is_quiet);

	tally &counted;
	std::string log; /* describes the step */

	/* The end of what the daemon printed. */
	std::string last_words() const;
	std::string state() const;

      private:
	void TestBody() override {}

	bool wait_for(const std::function<bool()> &condition);
	std::string printed_from(size_t offset) const;
	size_t printed_size() const;
	void end_block(chance &dice);
	void replug();
	void count_exit(int status, const std::string &printed);
	void collect_strikes();
	void set_sane_record();
	void check_a_beacon(chance &dice);
	void check_segment() const;
	void check_processes();
	void check_size();
	void check_lock(bool is_quiet);
	void take_reports();
	static void trim_console();

	std::vector<std::string> m_kinds;
	program daemon;
	program simulator;
	guard m_guard;
	uint8_t m_writers = DAEMON_RUNS; /* since the last check */
	std::vector<pid_t> m_clients;    /* since the last check */
	int m_segment_id = -1;
	std::string m_link;  /* the link to the simulator's port */
	std::string m_moved; /* the link's other name while it is moved */
	bool m_unplugged = false;
	bool m_is_clean = false; /* the line has no fault set and no bytes on the way */
	std::map<std::string, uint64_t> m_strikes; /* of the set faults */
	process_size m_first;                      /* of the first daemon, when it had started */
	uint64_t m_born = 0;                       /* the daemon's first step */
	sim::text_socket m_listener;               /* the access controller */
};
