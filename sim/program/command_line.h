// SPDX-License-Identifier: Apache-2.0
/* The command line: reads it and prints its help, from the table of options. */
#pragma once

#include "sim/program/options.h"

namespace sim
{

/* Fills `result`; returns a fault in the arguments with the right values, or an empty text. */
std::string parse_options(std::span<const char *const> arguments, options &result);

std::string help_text();

} // namespace sim
