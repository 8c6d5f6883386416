// SPDX-License-Identifier: Apache-2.0
/* The beacon tasks: checks, the stored action, and the order of stop and start. */
#include "ble/task.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#define OFF     "01 0A 20 01 00"
#define OK      "04 0E 04 01 0A 20 00"
#define REFUSED "04 0E 04 01 0A 20 0C"

class Task : public DaemonTest
{
      protected:
	void SetUp() override
	{
		DaemonTest::SetUp();
		hci_ver_index = 2;
		ble_config->opt.action = 9;
	}

	void enable_entry()
	{
		write_field(ble_config->beacon[0].enable, "1");
		write_field(ble_config->beacon[0].uuid, std::string(32, 'A'));
	}
};

TEST_F(Task, ActionsOutsideOneToFourAreRefused)
{
	dbg_level = TRACE_WARNING;
	for (const int32_t action : { 0, 5, -1, INT32_MIN, INT32_MAX }) {
		EXPECT_EQ(do_ble_task(action), -1);
		EXPECT_EQ(without_lines(console()), "do_ble_task(N) WARNING: invalid action: " +
							    std::to_string(action) + ", \n");
	}
	EXPECT_EQ(ble_config->opt.action, 9U);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Task, WithoutAControllerEveryTaskIsRefusedUntouched)
{
	dbg_level = TRACE_WARNING;
	ble_config->opt.status = 0;
	for (int32_t action = 1; action <= 4; action++) {
		EXPECT_EQ(do_ble_task(action), -1);
		EXPECT_EQ(without_lines(console()),
			  "do_ble_task(N) WARNING: can't find BLE chip\n");
	}
	EXPECT_EQ(ble_config->opt.action, 9U);
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Task, AStopIsRememberedAndCarriedOut)
{
	enable_entry();
	fake_answers(OK);
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(do_ble_task(ACTION_STOP), 0);
	EXPECT_EQ(fake_heard(), OFF);
	EXPECT_EQ(ble_config->opt.action, 1U);
	EXPECT_EQ(without_lines(console()),
		  "do_ble_task(N) action=1\n"
		  "do_beacon_advertising(N) action=1\n"
		  "do_beacon_advertising(N) action=1, activate_beacon=1, loop=0\n"
		  "do_beacon_advertising(N) Stop beacon...\n"
		  "do_ble_task(N) do_beacon_advertising(ACTION_STOP) succeed.\n");
}

TEST_F(Task, AStartWithoutActiveEntriesRemembersAStopAndSwitchesOff)
{
	fake_answers(OK);
	EXPECT_EQ(do_ble_task(ACTION_START), 0);
	EXPECT_EQ(fake_heard(), OFF);
	EXPECT_EQ(ble_config->opt.action, 1U);
}

TEST_F(Task, AStartWithAnActiveEntryLeavesTheAction)
{
	enable_entry();
	fake_answers(OK OK OK);
	EXPECT_EQ(do_ble_task(ACTION_START), 0);
	EXPECT_EQ(ble_config->opt.action, 9U);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
}

TEST_F(Task, ARestartStopsWaits100MillisecondsAndStarts)
{
	enable_entry();
	std::string before;
	fake_during_sleep = [&] {
		if (fake_sleeps.size() == 1)
			before = fake_heard();
	};
	fake_answers(OK OK OK OK);
	dbg_level = 0;
	EXPECT_EQ(do_ble_task(ACTION_RESTART), 0);
	EXPECT_EQ(before, OFF);
	ASSERT_FALSE(fake_sleeps.empty());
	EXPECT_EQ(fake_sleeps[0], 100000U);
	EXPECT_EQ(fake_heard().substr(0, 14), OFF) << "the start switches off once more";
}

TEST_F(Task, ARestartWhoseStopFailsIsAFailureThoughItStarts)
{
	enable_entry();
	fake_answers(REFUSED OK OK OK);
	int32_t result = 0;
	EXPECT_EQ(stderr_of([&] { result = do_ble_task(ACTION_RESTART); }),
		  "WARNING: do_beacon_advertising(ACTION_STOP) failed!!\n");
	EXPECT_EQ(result, -1);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
}

TEST_F(Task, AStartThatFailsSaysSo)
{
	enable_entry();
	fake_answers(REFUSED);
	int32_t result = 0;
	EXPECT_EQ(stderr_of([&] { result = do_ble_task(ACTION_START); }),
		  "WARNING: do_beacon_advertising(ACTION_START) failed!!\n");
	EXPECT_EQ(result, -1);
}

