// SPDX-License-Identifier: Apache-2.0
/* How long vorlinctl guard waits between two steps. */
#include "client/cli/output.h"
#include "client/commands/guard.h"

#include <gtest/gtest.h>
#include <vector>

/* Rounded seconds: the clock goes on during the steps. */
static int64_t seconds_until(int64_t moment)
{
	return (moment - now() + 500) / 1000;
}

TEST(GuardPauses, AreShortUntilTheLineIsClearedAndThenGrowToFiveMinutes)
{
	ble_segment segment = {};
	session s = {};
	guard_memory memory = {};
	const guard_options options = {};
	std::vector<int64_t> pauses;

	s.segment = &segment;
	for (int i = 0; i < 10; i++) {
		guard_act(&memory, &s, TROUBLE_STUCK, &options);
		pauses.push_back(seconds_until(memory.next_step));
		memory.next_step = 0;
	}
	EXPECT_EQ(pauses, (std::vector<int64_t>{ 5, 5, 10, 20, 40, 80, 160, 300, 300, 300 }));
}

TEST(GuardPauses, BeginAnewWhenNothingIsWrongAnyMore)
{
	ble_segment segment = {};
	session s = {};
	guard_memory memory = {};
	const guard_options options = {};

	s.segment = &segment;
	for (int i = 0; i < 5; i++) {
		guard_act(&memory, &s, TROUBLE_STUCK, &options);
		memory.next_step = 0;
	}
	guard_act(&memory, &s, TROUBLE_NONE, &options);
	guard_act(&memory, &s, TROUBLE_STUCK, &options);
	EXPECT_EQ(seconds_until(memory.next_step), 5);
}
