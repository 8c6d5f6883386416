// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_clock.h"

#include <unistd.h>

std::vector<unsigned> fake_sleeps;
std::function<void()> fake_during_sleep;

/* The program's own definition, used instead of the C library's. */
extern "C" int usleep(useconds_t microseconds)
{
	fake_sleeps.push_back(microseconds);
	if (fake_during_sleep)
		fake_during_sleep();
	return 0;
}
