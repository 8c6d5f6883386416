// SPDX-License-Identifier: Apache-2.0
/* One thing that happened: the form in which the simulation reports to all who keep records. */
#pragma once

#include "sim/controller/controller.h"
#include "sim/line/pace.h"

#include <functional>

namespace sim
{

enum class happened : uint8_t {
	command, /* a whole packet from the host */
	event,   /* what was sent to it, as it stood on the line */
	air,     /* a change of what is on the air */
	patch,   /* a patch has arrived whole */
	fault,   /* a fault that was asked for has struck */
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
