// SPDX-License-Identifier: Apache-2.0
/* Traces compared without their line numbers: "function(N) text". */
#pragma once

#include <regex>
#include <string>

inline std::string without_lines(const std::string &traces)
{
	static const std::regex line_number("(^|\n)([a-z_0-9]+)\\([0-9]+\\) ");
	return std::regex_replace(traces, line_number, "$1$2(N) ");
}
