// SPDX-License-Identifier: Apache-2.0
/* The live view: what is and was on the air, and the last seconds as rows of blocks. */
#pragma once

#include "sim/output/timeline.h"

namespace sim
{

struct view_size {
	size_t columns = 80;
	size_t lines = 24;
};

enum class colours : uint8_t { none, terminal };

/* The characters for blocks, dots and the sign for a cut. */
enum class letters : uint8_t { utf8, ascii };

/*
 * Draws a picture within `size`, `title` first; lines end with a newline. A long line is cut
 * between two words and marked.
 */
std::string draw_view(const std::string &title, const timeline &times, moment now, view_size size,
		      colours colour, letters alphabet = letters::utf8);

} // namespace sim
