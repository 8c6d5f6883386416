// SPDX-License-Identifier: Apache-2.0
/* usleep for tests: takes no time, and is recorded. */
#pragma once

#include <functional>
#include <vector>

extern std::vector<unsigned> fake_sleeps; /* microseconds, in order */

/* Called in each usleep, after it was recorded; may be empty. */
extern std::function<void()> fake_during_sleep;
