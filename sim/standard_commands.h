// SPDX-License-Identifier: Apache-2.0
/* What the standard commands and a maker's own ones check alike. */
#pragma once

#include "sim/controller.h"

namespace sim
{

/* May advertisements of this type be this many slots of 0.625 ms apart? */
bool is_interval_allowed(const controller_settings &settings, uint8_t type, uint16_t slots);

} // namespace sim
