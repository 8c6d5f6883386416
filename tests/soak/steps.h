// SPDX-License-Identifier: Apache-2.0
/* The steps of a soak run: what may happen to the daemon, and how often. */
#pragma once

#include "tests/soak/world.h"

struct step {
	unsigned weight;
	const char *name;
	void (*run)(world &w, chance &dice);
	bool ends_daemon = false;
};

/* With `spares_daemon` none that kills or ends it. */
const step &any_step(chance &dice, bool spares_daemon);
