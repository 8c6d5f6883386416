// SPDX-License-Identifier: Apache-2.0
/* The order of a command's traces and messages, the words it uses, and the reset command. */
#include "tests/unit/daemon/interpreter_fixture.h"
#include "tests/unit/fakes/fake_pty_controller.h"

#include <chrono>
#include <cstring>
#include <thread>

static const std::map<std::string, std::string> ti_06 = {
	{ "01 01 10", "04 0E 0C 01 01 10 00 06 01 00 00 0D 00 00 02" },
	{ "01 1B FC", "04 FF 09 1B 04 00 1B FC 01 02 03 04" },
	{ "01 1D FC", "04 FF 05 1D 04 00 1D FC" },
	{ "01 30 FE", "04 FF 06 7F 06 00 30 FE 00" },
	{ "01 01 FC", "04 FF 05 01 04 00 01 FC" },
};

class Flow : public Interpreter
{
      protected:
	void SetUp() override
	{
		Interpreter::SetUp();
		write_field(ble_config->interval, "100");
		write_field(ble_config->power_index, "max");
		write_field(ble_config->mac, "NONE");
	}

	void TearDown() override
	{
		tty_deinit(); /* before the pty closes */
		Interpreter::TearDown();
	}
};

TEST_F(Flow, HardResetsWith0AndSoftWith1)
{
	PtyController controller(ti_06);
	fake_file("/dev/ttyMSM1", controller.path);
	for (const char *kind : { "hard", "soft" }) {
		ble_config->opt.status = 1;
		EXPECT_EQ(carry_out({ "config", "ble-reset", kind }), "");
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	}
	const std::vector<std::string> heard = controller.heard();
	ASSERT_EQ(heard.size(), 18U);
	EXPECT_EQ(heard[3], "01 1D FC 01 00");
	EXPECT_EQ(heard[12], "01 1D FC 01 01");
}

TEST_F(Flow, AResetThatTheControllerRefusesGivesItsCode)
{
	auto answers = ti_06;
	answers["01 1D FC"] = "04 FF 05 1D 04 11 1D FC";
	PtyController controller(answers);
	fake_file("/dev/ttyMSM1", controller.path);
	EXPECT_EQ(carry_out({ "config", "ble-reset", "hard" }),
		  "WARNING: func_reset_system_cmd() failed.\n"
		  "WARNING: HCI run failed (error code: 0x11)\n");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
}

TEST_F(Flow, AResetThatLosesTheControllerEndsAsNoDevice)
{
	auto answers = ti_06;
	answers["01 01 10"] = "04 0E 04 01 01 10 0C";
	PtyController controller(answers);
	fake_file("/dev/ttyMSM1", controller.path);
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(carry_out({ "config", "ble-reset", "soft" }), "");
	EXPECT_EQ(
		traced(),
		"ble_chip_init(N) WARNING: Successfully opened this BLE interface but could not confirm the chip details.\n"
		"cmd_config(N) WARNING: can't do this command without BLE device!!\n");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_UNCONFIRMED);
}

TEST_F(Flow, AResetWithoutALineEndsAsNoDevice)
{
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(carry_out({ "config", "ble-reset", "hard" }), "");
	const std::string text = traced();
	const std::string last =
		"cmd_config(N) WARNING: can't do this command without BLE device!!\n";
	ASSERT_GE(text.size(), last.size());
	EXPECT_EQ(text.substr(text.size() - last.size()), last);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_NONE);
}

TEST_F(Flow, AReadTracesItsFailureThenWhetherThereIsAControllerThenTheWord)
{
	dbg_level = TRACE_FLOW | TRACE_WARNING;
	EXPECT_EQ(carry_out({ "show", "gap-param", "104" }), "");
	const std::string text = traced();
	EXPECT_EQ(text.substr(text.find("cmd_show")),
		  "cmd_show(N) Start...\n"
		  "cmd_show(N) WARNING: func_gap_get_param() failed.\n"
		  "cmd_show(N) ble_available=1\n"
		  "cmd_show(N) WARNING: Invalid option \"gap-param\"\n");
}

TEST_F(Flow, AnActionTracesItsOwnWayFirst)
{
	dbg_level = TRACE_FLOW | TRACE_WARNING;
	EXPECT_EQ(carry_out({ "config", "le-receiver-test", "40" }),
		  "WARNING: ble_ptm_test(PTM_ACTION_RECEIVER) failed.\n");
	const std::string text = traced();
	EXPECT_EQ(text.substr(text.find("cmd_config")),
		  "cmd_config(N) Start...\n"
		  "ble_ptm_test(N) action=1, channel=40, length=0, data=0\n"
		  "ble_ptm_test(N) ble_config->opt.status=2\n"
		  "cmd_config(N) ble_available=1\n"
		  "cmd_config(N) WARNING: Invalid option \"le-receiver-test\"\n");
}

TEST_F(Flow, WithoutAControllerThereIsOneReportAndNoOther)
{
	ble_config->opt.status = 1;
	dbg_level = TRACE_FLOW | TRACE_WARNING;
	for (const char *command : { "show", "config" }) {
		EXPECT_EQ(carry_out({ command, "mac" }), "");
		const std::string function = std::string("cmd_") + command + "(N) ";
		const std::string text = traced();
		EXPECT_EQ(text.substr(text.find(function)),
			  function + "Start...\n" + function + "ble_available=0\n" + function +
				  "WARNING: can't do this command without BLE device!!\n");
	}
}

