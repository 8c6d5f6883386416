// SPDX-License-Identifier: Apache-2.0
/* The advertising interval: what each controller is told for which milliseconds. */
#include "ble/interval.h"

#include "tests/unit/fake_daemon.h"

class Interval : public DaemonTest
{
};

static const char ok[] = "04 FF 06 7F 06 00 30 FE 00";

TEST_F(Interval, HundredMillisecondsAreFourGapParametersOf160Slots)
{
	for (int i = 0; i < 4; i++)
		fake_answers(ok);
	EXPECT_EQ(set_tgap_disc_adv_int(100), 0);
	EXPECT_EQ(fake_heard(), "01 30 FE 03 06 A0 00 01 30 FE 03 07 A0 00 "
				"01 30 FE 03 08 A0 00 01 30 FE 03 09 A0 00");
}
