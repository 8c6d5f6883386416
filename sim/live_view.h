// SPDX-License-Identifier: Apache-2.0
/* The live view: what is on the air now, what was, and the last seconds as a row of blocks. */
#pragma once

#include "sim/timeline.h"

namespace sim
{

struct view_size {
	size_t columns = 80;
	size_t lines = 24;
};

enum class colours : uint8_t { none, terminal };

/* One whole picture, `title` first; lines end with a newline. */
std::string draw_view(const std::string &title, const timeline &times, moment now, view_size size,
		      colours colour);

} // namespace sim
