// SPDX-License-Identifier: Apache-2.0
/*
 * One access point as a benchmark sees it: the shipped simulator and daemon, and a client's
 * view of the segment. Whatever fails throws: a figure that was not measured is not shown.
 */
#pragma once

#include "daemon/segment.h"

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

using words = std::vector<std::string>;

/* Nanoseconds since 1970, the clock of the line's record too. */
int64_t wall_clock();

/* When `condition` first held, to a thousandth of the wait and 50 us. */
int64_t wait_until(const std::function<bool()> &condition, const std::string &what,
		   int64_t most_seconds = 180);

void sleep_for(double seconds);

class access_point
{
      public:
	/* `build` is the folder of the programs. */
	explicit access_point(const std::string &build);
	~access_point();
	access_point(const access_point &) = delete;
	access_point &operator=(const access_point &) = delete;

	void start_simulator(const std::string &controller, const words &options);

	/* Started, not waited for; `before` is a program that runs it. The time of the start. */
	int64_t start_daemon(const words &before = {});

	/* When a client could attach; the segment is attached then. */
	int64_t wait_for_segment();

	/* When the loop begins: it tells whoever waits for a command. Watched before that. */
	bool watch_for_loop(); /* false: it may have begun already */
	int64_t wait_for_loop();

	/* All of it, for whoever does not measure the start. */
	void start_and_wait(const words &before = {});

	/* The first `count` beacons on, the others off. */
	void load_beacons(int count, const std::string &interval);

	/* Words for the daemon, and SIGUSR1: the time just before the signal. */
	int64_t say(const words &command);

	/*
	 * The same to its end, for whoever does not measure it: the lock is kept until the daemon
	 * asks for it, so that no round is under way but the command's own.
	 */
	void say_and_wait(const words &command);

	void stop_daemon();
	void stop_simulator();

	/* A file in the folder of its own. */
	std::string file(const std::string &name) const;
	std::string program(const std::string &name) const;

	/* The patch file that the daemon looks for, in a folder that may have spaces in its name.
	 */
	void make_patch(const std::string &options = "") const;
	ble_segment &segment()
	{
		return *m_segment;
	}
	pid_t daemon() const;
	pid_t simulator() const
	{
		return m_simulator;
	}

      private:
	void wait_for_controller();
	void write_words(const words &command);
	pid_t start(const words &command, const std::string &name) const;
	void stop(pid_t &pid, pid_t signalled);

	std::string m_build;
	std::string m_folder;
	pid_t m_simulator = -1;
	pid_t m_daemon = -1; /* or what runs it */
	ble_segment *m_segment = nullptr;
};

/* What a file holds, empty if there is none. */
std::string content_of(const std::string &path);

/*
 * In a child that stands beside the daemon: scheduled as the daemon is, with a line as the daemon
 * sets it, whose descriptor it is. Ends the child where there is no line.
 */
int be_bare_process(const char *port);
