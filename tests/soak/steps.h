// SPDX-License-Identifier: Apache-2.0
/* The steps of a soak run: what happens to the daemon, and how often. */
#pragma once

#include "tests/soak/world.h"

struct step {
	unsigned weight;
	const char *name;
	void (*run)(world &w, chance &dice);
	bool ends_daemon = false;
};

/* A random step; with `spares_daemon` none that kills or ends the daemon. */
const step &any_step(chance &dice, bool spares_daemon);