TEST_F(Task, TheTestTaskOnlyChecks)
{
	EXPECT_EQ(do_ble_task(ACTION_TEST), 0);
	EXPECT_EQ(ble_config->opt.action, 1U) << "no entry is active";
	ble_config->opt.action = 9;
	enable_entry();
	EXPECT_EQ(do_ble_task(ACTION_TEST), 0);
	EXPECT_EQ(ble_config->opt.action, 9U);
	EXPECT_EQ(fake_heard(), "");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
}

TEST_F(Task, ARunningTestIsEndedAndTheStatusBecomes0SoThatNothingMoreIsSent)
{
	enable_entry();
	for (const int32_t action : { ACTION_STOP, ACTION_START }) {
		ble_config->opt.status = BLE_STATUS_TESTING;
		fake_answers("04 0E 06 01 1F 20 00 34 12");
		dbg_level = TRACE_WARNING;
		int32_t result = 0;
		const std::string printed = stderr_of([&] { result = do_ble_task(action); });
		EXPECT_EQ(result, -1);
		EXPECT_EQ(printed,
			  std::string("Num of packets: 4660\nWARNING: do_beacon_advertising(") +
				  (action == ACTION_STOP ? "ACTION_STOP" : "ACTION_START") +
				  ") failed!!\n");
		EXPECT_EQ(fake_heard(), "01 1F 20 00");
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_NONE);
		EXPECT_EQ(
			without_lines(console()).find(
				"do_ble_task(N) WARNING: can't change BLE behavior in PTM mode, we will end the PTM test\n"),
			0U);
		dbg_level = 0;
	}
}

TEST_F(Task, OnATiControllerAStopDuringATestHidesThatNothingWasSent)
{
	hci_ver_index = 0;
	ble_config->opt.status = BLE_STATUS_TESTING;
	fake_answers("04 0E 06 01 1F 20 00 00 00");
	int32_t result = 1;
	EXPECT_EQ(stderr_of([&] { result = do_ble_task(ACTION_STOP); }), "Num of packets: 0\n");
	EXPECT_EQ(result, 0);
	EXPECT_EQ(fake_heard(), "01 1F 20 00");
}

TEST_F(Task, ATestThatDoesNotEndIsNoHindrance)
{
	ble_config->opt.status = BLE_STATUS_TESTING;
	fake_answers("04 0E 04 01 1F 20 0C");
	int32_t result = 0;
	EXPECT_EQ(stderr_of([&] { result = do_ble_task(ACTION_TEST); }),
		  "WARNING: func_le_test_end_command() failed.\n");
	EXPECT_EQ(result, 0);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_NONE);
}

TEST_F(Task, WhereNothingNeedsTheControllerABeaconFollowsTheTestAtOnce)
{
	hci_ver_index = 3; /* no slot */
	enable_entry();
	ble_config->opt.status = BLE_STATUS_TESTING;
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(do_ble_task(ACTION_START), 0); }),
		  "Num of packets: 0\n");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
}

TEST_F(Task, ARestartTracesBothItsHalves)
{
	enable_entry();
	fake_answers(OK OK OK OK);
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(do_ble_task(ACTION_RESTART), 0);
	EXPECT_EQ(without_lines(console()),
		  "do_ble_task(N) action=3\n"
		  "do_beacon_advertising(N) action=1\n"
		  "do_beacon_advertising(N) action=1, activate_beacon=1, loop=0\n"
		  "do_beacon_advertising(N) Stop beacon...\n"
		  "do_ble_task(N) do_beacon_advertising(ACTION_STOP) succeed.\n"
		  "do_beacon_advertising(N) action=2\n"
		  "do_beacon_advertising(N) action=2, activate_beacon=1, loop=0\n"
		  "do_beacon_advertising(N) Change cmd_doing to 0\n"
		  "do_ble_task(N) do_beacon_advertising(ACTION_START) succeed.\n");
}

TEST_F(Task, ARestartWithoutEntriesSwitchesOffTwice)
{
	fake_answers(OK OK);
	EXPECT_EQ(do_ble_task(ACTION_RESTART), 0);
	EXPECT_EQ(fake_heard(), OFF " " OFF);
	EXPECT_EQ(ble_config->opt.action, 1U);
	EXPECT_EQ(fake_sleeps, std::vector<unsigned>{ 100000 });
}
