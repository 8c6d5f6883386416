// SPDX-License-Identifier: Apache-2.0
/* The commands "config" and "ibeacon": which words are accepted, and what they do. */
#include "ble/ptm.h"
#include "tests/unit/daemon/interpreter_fixture.h"

#include <cstring>

static const char gap_ok[] = "04 FF 06 7F 06 00 30 FE 00";

static std::string invalid(const std::string &word)
{
	return "cmd_config(N) WARNING: Invalid option \"" + word + "\"\n";
}

TEST_F(Interpreter, DebugLevelIsHexadecimalAndNeedsNoController)
{
	static const struct {
		const char *text;
		uint32_t mask;
	} rows[] = {
		{ "1000000", 0x1000000 },
		{ "0x30", 0x30 },
		{ "2000000", 0x2000000 },
		{ "ffffffff", 0xFFFFFFFF },
		{ "1ffffffff", 0xFFFFFFFF },
		{ "-1", 0xFFFFFFFF },
		{ " 10", 0x10 },
		{ "garbage", 0 },
		{ "", 0 },
	};

	ble_config->opt.status = 0;
	for (const auto &row : rows) {
		carry_out({ "config", "debug-level", row.text });
		EXPECT_EQ(dbg_level, row.mask) << row.text;
		dbg_level = 0;
		console();
	}
}

TEST_F(Interpreter, TheNewMaskHoldsFromTheNextTraceOn)
{
	carry_out({ "config", "debug-level", "1000000" });
	EXPECT_EQ(traced(), "cmd_config(N) dbg_level=0x1000000\n"
			    "cmd_config(N) ble_available=1\n");
	carry_out({ "config", "debug-level", "0" });
	EXPECT_EQ(traced(), "user_cmd_change(N) Start...\n"
			    "user_cmd_change(N) argc=3\n"
			    "user_cmd_change(N) argv[0]=config\n"
			    "user_cmd_change(N) argv[1]=debug-level\n"
			    "user_cmd_change(N) argv[2]=0\n"
			    "cmd_config(N) Start...\n");
}

TEST_F(Interpreter, EachOptionIsMatchedOnlyWithItsOwnArgc)
{
	static const struct {
		const char *word;
		size_t argc;
	} options[] = {
		{ "debug-level", 3 },
		{ "ble-reset", 3 },
		{ "le-receiver-test", 3 },
		{ "le-transmitter-test", 5 },
		{ "le-test-end", 2 },
		{ "gap-param", 4 },
		{ "mac", 3 },
		{ "txpower-index", 3 },
		{ "interval", 3 },
	};

	dbg_level = TRACE_WARNING;
	for (const auto &option : options) {
		for (size_t argc = 2; argc <= 6; argc++) {
			if (argc == option.argc)
				continue;
			std::vector<std::string> words = { "config", option.word };
			words.resize(argc, "1");
			EXPECT_EQ(carry_out(words), "") << option.word << " with " << argc;
			EXPECT_EQ(traced(), invalid(option.word)) << argc;
		}
	}
	EXPECT_EQ(fake_heard(), "");
	EXPECT_EQ(dbg_level, uint32_t{ TRACE_WARNING });
}

TEST_F(Interpreter, UnknownOptionsAreInvalid)
{
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(carry_out({ "config", "Interval", "200" }), "");
	EXPECT_EQ(traced(), invalid("Interval"));
	EXPECT_EQ(carry_out({ "config" }), "");
	EXPECT_EQ(traced(), invalid("Interval")) << "the text that still stands there";
}

TEST_F(Interpreter, OptionsThatNeedAControllerDoNothingWithoutOne)
{
	dbg_level = TRACE_WARNING;
	ble_config->opt.status = 1;
	for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
		     { "config", "le-receiver-test", "1" },
		     { "config", "le-transmitter-test", "1", "2", "3" },
		     { "config", "le-test-end" },
		     { "config", "gap-param", "1", "2" },
		     { "config", "mac", "A1B2C3D4E5F6" },
		     { "config", "txpower-index", "max" },
		     { "config", "interval", "200" },
		     { "config", "bogus" },
		     { "config", "ble-reset", "lukewarm" },
	     }) {
		EXPECT_EQ(carry_out(words), "") << words[1];
		EXPECT_EQ(traced(),
			  "cmd_config(N) WARNING: can't do this command without BLE device!!\n")
			<< words[1];
	}
	EXPECT_EQ(fake_heard(), "");
	EXPECT_STREQ(ble_config->mac, "");
}

