// SPDX-License-Identifier: Apache-2.0
/* select for tests: the C library's, recorded, with a callback at its beginning. */
#pragma once

#include <functional>
#include <vector>

extern std::vector<double> fake_selects; /* the time limit of each in seconds, in order */

/* Called at the beginning of each select, when its caller is ready to wait; may be empty. */
extern std::function<void()> fake_as_select_begins;
