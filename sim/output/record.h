// SPDX-License-Identifier: Apache-2.0
/* One event of the simulation, in the form in which all records get it. */
#pragma once

#include "sim/controller/controller.h"
#include "sim/line/pace.h"

#include <functional>

namespace sim
{

enum class happened : uint8_t {
	command, /* a whole packet from the host */
	event,   /* sent to the host, with the bytes on the line */
	air,     /* what is on the air has changed */
	patch,   /* a patch is complete */
	fault,   /* a set fault has struck */
	notice,  /* something that a strict controller dislikes */
};

struct record {
	moment at = {};
	happened what = happened::notice;
	bytes packet = {}; /* or the patch */
	air_state air = {};
	std::string text = {};
};

using recorder = std::function<void(const record &)>;

} // namespace sim