TEST_F(Interpreter, IntervalTakes100To65534)
{
	dbg_level = TRACE_WARNING;
	for (const char *bad : { "99", "65535", "0", "", "-1", "1e3", "100 " }) {
		EXPECT_EQ(carry_out({ "config", "interval", bad }), "");
		EXPECT_EQ(traced(), invalid("interval")) << bad;
	}
	EXPECT_EQ(fake_heard(), "");
	for (const char *good : { "100", "65534" }) {
		for (int i = 0; i < 4; i++)
			fake_answers(gap_ok);
		EXPECT_EQ(carry_out({ "config", "interval", good }), "");
		EXPECT_EQ(traced(), "");
	}
	EXPECT_EQ(fake_heard(), "01 30 FE 03 06 A0 00 01 30 FE 03 07 A0 00 "
				"01 30 FE 03 08 A0 00 01 30 FE 03 09 A0 00 "
				"01 30 FE 03 06 96 99 01 30 FE 03 07 96 99 "
				"01 30 FE 03 08 96 99 01 30 FE 03 09 96 99");
	EXPECT_STREQ(ble_config->interval, "") << "the setting is not written";
}

TEST_F(Interpreter, GapParamTakesIdsTo103AndValuesTo65534)
{
	dbg_level = TRACE_WARNING;
	static const struct {
		const char *id;
		const char *value;
	} bad[] = { { "104", "1" }, { "1", "65535" }, { "x", "1" }, { "1", "x" }, { "-1", "1" } };
	for (const auto &row : bad) {
		EXPECT_EQ(carry_out({ "config", "gap-param", row.id, row.value }), "");
		EXPECT_EQ(traced(), invalid("gap-param")) << row.id << " " << row.value;
	}
	EXPECT_EQ(fake_heard(), "");

	fake_answers(gap_ok);
	EXPECT_EQ(carry_out({ "config", "gap-param", "103", "65534" }), "");
	fake_answers(gap_ok);
	EXPECT_EQ(carry_out({ "config", "gap-param", "256", "65536" }), "");
	EXPECT_EQ(fake_heard(), "01 30 FE 03 67 FE FF 01 30 FE 03 00 00 00")
		<< "numbers are cut before they are tested";
	EXPECT_EQ(traced(), "");
}

TEST_F(Interpreter, GapParamOnQualcommCountsAsDone)
{
	hci_ver_index = 2;
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(carry_out({ "config", "gap-param", "6", "160" }), "");
	EXPECT_EQ(carry_out({ "config", "txpower-index", "nonsense" }), "");
	EXPECT_EQ(traced(), "");
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, ARefusedActionPrintsItsWarningAndThenTheCode)
{
	static const struct {
		std::vector<std::string> words;
		const char *answer;
		const char *printed;
	} rows[] = {
		{ { "config", "gap-param", "1", "2" },
		  "04 FF 06 7F 06 02 30 FE 00",
		  "WARNING: func_gap_set_param() failed.\n" },
		{ { "config", "txpower-index", "3" },
		  "04 FF 05 01 04 02 01 FC",
		  "WARNING: func_ext_set_tx_power_cmd() failed.\n" },
		{ { "config", "mac", "A1B2C3D4E5F6" },
		  "04 FF 05 0C 04 02 0C FC",
		  "WARNING: func_set_bdaddr() failed, hci_status=0x2\n"
		  "WARNING: write_ble_mac() failed\n" },
		{ { "config", "interval", "200" },
		  "04 FF 06 7F 06 02 30 FE 00",
		  "WARNING: func_gap_set_param() failed.\n"
		  "WARNING: set_tgap_disc_adv_int() failed.\n" },
		{ { "config", "le-receiver-test", "1" },
		  "04 0E 04 01 1D 20 02",
		  "WARNING: func_le_receiver_test() failed.\n"
		  "WARNING: ble_ptm_test(PTM_ACTION_RECEIVER) failed.\n" },
		{ { "config", "le-transmitter-test", "1", "2", "3" },
		  "04 0E 04 01 1E 20 02",
		  "WARNING: func_le_transmitter_test() failed.\n"
		  "WARNING: ble_ptm_test(PTM_ACTION_TRANSMITTER) failed.\n" },
		{ { "config", "le-test-end" },
		  "04 0E 04 01 1F 20 02",
		  "WARNING: func_le_test_end_command() failed.\n"
		  "WARNING: ble_ptm_test(PTM_ACTION_END) failed.\n" },
	};

	for (const auto &row : rows) {
		SCOPED_TRACE(row.words[1]);
		fake_answers(row.answer);
		EXPECT_EQ(carry_out(row.words),
			  std::string(row.printed) + "WARNING: HCI run failed (error code: 0x2)\n");
		EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
	}
}

