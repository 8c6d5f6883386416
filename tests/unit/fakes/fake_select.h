// SPDX-License-Identifier: Apache-2.0
/* select as the tests have it: the C library's, counted, with what happens as it begins. */
#pragma once

#include <functional>
#include <vector>

extern std::vector<double> fake_selects; /* seconds that each was given, in order */

/* Called at the beginning of each select, when its caller is ready to wait; empty: nothing. */
extern std::function<void()> fake_as_select_begins;
