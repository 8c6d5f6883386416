// SPDX-License-Identifier: Apache-2.0
/* The timeline of a whole run as a picture. */
#pragma once

#include "sim/output/timeline.h"

namespace sim
{

std::string svg_report(const std::string &title, const timeline &times, moment end);

} // namespace sim
