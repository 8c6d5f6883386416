// SPDX-License-Identifier: Apache-2.0
/* The loop: the effect of an event, and the state after each kind of task. */
#include "tests/unit/daemon/event_loop_fixture.h"

TEST_F(EventLoop, ItBeginsWithAReportAndAClearedHandShake)
{
	ble_ipc.buf->cmd_doing = 7;
	fake_ac_result = 1;
	dbg_level = TRACE_REPORT | TRACE_FLOW;
	last_sleep = 1;
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
	EXPECT_EQ(fake_reports, 1);
	EXPECT_EQ(traced(), "run_daemon_task(N) Start...\n"
			    "run_daemon_task(N) ble_config->opt.status=2\n"
			    "info_forward_to_ac(N) Start...\n");
}

TEST_F(EventLoop, WithoutEventsItSleeps100MillisecondsAndTouchesNothing)
{
	ble_config->opt.action = 2; /* not dispatched before an event */
	in_sleep[1] = [] { ble_ipc.buf->cmd_doing = 5; };
	last_sleep = 4;
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(fake_sleeps, (std::vector<unsigned>{ 100000, 100000, 100000, 100000 }));
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 5U);
	EXPECT_EQ(fake_report_attempts, 1);
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(EventLoop, AQuitThatIsAlreadyRaisedEndsItAtOnce)
{
	flag_daemon_quit = 1;
	EXPECT_EQ(run_loop(), "");
	EXPECT_TRUE(fake_sleeps.empty());
	EXPECT_EQ(flag_daemon_quit, 1);
}

TEST_F(EventLoop, ACommandIsCarriedOutReportedAndThenCleared)
{
	fake_ac_result = 1;
	in_sleep[1] = [] {
		client_says({ "hcicmd" });
		ble_ipc.buf->cmd_doing = 1;
		flag_cmd_change = 1;
		dbg_level = TRACE_REPORT;
	};
	EXPECT_EQ(run_loop(), "Not implemented yet\n");
	EXPECT_EQ(flag_cmd_change, 0);
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
	EXPECT_EQ(fake_reports, 2);
	EXPECT_EQ(traced(),
		  "run_daemon_task(N) ble_config->opt.status=2, ble_ipc.buf->cmd_doing=1\n"
		  "info_forward_to_ac(N) Start...\n");
}

TEST_F(EventLoop, AttachEventsAreHandledBeforeCommandsWithOneDispatchAndOneReport)
{
	fake_ac_result = 1;
	in_sleep[1] = [] {
		client_says({ "ibeacon", "bogus" });
		flag_cmd_change = 1;
		flag_uevent_change = 1;
		dbg_level = TRACE_FLOW | TRACE_UEVENT | TRACE_QVLOG;
	};
	last_sleep = 2;
	run_loop();
	const std::string text = traced();
	const size_t event = text.find("run_daemon_task(N) flag_uevent_change=1\n"
				       "uevent_change(N) Start...\n"
				       "ble_chip_init(N) action=2\n");
	const size_t log = text.find("uevent_change(N) write_to_qvlog()\n"
				     "write_to_qvlog(N) BLE device has been disconnected.\n"
				     "run_daemon_task(N) flag_cmd_change=1\n"
				     "user_cmd_change(N) Start...\n");
	EXPECT_NE(event, std::string::npos) << text;
	EXPECT_NE(log, std::string::npos) << text;
	EXPECT_LT(event, log);
	EXPECT_EQ(fake_reports, 2) << "one at the start, one for both events";
	EXPECT_EQ(fake_event_log,
		  std::vector<std::string>{
			  "67 5 67 0 0 0 0 \"\" \"BLE device has been disconnected.\"" });
	EXPECT_EQ(flag_uevent_change, 0);
}

TEST_F(EventLoop, EveryAttachEventIsLoggedWhetherOrNotAnythingChanged)
{
	for (size_t n = 1; n <= 3; n++)
		in_sleep[n] = [] { flag_uevent_change = 1; };
	last_sleep = 4;
	run_loop();
	EXPECT_EQ(fake_event_log.size(), 3U);
}

TEST_F(EventLoop, AnAttachEventClearsTheHandShakeToo)
{
	in_sleep[1] = [] {
		ble_ipc.buf->cmd_doing = 1;
		flag_uevent_change = 1;
	};
	run_loop();
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
}

