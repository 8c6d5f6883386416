// SPDX-License-Identifier: Apache-2.0
/* Texts compared without what differs from run to run. <regex> itself is slow to compile. */
#pragma once

#include <string>

/* `text` with every match of the regular expression replaced. */
std::string replaced(const std::string &text, const char *pattern, const char *by);

/* Whether the whole text matches. */
bool matches(const std::string &text, const char *pattern);

/* Traces with (N) for the number of the source line; texts that hold numbers keep them. */
std::string without_lines(const std::string &traces);
