// SPDX-License-Identifier: Apache-2.0
/* usleep as the tests have it: it takes no time, and is written down. */
#pragma once

#include <functional>
#include <vector>

extern std::vector<unsigned> fake_sleeps; /* microseconds, in order */

/* Called in each usleep, after it was written down; empty: nothing. */
extern std::function<void()> fake_during_sleep;
