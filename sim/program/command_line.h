// SPDX-License-Identifier: Apache-2.0
/* The command line: read, and its help, by the table of options. */
#pragma once

#include "sim/program/options.h"

namespace sim
{

/* Fills `result`; what is wrong with the arguments and what would be right, or nothing. */
std::string parse_options(std::span<const char *const> arguments, options &result);

std::string help_text();

} // namespace sim
