// SPDX-License-Identifier: Apache-2.0
/*
 * One access point for a benchmark: the shipped simulator and daemon, and the segment as a
 * client sees it. A failure throws, so that no unmeasured figure is shown.
 */
#pragma once

#include "daemon/segment.h"

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

using words = std::vector<std::string>;

/* Nanoseconds since 1970, as in the record of the line. */
int64_t wall_clock();

/* The time when `condition` became true, to a thousandth of the wait or 50 us. */
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

	/* Start it and return the time of the start; `before` is a program that runs it. */
	int64_t start_daemon(const words &before = {});

	/* Attach to the segment; the time when a client could. */
	int64_t wait_for_segment();

	/* The time when the loop begins, which clears cmd_doing: watch before that. */
	bool watch_for_loop(); /* false: it may have begun already */
	int64_t wait_for_loop();

	/* The whole start, without measurement. */
	void start_and_wait(const words &before = {});

	/* Switch the first `count` beacons on, the others off. */
	void load_beacons(int count, const std::string &interval);

	/* Write the words and send SIGUSR1: the time just before the signal. */
	int64_t say(const words &command);

	/*
	 * The same to the command's end, without measurement: keeps the lock until the daemon
	 * waits for it, so that the daemon's current round is that of this command.
	 */
	void say_and_wait(const words &command);

	void stop_daemon();
	void stop_simulator();

	/* The path of a file in its own folder. */
	std::string file(const std::string &name) const;
	std::string program(const std::string &name) const;

	/* Make the patch file that the daemon looks for; the folder's name may have spaces.
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
	pid_t m_daemon = -1; /* or the program that runs it */
	ble_segment *m_segment = nullptr;
};

/* The content of a file; empty if there is none. */
std::string content_of(const std::string &path);

/*
 * For a child that is compared with the daemon: gives it the daemon's scheduling, opens the line
 * with the daemon's settings and returns its descriptor. Ends the child if there is no line.
 */
int be_bare_process(const char *port);
