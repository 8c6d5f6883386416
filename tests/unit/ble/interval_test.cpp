// SPDX-License-Identifier: Apache-2.0
/* The advertising interval: what each controller gets for which milliseconds. */
#include "ble/interval.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#define OK "04 FF 06 7F 06 00 30 FE 00"

class Interval : public DaemonTest
{
};

static const struct {
	uint16_t milliseconds;
	const char *slots; /* low byte first */
} rows[] = {
	{ 100, "A0 00" }, { 101, "A1 00" },   { 1000, "40 06" },  { 0, "00 00" },
	{ 1, "01 00" },   { 65534, "96 99" }, { 40959, "FE FF" }, { 40960, "00 00" },
};

TEST_F(Interval, ATiControllerGetsFourGapParametersInOrder)
{
	for (const auto &row : rows) {
		const std::string slots = row.slots;
		for (int i = 0; i < 4; i++)
			fake_answers(OK);
		EXPECT_EQ(set_tgap_disc_adv_int(row.milliseconds), 0);
		EXPECT_EQ(fake_heard(), "01 30 FE 03 06 " + slots + " 01 30 FE 03 07 " + slots +
						" 01 30 FE 03 08 " + slots + " 01 30 FE 03 09 " +
						slots)
			<< row.milliseconds;
	}
}

TEST_F(Interval, AQualcommControllerGetsOneLeCommand)
{
	hci_ver_index = 2;
	for (const auto &row : rows) {
		const std::string slots = row.slots;
		fake_answers("04 0E 04 01 06 20 00");
		EXPECT_EQ(set_tgap_disc_adv_int(row.milliseconds), 0);
		EXPECT_EQ(fake_heard(), "01 06 20 0F " + slots + " " + slots +
						" 03 00 00 00 00 00 00 00 00 07 00");
	}
}

TEST_F(Interval, AFailingParameterEndsItThere)
{
	int32_t result = 0;

	fake_answers(OK "04 FF 06 7F 06 02 30 FE 00");
	EXPECT_EQ(stderr_of([&] { result = set_tgap_disc_adv_int(100); }),
		  "WARNING: func_gap_set_param() failed.\n");
	EXPECT_EQ(result, 2);
	EXPECT_EQ(fake_heard(), "01 30 FE 03 06 A0 00 01 30 FE 03 07 A0 00");
}

TEST_F(Interval, AFailingLeCommandIsReported)
{
	int32_t result = 0;

	hci_ver_index = 2;
	fake_answers("04 0E 04 01 06 20 0C");
	EXPECT_EQ(stderr_of([&] { result = set_tgap_disc_adv_int(100); }),
		  "WARNING: func_le_set_advertising_parameters() failed.\n");
	EXPECT_EQ(result, 0x0C);
}

TEST_F(Interval, WithoutAnySlotNothingIsSentAndItIsDone)
{
	hci_ver_index = 3;
	EXPECT_EQ(set_tgap_disc_adv_int(100), 0);
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interval, TheSlotsAreTracedUncut)
{
	hci_ver_index = 3;
	for (const uint32_t category : { 0x10U, 0x20U }) {
		dbg_level = category;
		set_tgap_disc_adv_int(65534);
		EXPECT_EQ(
			without_lines(console()),
			"set_tgap_disc_adv_int(N) interval=65534, baseband_slot_interval=104854\n");
	}
}
