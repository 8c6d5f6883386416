// SPDX-License-Identifier: Apache-2.0
/* The daemon with each fault that shows at once: its state after it, and its next exchange. */
#include "tests/system/sim_stage.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

class SimFaults : public SimulatorTest
{
      protected:
	/* The fault must leave the daemon within an event until these bytes come. */
	void expect_block(const std::string &fault, const std::string &bytes)
	{
		control("fault " + fault);
		say(daemon, { "show", "mac" });
		EXPECT_TRUE(comes_true(
			[&] { return control("faults").find("(struck 1)") != std::string::npos; }));
		std::this_thread::sleep_for(std::chrono::milliseconds(300));
		EXPECT_EQ(segment->cmd_doing, 1u) << "it waits for the rest";
		control("send " + bytes);
		EXPECT_TRUE(comes_true([&] { return segment->cmd_doing == 0; })) << fault;
		printed_now();
		expect_health(fault.c_str());
	}
};

TEST_F(SimFaults, ADroppedByteIsWaitedFor)
{
	start_both("ti-08");
	expect_block("drop:at=12", "02");
}

TEST_F(SimFaults, WithoutItsLengthAnEventTakesTheNextByteForIt)
{
	start_both("ti-08");
	EXPECT_EQ(address_with("drop:at=2"), "BLE MAC Address: 000000000000\n");
	expect_health("drop");
}

TEST_F(SimFaults, ACutEventIsWaitedFor)
{
	start_both("ti-08");
	expect_block("cut:at=1", "0E 0A 01 09 10 00 01 00 00 00 00 02");
	expect_block("cut:at=2", "0A 01 09 10 00 01 00 00 00 00 02");
	expect_block("cut:at=8", "00 00 00 00 02");
}

TEST_F(SimFaults, ALengthByteThatIsTooLargeIsWaitedFor)
{
	start_both("ti-08");
	expect_block("long-length:by=3", "00 00 00");
}

TEST_F(SimFaults, ARebootWithinAnEventIsWaitedFor)
{
	start_both("ti-08");
	expect_block("reboot:at=6", "00 00 00 00 00 00 00");
}

TEST_F(SimFaults, AnUnknownEventCodeIsRefused)
{
	start_both("ti-08");
	for (const char *fault : { "wrong-code:code=0x0F", "wrong-code:code=0x3E",
				   "flip:at=1,mask=0x01", "duplicate:at=0" }) {
		EXPECT_EQ(address_with(fault), no_answer) << fault;
		expect_health(fault);
	}
}

TEST_F(SimFaults, BytesBeforeAnEventArePassedOver)
{
	start_both("ti-08");
	for (unsigned value = 0; value < 256; value++)
		if (value != 4)
			control("fault junk:byte=" + std::to_string(value));
	EXPECT_EQ(ask({ "show", "mac" }), simulated_address);
	expect_health("junk of every value");
	EXPECT_EQ(address_with("insert:at=0,byte=0xAA"), simulated_address);
	expect_health("insert");
	/* The only value that looks like the start of an event. */
	EXPECT_EQ(address_with("junk:byte=4"), no_answer);
	expect_health("junk of 0x04");
}

TEST_F(SimFaults, AnEventInPiecesIsWhole)
{
	start_both("ti-08");
	control("fault split:at=each,times=always,delay=5");
	for (size_t at = 1; at < 13; at++)
		EXPECT_EQ(ask({ "show", "mac" }), simulated_address) << "split at " << at;
	control("clear");
	EXPECT_EQ(address_with("split:at=all,delay=5"), simulated_address);
	expect_health("split");
}

TEST_F(SimFaults, ALengthByteThatIsTooSmallEndsTheEvent)
{
	start_both("ti-08");
	EXPECT_EQ(address_with("short-length:by=4"), "BLE MAC Address: 000000000001\n");
	expect_health("short-length");
}

