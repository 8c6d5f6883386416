// SPDX-License-Identifier: Apache-2.0
/* The record of everything as JSON: one object a line. */
#pragma once

#include "sim/output/record.h"

namespace sim
{

/* The object for one record, with the end of its line. */
std::string json_line(const record &what, enum vendor vendor);

/* A string with its quotes. */
std::string json_string(std::string_view text);

} // namespace sim
