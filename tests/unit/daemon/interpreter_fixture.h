// SPDX-License-Identifier: Apache-2.0
/* Writes a command as a client does and runs the interpreter on it. */
#pragma once

#include "daemon/interpreter.h"
#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

class Interpreter : public DaemonTest
{
      protected:
	/* Carry out a command and return what it prints. */
	std::string carry_out(const std::vector<std::string> &words)
	{
		client_says(words);
		return stderr_of([] { user_cmd_change(); });
	}

	/* The traces without line numbers. */
	std::string traced()
	{
		return replaced(console(), "\\([0-9]+\\) ", "(N) ");
	}
};