TEST_F(Interpreter, AnActionThatReturnsMinusOneIsReportedAsAnInvalidOption)
{
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(carry_out({ "config", "le-receiver-test", "40" }),
		  "WARNING: ble_ptm_test(PTM_ACTION_RECEIVER) failed.\n");
	EXPECT_EQ(traced(), invalid("le-receiver-test"));
	EXPECT_EQ(carry_out({ "config", "le-transmitter-test", "1", "38", "1" }),
		  "WARNING: ble_ptm_test(PTM_ACTION_TRANSMITTER) failed.\n");
	EXPECT_EQ(traced(), invalid("le-transmitter-test"));
	EXPECT_EQ(carry_out({ "config", "mac", "A1:B2:C3:D4:E5:F6" }),
		  "WARNING: write_ble_mac() failed\n");
	EXPECT_EQ(traced(), invalid("mac"));
	EXPECT_EQ(carry_out({ "config", "txpower-index", "4" }),
		  "WARNING: func_ext_set_tx_power_cmd() failed.\n");
	EXPECT_EQ(traced(), invalid("txpower-index"));
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, TestNumbersAreCutTo8Bits)
{
	fake_answers("04 0E 04 01 1D 20 00 | 04 0E 04 01 1E 20 00");
	EXPECT_EQ(carry_out({ "config", "le-receiver-test", "256" }), "");
	EXPECT_EQ(carry_out({ "config", "le-transmitter-test", "295", "293", "263" }), "");
	EXPECT_EQ(fake_heard(), "01 1D 20 01 00 01 1E 20 03 27 25 07");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_TESTING);
}

TEST_F(Interpreter, MacIsStoredAndSentAsItStands)
{
	fake_answers("04 FF 05 0C 04 00 0C FC");
	EXPECT_EQ(carry_out({ "config", "mac", "a1b2c3d4e5f6" }), "");
	EXPECT_EQ(fake_heard(), "01 0C FC 06 F6 E5 D4 C3 B2 A1");
	EXPECT_STREQ(ble_config->mac, "a1b2c3d4e5f6");
}

TEST_F(Interpreter, TxpowerIndexIsHandedOnUnparsedAndNotStored)
{
	fake_answers("04 FF 05 01 04 00 01 FC");
	EXPECT_EQ(carry_out({ "config", "txpower-index", "max" }), "");
	EXPECT_EQ(fake_heard(), "01 01 FC 01 03");
	EXPECT_STREQ(ble_config->power_index, "");
}

TEST_F(Interpreter, BleResetTakesHardAndSoftAlone)
{
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(carry_out({ "config", "ble-reset", "Hard" }), "");
	EXPECT_EQ(traced(), invalid("ble-reset"));

	/* There is no serial device: both look for one and find none. */
	for (const char *kind : { "hard", "soft" }) {
		ble_config->opt.status = 0;
		dbg_level = TRACE_FLOW;
		EXPECT_EQ(carry_out({ "config", "ble-reset", kind }), "");
		const std::string text = traced();
		EXPECT_NE(text.find(std::string("ble_chip_init(N) action=") +
				    (kind[0] == 'h' ? "1" : "2") + "\n"),
			  std::string::npos)
			<< text;
		EXPECT_EQ(fake_file_uses.size(), 5U);
		fake_file_uses.clear();
	}
}

TEST_F(Interpreter, IbeaconLeavesItsTaskForTheLoop)
{
	static const struct {
		const char *word;
		uint32_t action;
	} rows[] = { { "stop", 1 }, { "start", 2 }, { "restart", 3 }, { "Start", 0 }, { "", 0 } };

	for (const uint32_t status : { 0U, 1U, 2U, 3U }) {
		ble_config->opt.status = status;
		for (const auto &row : rows) {
			ble_config->opt.action = 9;
			EXPECT_EQ(carry_out({ "ibeacon", row.word }), "");
			EXPECT_EQ(ble_config->opt.action, row.action) << row.word;
			EXPECT_EQ(ble_config->opt.status, status);
		}
	}
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, IbeaconEndsARunningTestFirst)
{
	dbg_level = TRACE_WARNING;
	ble_config->opt.status = BLE_STATUS_TESTING;
	fake_answers("04 0E 06 01 1F 20 00 34 12");
	EXPECT_EQ(carry_out({ "ibeacon", "start" }), "Num of packets: 4660\n");
	EXPECT_EQ(
		traced(),
		"cmd_ibeacon(N) WARNING: can't change BLE behavior in PTM mode, we will end the PTM test\n");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(ble_config->opt.action, 2U);
}

TEST_F(Interpreter, IbeaconThatCannotEndTheTestLeavesTheActionAlone)
{
	ble_config->opt.status = BLE_STATUS_TESTING;
	ble_config->opt.action = 3;
	fake_answers("04 0E 04 01 1F 20 0C");
	EXPECT_EQ(carry_out({ "ibeacon", "start" }),
		  "WARNING: func_le_test_end_command() failed.\n"
		  "WARNING: ble_ptm_test(PTM_ACTION_END) failed.\n");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_UNCONFIRMED);
	EXPECT_EQ(ble_config->opt.action, 3U);
	EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
}

TEST_F(Interpreter, TheFlowOfIbeaconIsTraced)
{
	dbg_level = TRACE_FLOW;
	carry_out({ "ibeacon", "stop" });
	EXPECT_EQ(traced(), "user_cmd_change(N) Start...\n"
			    "user_cmd_change(N) argc=2\n"
			    "user_cmd_change(N) argv[0]=ibeacon\n"
			    "user_cmd_change(N) argv[1]=stop\n"
			    "cmd_ibeacon(N) Start...\n");
}
