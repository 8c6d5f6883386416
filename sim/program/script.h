// SPDX-License-Identifier: Apache-2.0
/* A file of control commands with their times. */
#pragma once

#include "sim/line/pace.h"

namespace sim
{

struct timed_command {
	moment at;
	std::string text;
};

/*
 * One command on each line: "2.5 fault silent" 2.5 seconds after the start, "+0.5 clear" half a
 * second after the line before; skips empty lines and lines that begin with #. Returns a fault with
 * its line, or an empty text.
 */
std::string parse_script(const std::string &text, std::vector<timed_command> &result);
std::string read_script(const std::string &path, std::vector<timed_command> &result);

} // namespace sim
