// SPDX-License-Identifier: Apache-2.0
/* What the attached controller has and takes: nothing is sent that would have no effect. */
#pragma once

#include "client/edit.h"

/* Whether it has what the daemon's option is about ("gap-param", ...); else a fault. */
bool has_option(const ble_segment *segment, const char *option, fault *wrong);

/* Whether it takes the settings that differ; anything will do while none is usable. */
bool takes_settings(const ble_segment *segment, const ble_record *before, const ble_record *after,
		    fault *wrong);