TEST_F(SimFaults, AnErrorStatusIsReportedAsOften)
{
	start_both("ti-08");
	EXPECT_EQ(address_with("refuse:status=0x1F"),
		  "WARNING: HCI run failed (error code: 0x1f)\n");
	expect_health("refuse");
	control("fault refuse:opcode=0x1009,status=0x0C,times=2");
	for (int i = 0; i < 2; i++)
		EXPECT_EQ(ask({ "show", "mac" }), "WARNING: HCI run failed (error code: 0xc)\n");
	EXPECT_EQ(ask({ "show", "mac" }), simulated_address);
	expect_health("refuse twice");
	control("fault refuse:opcode=0x1009,times=always");
	for (int i = 0; i < 5; i++)
		EXPECT_EQ(ask({ "show", "mac" }), "WARNING: HCI run failed (error code: 0x1f)\n");
	expect_health("refuse always");
}

TEST_F(SimFaults, AnErrorInTheSecondEventEndsTheStart)
{
	start_both("ti-08");
	load_beacon(0, "00112233445566778899AABBCCDDEEFF", "1");
	EXPECT_EQ(address_with("second-fails:opcode=0xFE00,status=0x0C"), simulated_address);
	EXPECT_EQ(ask({ "ibeacon", "start" }),
		  "WARNING: do_beacon_advertising(ACTION_START) failed!!\n"
		  "WARNING: do_ble_task() failed!!\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_UNCONFIRMED);
	EXPECT_EQ(control("air"), "off\n");

	control("clear");
	reset_link(); /* the pending start is then carried out */
	EXPECT_TRUE(
		comes_true([&] { return segment->config.opt.status == BLE_STATUS_ADVERTISING; }));
	EXPECT_NE(control("air").find("major 1 minor 1"), std::string::npos);
}

TEST_F(SimFaults, AnUnpluggedPortIsFoundAgain)
{
	start_both("ti-08");
	EXPECT_NE(address_with("unplug:at=5,delay=200").find(no_answer), std::string::npos);
	ASSERT_TRUE(comes_true([&] { return std::filesystem::exists("/dev/ttyMSM1"); }));
	segment->cmd_doing = 1;
	kill(daemon.pid, SIGUSR2);
	ASSERT_TRUE(comes_true([&] { return segment->cmd_doing == 0; }));
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	expect_health("unplug");
}

TEST_F(SimFaults, WhileThePortIsGoneThereIsNoController)
{
	start_both("ti-08");
	control("unplug 3600000");
	segment->cmd_doing = 1;
	kill(daemon.pid, SIGUSR2);
	ASSERT_TRUE(comes_true([&] { return segment->cmd_doing == 0; }));
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_NONE);
	control("plug");
	ASSERT_TRUE(comes_true([&] { return std::filesystem::exists("/dev/ttyMSM1"); }));
	segment->cmd_doing = 1;
	kill(daemon.pid, SIGUSR2);
	ASSERT_TRUE(comes_true([&] { return segment->cmd_doing == 0; }));
	EXPECT_EQ(ask({ "show", "mac" }), simulated_address);
}

TEST_F(SimFaults, ARefusedPatchSegmentEndsTheInitialisation)
{
	program maker;

	ASSERT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin" }, &maker), 0);
	start_both("qualcomm", { "--fault", "refuse-segment:segment=2,status=0x07", "--patch-out",
				 folder + "/received" });
	EXPECT_NE(content_of(daemon.err)
			  .find("WARNING: patch download failed(times=2)!!\n"
				"WARNING: func_download_patch_file() failed.\n"),
		  std::string::npos)
		<< content_of(daemon.err);
	EXPECT_FALSE(std::filesystem::exists(folder + "/received"));
	EXPECT_EQ(ask({ "show", "mac" }), "WARNING: HCI run failed (error code: 0xc)\n")
		<< "without its patch it refuses";
	reset_link();
	expect_health("refuse-segment");
	EXPECT_EQ(content_of(folder + "/received"), content_of(folder + "/mpnv10.bin"));
}
