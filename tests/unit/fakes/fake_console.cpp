// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_console.h"

#include <regex>

std::string replaced(const std::string &text, const char *pattern, const char *by)
{
	return std::regex_replace(text, std::regex(pattern), by);
}

bool matches(const std::string &text, const char *pattern)
{
	return std::regex_match(text, std::regex(pattern));
}

std::string without_lines(const std::string &traces)
{
	return replaced(traces, "(^|\n)([a-z_0-9]+)\\([0-9]+\\) ", "$1$2(N) ");
}
