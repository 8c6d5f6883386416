// SPDX-License-Identifier: Apache-2.0
/*
 * The far end of the serial line: a pty linked to a device path. A thread answers every
 * command from a table that a test can change, and records the commands.
 */
#pragma once

#include "tests/far_end.h"

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class Line
{
      public:
	/* `kind`: "ti-06", "ti-08" or "qualcomm"; makes `path` a link to the pty. */
	explicit Line(const std::string &kind, const std::string &path = "/dev/ttyMSM1");
	~Line();
	Line(const Line &) = delete;

	/*
	 * Answer each further command that begins with `command` ("01 09 10") with `events`,
	 * unchanged, written in parts if split by '|'; "" sends nothing.
	 */
	void answer(const std::string &command, const std::string &events);

	/* Send bytes without a command. */
	void send(const std::string &events);

	/* The commands since the last call, "01 09 10 00". */
	std::vector<std::string> heard();

	/* The commands since the last call and their events, in their order. */
	std::vector<std::string> dialogue();

	/*
	 * The time from each command that begins with `command` to the next one, where that
	 * begins with `next`. It is at least the daemon's wait between the two, even on a busy
	 * machine.
	 */
	std::vector<std::chrono::milliseconds> pauses(const std::string &command,
						      const std::string &next);

	/* True if heard() would return a command that begins with `command`. */
	bool has_heard(const std::string &command);

      private:
	void take(const std::string &packet);

	std::string path;
	std::map<std::string, std::string> answers;
	std::vector<std::string> commands;
	std::vector<std::string> packets;
	std::vector<std::pair<std::string, std::chrono::steady_clock::time_point>> arrivals;
	std::mutex mutex;
	FarEnd end; /* last: its thread needs all the others */
};