TEST_F(EventLoop, ALockThatCannotBeTakenLosesTheCommandButEndsTheRound)
{
	fake_ac_result = 1;
	ble_ipc.sem.id = 0x7FFFFFF0;
	in_sleep[1] = [] {
		ble_ipc.buf->cmd_doing = 1;
		flag_cmd_change = 1;
	};
	EXPECT_EQ(run_loop(), "user_cmd_change() failed.\n");
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
	EXPECT_EQ(fake_reports, 2);
}

/* The state after one round with a command, for each pending action. */
struct round_row {
	const char *name;
	uint32_t status;
	uint32_t action;
	bool active;         /* entry 1 */
	const char *answers; /* of a Qualcomm controller */
	uint32_t status_after;
	uint32_t action_after;
	uint32_t doing_after;
	int reports; /* after the first */
	const char *printed;
};

#define OFF     "04 0E 04 01 0A 20 00"
#define REFUSED "04 0E 04 01 0A 20 0C"
#define DATA    "04 0E 04 01 08 20 00"

static const round_row rounds[] = {
	{ "no action", 2, 0, false, "", 2, 0, 0, 1, "" },
	{ "no controller: the task stays pending", 1, 2, true, "", 1, 2, 0, 1, "" },
	{ "no link: the task stays pending", 0, 3, true, "", 0, 3, 0, 1, "" },
	{ "stop", 3, 1, true, OFF, 2, 0, 0, 1, "" },
	{ "a refused stop is not tried again", 3, 1, true, REFUSED, 1, 0, 0, 1,
	  "WARNING: do_beacon_advertising(ACTION_STOP) failed!!\n"
	  "WARNING: do_ble_task() failed!!\n" },
	{ "a start without active entries leaves a stop", 2, 2, false, OFF, 2, 1, 0, 1, "" },
	{ "a start with one: reported by the beacons, the action stays", 2, 2, true, OFF DATA OFF,
	  3, 2, 0, 1, "" },
	{ "a refused start keeps its action", 2, 2, true, REFUSED, 1, 2, 0, 1,
	  "WARNING: do_beacon_advertising(ACTION_START) failed!!\n"
	  "WARNING: do_ble_task() failed!!\n" },
	{ "a restart", 3, 3, true, OFF OFF DATA OFF, 3, 3, 0, 1, "" },
	{ "a restart whose stop fails is a failure, though it starts", 3, 3, true,
	  REFUSED OFF DATA OFF, 1, 3, 0, 2,
	  "WARNING: do_beacon_advertising(ACTION_STOP) failed!!\n"
	  "WARNING: do_ble_task() failed!!\n" },
	{ "the production test's status", 2, 4, false, "", 5, 4, 0, 1, "" },
	{ "a start during a test ends it and fails", 5, 2, true, "04 0E 06 01 1F 20 00 01 00", 1, 2,
	  0, 1,
	  "Num of packets: 1\n"
	  "WARNING: do_beacon_advertising(ACTION_START) failed!!\n"
	  "WARNING: do_ble_task() failed!!\n" },
};

TEST_F(EventLoop, EachRoundLeavesWhatTheTableSays)
{
	for (const round_row &row : rounds) {
		SCOPED_TRACE(row.name);
		fake_unplug();
		fake_plug();
		fake_sleeps.clear();
		fake_reports = 0;
		fake_ac_result = 1;
		flag_daemon_quit = 0;
		hci_ver_index = 2;
		ble_config->opt.status = row.status;
		ble_config->opt.action = row.action;
		write_field(ble_config->interval, "0"); /* no dwell */
		write_field(ble_config->beacon[0].enable, row.active ? "1" : "0");
		write_field(ble_config->beacon[0].uuid, std::string(32, 'A'));
		fake_answers(row.answers);
		in_sleep[1] = [] {
			client_says({ "show", "none" });
			ble_ipc.buf->cmd_doing = 1;
			flag_cmd_change = 1;
		};
		last_sleep = row.action == 3 ? 3 : 2;
		EXPECT_EQ(run_loop(), row.printed);
		EXPECT_EQ(ble_config->opt.status, row.status_after);
		EXPECT_EQ(ble_config->opt.action, row.action_after);
		EXPECT_EQ(ble_ipc.buf->cmd_doing, row.doing_after);
		EXPECT_EQ(fake_reports, 1 + row.reports);
		EXPECT_EQ(fake_unread(), 0U);
	}
}

