// SPDX-License-Identifier: Apache-2.0
/*
 * The far end of the serial line: a pty behind one of the device paths, where a thread answers
 * every command by a table that a test can change, and writes down what it heard.
 */
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
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

	/* True when a command that begins with `command` is among those not yet asked for. */
	bool has_heard(const std::string &command);

      private:
	void serve();
	void take(std::string packet);

	std::string path;
	std::map<std::string, std::string> answers;
	std::vector<std::string> commands;
	std::vector<std::string> packets;
	std::mutex mutex;
	int master = -1;
	int slave = -1; /* kept open: the line stays when the daemon closes it */
	int wake[2] = { -1, -1 };
	std::thread thread;
};
