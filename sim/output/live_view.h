// SPDX-License-Identifier: Apache-2.0
/* The live view: what is on the air now, what was, and the last seconds as a row of blocks. */
#pragma once

#include "sim/output/timeline.h"

namespace sim
{

struct view_size {
	size_t columns = 80;
	size_t lines = 24;
};

enum class colours : uint8_t { none, terminal };

/* What blocks, dots and the sign for a cut are drawn with. */
enum class letters : uint8_t { utf8, ascii };

/*
 * One whole picture of at most so many lines, `title` first; lines end with a newline. What is
 * too long for a line is cut between two words, with a sign.
 */
std::string draw_view(const std::string &title, const timeline &times, moment now, view_size size,
		      colours colour, letters alphabet = letters::utf8);

} // namespace sim