TEST_F(EventLoop, AnUnknownActionIsSaidAtEveryEventAndStays)
{
	ble_config->opt.action = 5;
	for (size_t n = 1; n <= 2; n++)
		in_sleep[n] = [] {
			client_says({ "show", "none" });
			flag_cmd_change = 1;
		};
	std::string printed = run_loop();
	EXPECT_TRUE(matches(printed, "run_daemon_task\\([0-9]+\\) Unknown command\n"
				     "run_daemon_task\\([0-9]+\\) Unknown command\n"))
		<< printed;
	EXPECT_EQ(ble_config->opt.action, 5U);

	ble_config->opt.action = 0xFFFFFFFF;
	flag_daemon_quit = 0;
	fake_sleeps.clear();
	printed = run_loop();
	EXPECT_NE(printed.find("Unknown command\n"), std::string::npos);
}

TEST_F(EventLoop, APendingStartIsLookedAtEveryRoundUntilAControllerIsUsable)
{
	hci_ver_index = 2;
	enable_entry(0);
	ble_config->opt.status = 1;
	ble_config->opt.action = 2;
	in_sleep[1] = [] {
		client_says({ "show", "none" });
		flag_cmd_change = 1;
	};
	in_sleep[4] = [] { ble_config->opt.status = 2; }; /* no event: noticed by the recheck */
	last_sleep = 6;
	answer_advertising(3);
	fake_ac_result = 1;
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(fake_reports, 3) << "the start, the command, the beacons";
	EXPECT_EQ(fake_heard().substr(0, 14), "01 0A 20 01 00");
}

TEST_F(EventLoop, ARecheckNeitherReportsNorClears)
{
	ble_config->opt.status = 1;
	in_sleep[1] = [] { flag_cmd_change = 1; };
	in_sleep[2] = [] {
		ble_ipc.buf->cmd_doing = 9;
		ble_config->opt.status = 2;
	};
	last_sleep = 4;
	fake_ac_result = 1;
	run_loop();
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 9U);
	EXPECT_EQ(fake_reports, 2);
}

TEST_F(EventLoop, ARotationThatASignalEndsIsFollowedByTheSignalsWork)
{
	hci_ver_index = 2;
	enable_entry(0);
	enable_entry(2);
	fake_ac_result = 1;
	answer_advertising(20);
	in_sleep[1] = [] {
		client_says({ "ibeacon", "start" });
		ble_ipc.buf->cmd_doing = 1;
		flag_cmd_change = 1;
	};
	in_sleep[4] = [] { /* the third dwell */
			   EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
			   EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
			   client_says({ "ibeacon", "stop" });
			   ble_ipc.buf->cmd_doing = 1;
			   flag_cmd_change = 1;
	};
	last_sleep = 6;
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(ble_config->opt.action, 0U);
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
	const std::string heard = fake_heard();
	EXPECT_EQ(heard.substr(heard.size() - 29), "01 0A 20 01 00 01 0A 20 01 00")
		<< "once by the rotation, once by the stop";
	EXPECT_EQ(fake_reports, 3);
}

TEST_F(EventLoop, AStartThatASignalEndsBeforeItsFirstBeaconIsToldOnlyByTheStatus)
{
	hci_ver_index = 2;
	enable_entry(4); /* the signal is noticed at an entry before it */
	answer_advertising(5);
	fake_ac_result = 1;
	in_sleep[1] = [] {
		client_says({ "ibeacon", "restart" });
		ble_ipc.buf->cmd_doing = 1;
		flag_cmd_change = 1;
	};
	in_sleep[2] = [] { flag_uevent_change = 1; }; /* between the stop and the start */
	last_sleep = 2;
	EXPECT_EQ(run_loop(), "");
	EXPECT_EQ(fake_heard(), "01 0A 20 01 00 01 0A 20 01 00 01 0A 20 01 00") << "never on";
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 1U);
	EXPECT_EQ(fake_reports, 1);
}
