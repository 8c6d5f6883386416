// SPDX-License-Identifier: Apache-2.0
/* Compares texts that differ from run to run. Here only, because <regex> compiles slowly. */
#pragma once

#include <string>

/* `text` with every match of the regular expression `pattern` replaced. */
std::string replaced(const std::string &text, const char *pattern, const char *by);

bool matches(const std::string &text, const char *pattern);

/* The traces with (N) instead of the source line; other numbers stay. */
std::string without_lines(const std::string &traces);
