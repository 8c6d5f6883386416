// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_select.h"

#include <sys/select.h>

std::vector<double> fake_selects;
std::function<void()> fake_as_select_begins;

/* The program's own definition, used instead of the C library's. */
extern "C" int select(int count, fd_set *in, fd_set *out, fd_set *odd, timeval *limit)
{
	const timespec exact = { limit->tv_sec, limit->tv_usec * 1000 };

	fake_selects.push_back(static_cast<double>(limit->tv_sec) +
			       static_cast<double>(limit->tv_usec) / 1e6);
	if (fake_as_select_begins)
		fake_as_select_begins();
	return pselect(count, in, out, odd, &exact, nullptr);
}
