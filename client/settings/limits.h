// SPDX-License-Identifier: Apache-2.0
/* What the attached controller has and takes: nothing is sent that would have no effect. */
#pragma once

#include "client/settings/edit.h"

#include <cstdio>
#include <sys/types.h>

/* Whether it has what the daemon's option is about ("gap-param", ...); else a fault. */
bool has_option(const ble_segment *segment, const char *option, fault *wrong);

/*
 * Whether only a hard reset gives it the address that is set, its own: the newer TI controllers
 * keep what they were given on a soft one. `segment` is as it will be; false for no difference.
 */
bool needs_hard_reset(const ble_segment *segment, pid_t daemon);

/* What is set in the record, and is not for every controller: a line for each, if any. */
void print_undecided(FILE *out, const ble_record *record);

/* Whether it takes the settings that differ; anything will do while none is usable. */
bool takes_settings(const ble_segment *segment, const ble_record *before, const ble_record *after,
		    fault *wrong);
