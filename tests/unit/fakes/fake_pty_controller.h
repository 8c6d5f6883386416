// SPDX-License-Identifier: Apache-2.0
/*
 * A controller behind a pty, for code that opens the line itself: a thread answers each
 * command by a table and writes down what it heard.
 */
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class PtyController
{
      public:
	/* The answers by the hexadecimal beginning of a command; none: silence. */
	explicit PtyController(std::map<std::string, std::string> answers);
	~PtyController();
	PtyController(const PtyController &) = delete;

	std::string path; /* of the slave side */

	/* The commands so far, "01 09 10 00". */
	std::vector<std::string> heard();

      private:
	void serve();
	void answer(const std::string &packet);

	const std::map<std::string, std::string> answers;
	std::vector<std::string> commands;
	std::mutex mutex;
	int master = -1;
	int slave = -1; /* kept open: the line stays when the daemon closes it */
	int wake[2] = { -1, -1 };
	std::thread thread;
};
