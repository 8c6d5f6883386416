// SPDX-License-Identifier: Apache-2.0
/* The daemon with the faults that make it wait the full five seconds for an event. */
#include "tests/system/sim_stage.h"

class SimSilence : public SimulatorTest
{
};

TEST_F(SimSilence, NoAnswerIsGivenUp)
{
	start_both("ti-08");
	EXPECT_EQ(address_with("silent"), no_answer);
	expect_health("silent");
}

TEST_F(SimSilence, AnAnswerWithoutItsFirstByteIsNone)
{
	start_both("ti-08");
	for (const char *fault : { "drop:at=0", "flip:at=0,mask=0x10", "cut:at=0" }) {
		EXPECT_EQ(address_with(fault), no_answer) << fault;
		expect_health(fault);
	}
}

TEST_F(SimSilence, ACommandThatLostAByteIsFilledUpByTheNext)
{
	start_both("ti-08", { "--quirk", "stray-bytes-ignored" });
	EXPECT_EQ(address_with("drop:way=in,at=3"), no_answer);
	EXPECT_EQ(ask({ "show", "mac" }), "WARNING: HCI run failed (error code: 0x12)\n")
		<< "its first byte was taken for the length";
	expect_health("drop of a command's byte");
}

TEST_F(SimSilence, AnAnswerAtAnotherRateIsNone)
{
	start_both("ti-08");
	EXPECT_EQ(address_with("wrong-baud:baud=57600"), no_answer);
	expect_health("wrong-baud");
}

TEST_F(SimSilence, ALateAnswerIsTakenByTheNextCommandUntilTheLinkIsOpenedAnew)
{
	start_both("ti-08", { "--log", folder + "/log" });
	EXPECT_EQ(address_with("late:delay=8000"), no_answer);
	EXPECT_TRUE(comes_true([&] {
		return content_of(folder + "/log").find("04 0E 0A 01 09 10") != std::string::npos;
	})) << "the answer is on its way, before the next command";
	EXPECT_EQ(ask({ "show", "txpower" }), "BLE TX Power Setting: 0x1\n")
		<< "the lowest byte of the address, for it is the address that came";
	control("clear");
	reset_link();
	expect_health("late");
}

TEST_F(SimSilence, AMissingSecondEventEndsTheStart)
{
	start_both("ti-08");
	load_beacon(0, "00112233445566778899AABBCCDDEEFF", "1");
	control("fault second-missing");
	EXPECT_EQ(ask({ "ibeacon", "start" }),
		  std::string(no_answer) + "WARNING: do_beacon_advertising(ACTION_START) failed!!\n"
					   "WARNING: do_ble_task() failed!!\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_UNCONFIRMED);
	control("clear");
	reset_link();
	EXPECT_TRUE(
		comes_true([&] { return segment->config.opt.status == BLE_STATUS_ADVERTISING; }));
}
