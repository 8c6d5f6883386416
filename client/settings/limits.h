// SPDX-License-Identifier: Apache-2.0
/* The limits of the attached controller: commands without effect are not sent. */
#pragma once

#include "client/settings/edit.h"

#include <cstdio>
#include <sys/types.h>

/* Whether the daemon's option ("gap-param", ...) has an effect on it; else a fault. */
bool has_option(const ble_segment *segment, const char *option, fault *wrong);

/*
 * Whether it gets the set address, its own one, only by a hard reset: newer TI controllers keep a
 * given address at a soft one. `segment` has the new settings; false without a difference.
 */
bool needs_hard_reset(const ble_segment *segment, pid_t daemon);

/* Print a line for each setting that not every controller accepts. */
void print_undecided(FILE *out, const ble_record *record);

/* Whether it accepts the settings that differ; true while no controller is usable. */
bool takes_settings(const ble_segment *segment, const ble_record *before, const ble_record *after,
		    fault *wrong);
