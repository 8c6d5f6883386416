// SPDX-License-Identifier: Apache-2.0
/* The record of all that happens as JSON, one object on each line. */
#pragma once

#include "sim/output/record.h"

namespace sim
{

/* The object for one record, with line end. */
std::string json_line(const record &what, enum vendor vendor);

/* The object that introduces the run. */
std::string json_start(const std::string &title, uint64_t seed);

} // namespace sim
