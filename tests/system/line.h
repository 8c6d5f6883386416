// SPDX-License-Identifier: Apache-2.0
/*
 * The far end of the serial line: a pty behind one of the device paths, where a thread answers
 * every command by a table that a test can change, and writes down what it heard.
 */
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

class Line
{
      public:
	/* `kind`: "ti-06", "ti-08" or "qualcomm"; `path` becomes a link to the pty. */
	explicit Line(const std::string &kind, const std::string &path = "/dev/ttyMSM1");
	~Line();
	Line(const Line &) = delete;

	/*
	 * From now on a command that begins with `command` ("01 09 10") is answered with
	 * `events` as they are, split where the test likes with '|'; "" keeps silent.
	 */
	void answer(const std::string &command, const std::string &events);

	/* Send bytes that nobody asked for. */
	void send(const std::string &events);

	/* The commands since the last call, "01 09 10 00". */
	std::vector<std::string> heard();

	/* The commands and the events that answered them since the last call, in their order. */
	std::vector<std::string> dialogue();

	/*
	 * How long after each command so far that begins with `command` the next one came, where
	 * that begins with `next`: at least as long as the daemon has waited in between, however
	 * busy the machine is.
	 */
	std::vector<std::chrono::milliseconds> pauses(const std::string &command,
						      const std::string &next);

	/* True when a command that begins with `command` is among those not yet asked for. */
	bool has_heard(const std::string &command);

      private:
	void serve();
	void take(std::string packet);

	std::string path;
	std::map<std::string, std::string> answers;
	std::vector<std::string> commands;
	std::vector<std::string> packets;
	std::vector<std::pair<std::string, std::chrono::steady_clock::time_point>> arrivals;
	std::mutex mutex;
	int master = -1;
	int slave = -1; /* kept open: the line stays when the daemon closes it */
	int wake[2] = { -1, -1 };
	std::thread thread;
};
