// SPDX-License-Identifier: Apache-2.0
/* The commands for a running simulator, from its control socket or a script. */
#pragma once

#include "sim/air/air.h"
#include "sim/program/session.h"

namespace sim
{

/* What the commands work on. */
struct controlled {
	session &controller;
	const neighbours &others;
	moment now;
	std::optional<moment> unplug_for = {}; /* set by a command */
	bool plug = false;
	bool quit = false;
};

/* Returns the lines of the answer, the last one "ok" or "error: ..." */
std::string run_control(const std::string &command, controlled &target);

/* Returns a command's fault, as far as it is known before it runs. */
std::string check_control(const std::string &command);

std::string control_help();

} // namespace sim