TEST_F(Flow, IbeaconGoesByTheTextThatStandsThereWhateverArgcSays)
{
	for (const int32_t argc : { 0, 1, 2, 7, -1, INT32_MAX }) {
		client_says({ "ibeacon", "start" });
		ble_ipc.cmd->argc = argc;
		ble_config->opt.action = 9;
		EXPECT_EQ(stderr_of([] { user_cmd_change(); }), "");
		EXPECT_EQ(ble_config->opt.action, 2U) << argc;
	}
}

TEST_F(Flow, AHugeOrNegativeArgcMatchesNoOption)
{
	dbg_level = TRACE_WARNING;
	for (const int32_t argc : { -1, INT32_MIN, INT32_MAX }) {
		client_says({ "config", "interval", "200" });
		ble_ipc.cmd->argc = argc;
		EXPECT_EQ(stderr_of([] { user_cmd_change(); }), "");
		EXPECT_EQ(traced(), "cmd_config(N) WARNING: Invalid option \"interval\"\n");
	}
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Flow, NumbersBeyondTheLargestAreTooLargeForEveryOption)
{
	static const char three[] = "4294967299"; /* 2^32 + 3: 3 after a cut to 32 bits */
	static const std::vector<std::string> commands[] = {
		{ "config", "interval", "4294967396" },
		{ "config", "txpower-index", three },
		{ "config", "gap-param", three, "160" },
		{ "config", "gap-param", "6", three },
		{ "config", "le-receiver-test", three },
		{ "config", "le-transmitter-test", three, "3", "3" },
		{ "config", "le-transmitter-test", "3", three, "3" },
		{ "config", "le-transmitter-test", "3", "3", three },
		{ "show", "gap-param", three },
	};

	dbg_level = TRACE_WARNING;
	for (const auto &words : commands) {
		client_says(words);
		stderr_of([] { user_cmd_change(); });
		EXPECT_TRUE(traced().ends_with("WARNING: Invalid option \"" + words[1] + "\"\n"))
			<< words[1];
		EXPECT_EQ(fake_heard(), "") << words[1];
	}
}

TEST_F(Flow, AWordOf64CharactersIsTheOneThatRunsOn)
{
	dbg_level = TRACE_WARNING;
	const std::string half(64, '0');
	fake_answers("04 0E 04 01 1D 20 00");
	client_says({ "config", "le-receiver-test", half, "7" });
	ble_ipc.cmd->argc = 3;
	EXPECT_EQ(stderr_of([] { user_cmd_change(); }), "");
	EXPECT_EQ(fake_heard(), "01 1D 20 01 07") << "64 zeros and a 7";
}

TEST_F(Flow, WordsThatChangeUnderACommandAreThoseItWasTakenWith)
{
	dbg_level = TRACE_WARNING;
	std::string sent;
	std::thread client([&] {
		while ((sent = fake_heard()).empty())
			std::this_thread::sleep_for(std::chrono::milliseconds(1));
		memset(ble_ipc.cmd->argv, 'x', sizeof(ble_ipc.cmd->argv));
		fake_answers("04 FF 06 7F 06 02 30 FE 00");
	});
	EXPECT_EQ(carry_out({ "config", "gap-param", "6", "160" }),
		  "WARNING: func_gap_set_param() failed.\n"
		  "WARNING: HCI run failed (error code: 0x2)\n");
	client.join();
	EXPECT_EQ(sent, "01 30 FE 03 06 A0 00");
	EXPECT_EQ(traced(), "");
	EXPECT_EQ(carry_out({ "show", "version" }), "BLE configuration utility: 0.3.0\n")
		<< "and the next command is the new one";
}

TEST_F(Flow, ShortAnswersAreShownAsZeros)
{
	fake_answers("04 0E 04 01 09 10 00");
	EXPECT_EQ(carry_out({ "show", "mac" }), "BLE MAC Address: 000000000000\n");
	fake_answers("04 0E 04 01 07 20 00");
	EXPECT_EQ(carry_out({ "show", "txpower" }), "BLE TX Power Setting: 0x0\n");
	fake_answers("04 FF 06 7F 06 00 31 FE 00");
	EXPECT_EQ(carry_out({ "show", "gap-param", "6" }), "GAP Param ID: 6, Value: 0\n");
}

TEST_F(Flow, AnswersOf258BytesAreShownByTheirFirst)
{
	std::string rest;
	for (int i = 0; i < 245; i++)
		rest += " EE";
	fake_answers("04 0E FF 01 09 10 00 66 55 44 33 22 11" + rest);
	EXPECT_EQ(carry_out({ "show", "mac" }), "BLE MAC Address: 112233445566\n");
	EXPECT_EQ(fake_unread(), 0U);
}

TEST_F(Flow, ASecondTestIsLeftToTheController)
{
	ble_config->opt.status = BLE_STATUS_TESTING;
	fake_answers("04 0E 04 01 1D 20 00");
	EXPECT_EQ(carry_out({ "config", "le-receiver-test", "3" }), "");
	EXPECT_EQ(fake_heard(), "01 1D 20 01 03");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_TESTING);
}

TEST_F(Flow, NotImplementedCommandsTouchNoTask)
{
	ble_config->opt.action = 2;
	carry_out({ "hcicmd", "01 03 0C 00" });
	carry_out({ "eddystone", "start" });
	carry_out({ "bogus", "stop" });
	EXPECT_EQ(ble_config->opt.action, 2U);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(fake_heard(), "");
}
