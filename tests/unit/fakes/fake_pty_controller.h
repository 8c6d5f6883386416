// SPDX-License-Identifier: Apache-2.0
/*
 * A controller behind a pty, for code that opens the line itself: a thread answers each
 * command from a table and records it.
 */
#pragma once

#include "tests/far_end.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

class PtyController
{
      public:
	/* The answers, by a command's beginning in hexadecimal; no answer to others. */
	explicit PtyController(std::map<std::string, std::string> answers);

	std::string path; /* of the serial line */

	/* The commands so far, "01 09 10 00". */
	std::vector<std::string> heard();

      private:
	void answer(const std::string &packet);

	const std::map<std::string, std::string> answers;
	std::vector<std::string> commands;
	std::mutex mutex;
	FarEnd line; /* last: its thread needs all the others */
};
