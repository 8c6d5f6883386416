// SPDX-License-Identifier: Apache-2.0
/* One cell of the table of healings: heal_cell CONTROLLER PHASE fault|quirk NAME SECONDS. */
#include "tests/heal/healing.h"

#include <cstdio>
#include <cstdlib>

constexpr double LIMIT = 90; /* seconds; longer counts as never */

static ailment asked;
static std::vector<std::string> more; /* options for the guard */

class Cell : public HealingTest
{
};

TEST_F(Cell, IsMeasured)
{
	const double seconds = heal(asked, more, LIMIT);

	printf("cell %s %s %s %s %d %.1f\n", asked.controller.c_str(), asked.phase.c_str(),
	       asked.kind.c_str(), asked.name.c_str(), asked.seconds, seconds);
	EXPECT_GE(seconds, 0) << "-1: never, -2: the fault did not strike, -3: not for long";
	if (HasFailure() || getenv("VORLIND_HEAL_WORDS"))
		printf("%s%s%s", content_of(keeper.err).c_str(),
		       content_of(folder + "/messages").c_str(), content_of(simulator.out).c_str());
}

int main(int argc, char **argv)
{
	testing::InitGoogleTest(&argc, argv);
	if (argc < 6) {
		fputs("usage: heal_cell CONTROLLER PHASE fault|quirk NAME SECONDS [GUARD OPTION]\n",
		      stderr);
		return 2;
	}
	asked = { argv[1], argv[2], argv[3], argv[4], atoi(argv[5]) };
	more.assign(argv + 6, argv + argc);
	return RUN_ALL_TESTS();
}
