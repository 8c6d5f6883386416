// SPDX-License-Identifier: Apache-2.0
/* A file of control commands, each at its time. */
#pragma once

#include "sim/line/pace.h"

namespace sim
{

struct timed_command {
	moment at;
	std::string text;
};

/*
 * One command a line: "2.5 fault silent" 2.5 seconds after the start, "+0.5 clear" half a
 * second after the line before; empty lines and those with # in front are passed over.
 * What is wrong and in which line, or nothing.
 */
std::string parse_script(const std::string &text, std::vector<timed_command> &result);
std::string read_script(const std::string &path, std::vector<timed_command> &result);

} // namespace sim
