// SPDX-License-Identifier: Apache-2.0
/* The commands to a running simulator, from its control socket and from a script. */
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
	std::optional<moment> unplug_for = {}; /* what a command has asked for */
	bool plug = false;
	bool quit = false;
};

/* The answer's lines, the last of them "ok" or "error: ..." */
std::string run_control(const std::string &command, controlled &target);

/* What is wrong with a command, as far as can be said before it runs. */
std::string check_control(const std::string &command);

std::string control_help();

} // namespace sim
