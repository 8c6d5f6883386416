// SPDX-License-Identifier: Apache-2.0
/* The command "show", the first words, and the lock around them. */
#include "tests/unit/daemon/interpreter_fixture.h"

#include <chrono>
#include <cstring>
#include <sys/sem.h>
#include <thread>

static const char version[] = "BLE configuration utility: 0.3.0\n";
static const char read_address[] = "01 09 10 00";
static const char address_answer[] = "04 0E 0A 01 09 10 00 66 55 44 33 22 11";

TEST_F(Interpreter, ShowVersionAnswersWithAnyStatusAndAnyArgc)
{
	for (const uint32_t status : { 0U, 1U, 2U, 3U, 5U }) {
		ble_config->opt.status = status;
		EXPECT_EQ(carry_out({ "show", "version" }), version);
		EXPECT_EQ(carry_out({ "show", "version", "again" }), version);
	}
	client_says({ "show", "version" });
	ble_ipc.cmd->argc = 0; /* the daemon uses the text nevertheless */
	EXPECT_EQ(stderr_of([] { user_cmd_change(); }), version);
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, ShowMacPrintsTheAddressMostSignificantByteFirst)
{
	fake_answers(address_answer);
	EXPECT_EQ(carry_out({ "show", "mac" }), "BLE MAC Address: 112233445566\n");
	EXPECT_EQ(fake_heard(), read_address);
}

TEST_F(Interpreter, ShowTxpowerPrintsTheUnsignedByte)
{
	fake_answers("04 0E 05 01 07 20 00 EC");
	EXPECT_EQ(carry_out({ "show", "txpower" }), "BLE TX Power Setting: 0xEC\n");
	fake_answers("04 0E 05 01 07 20 00 04");
	EXPECT_EQ(carry_out({ "show", "txpower" }), "BLE TX Power Setting: 0x4\n");
}

TEST_F(Interpreter, ShowGapParamPrintsTheLittleEndianValue)
{
	fake_answers("04 FF 08 7F 06 00 31 FE 02 34 92");
	EXPECT_EQ(carry_out({ "show", "gap-param", "103" }), "GAP Param ID: 103, Value: 37428\n");
	EXPECT_EQ(fake_heard(), "01 31 FE 03 67 00 00");
}

TEST_F(Interpreter, ShowGapParamCutsItsIdTo8BitsBeforeTheTest)
{
	fake_answers("04 FF 08 7F 06 00 31 FE 02 01 00");
	EXPECT_EQ(carry_out({ "show", "gap-param", "256" }), "GAP Param ID: 0, Value: 1\n");
	EXPECT_EQ(fake_heard(), "01 31 FE 03 00 00 00");
}

TEST_F(Interpreter, ShowGapParamOf104OrOfNoNumberIsOnlyTraced)
{
	dbg_level = TRACE_WARNING;
	for (const char *id : { "104", "255", "-1", "x" }) {
		EXPECT_EQ(carry_out({ "show", "gap-param", id }), "");
		EXPECT_EQ(traced(), "cmd_show(N) WARNING: func_gap_get_param() failed.\n"
				    "cmd_show(N) WARNING: Invalid option \"gap-param\"\n");
	}
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, ShowGapParamOnQualcommSendsNothingAndSaysSo)
{
	hci_ver_index = 2;
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(carry_out({ "show", "gap-param", "6" }),
		  "WARNING: func_gap_get_param() failed.\n");
	EXPECT_EQ(traced(), "");
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, ReadsWithoutASlotSaySo)
{
	for (const int32_t index : { -1, 3, 4 }) {
		hci_ver_index = index;
		EXPECT_EQ(carry_out({ "show", "mac" }), "WARNING: func_read_bd_addr() failed.\n");
		EXPECT_EQ(carry_out({ "show", "txpower" }),
			  "WARNING: func_le_read_advertising_channel_tx_power() failed.\n");
	}
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, ARefusedReadIsTracedAndItsCodePrinted)
{
	static const struct {
		std::vector<std::string> words;
		const char *answer;
		const char *trace;
	} reads[] = {
		{ { "show", "mac" },
		  "04 0E 04 01 09 10 0C",
		  "cmd_show(N) WARNING: func_read_bd_addr() failed.\n" },
		{ { "show", "txpower" },
		  "04 0E 04 01 07 20 0C",
		  "cmd_show(N) WARNING: func_le_read_advertising_channel_tx_power() failed.\n" },
		{ { "show", "gap-param", "1" },
		  "04 FF 06 7F 06 0C 31 FE 00",
		  "cmd_show(N) WARNING: func_gap_get_param() failed.\n" },
	};

	dbg_level = TRACE_WARNING;
	for (const auto &read : reads) {
		SCOPED_TRACE(read.words[1]);
		fake_answers(read.answer);
		EXPECT_EQ(carry_out(read.words), "WARNING: HCI run failed (error code: 0xc)\n");
		EXPECT_EQ(traced(), read.trace);
	}
}

TEST_F(Interpreter, AReadOverADeadLineEndsAsAnInvalidOption)
{
	dbg_level = TRACE_WARNING;
	fake_hang_up();
	signal(SIGPIPE, SIG_IGN);
	EXPECT_EQ(carry_out({ "show", "mac" }), "WARNING: failed to write HCI command !!\n");
	signal(SIGPIPE, SIG_DFL);
	EXPECT_EQ(traced(), "cmd_show(N) WARNING: func_read_bd_addr() failed.\n"
			    "cmd_show(N) WARNING: Invalid option \"mac\"\n");
}

TEST_F(Interpreter, ShowWithoutAControllerGivesOnlyTheNoDeviceTrace)
{
	dbg_level = TRACE_WARNING;
	for (const uint32_t status : { 0U, 1U }) {
		ble_config->opt.status = status;
		for (const char *word : { "mac", "txpower", "bogus" }) {
			EXPECT_EQ(carry_out({ "show", word }), "");
			EXPECT_EQ(
				traced(),
				"cmd_show(N) WARNING: can't do this command without BLE device!!\n");
		}
	}
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, ShowMatchesAWordOnlyWithItsOwnArgc)
{
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(carry_out({ "show", "mac", "now" }), "");
	EXPECT_EQ(traced(), "cmd_show(N) WARNING: Invalid option \"mac\"\n");
	EXPECT_EQ(carry_out({ "show", "gap-param" }), "");
	EXPECT_EQ(traced(), "cmd_show(N) WARNING: Invalid option \"gap-param\"\n");
	EXPECT_EQ(carry_out({ "show", "Mac" }), "");
	EXPECT_EQ(traced(), "cmd_show(N) WARNING: Invalid option \"Mac\"\n");
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Interpreter, TheFlowOfShowIsTraced)
{
	dbg_level = TRACE_FLOW;
	carry_out({ "show", "version" });
	EXPECT_EQ(traced(), "user_cmd_change(N) Start...\n"
			    "user_cmd_change(N) argc=2\n"
			    "user_cmd_change(N) argv[0]=show\n"
			    "user_cmd_change(N) argv[1]=version\n"
			    "cmd_show(N) Start...\n"
			    "cmd_show(N) ble_available=1\n");
	ble_config->opt.status = 1;
	carry_out({ "show", "version" });
	EXPECT_NE(traced().find("cmd_show(N) ble_available=0\n"), std::string::npos);
}

TEST_F(Interpreter, HcicmdAndEddystoneAreNotImplementedYet)
{
	EXPECT_EQ(carry_out({ "hcicmd" }), "Not implemented yet\n");
	EXPECT_EQ(carry_out({ "eddystone", "start" }), "Not implemented yet\n");
}

TEST_F(Interpreter, AnUnknownFirstWordFails)
{
	for (const char *word : { "", "Show", "shows", "sho", "help" })
		EXPECT_EQ(carry_out({ word, "version" }), "user_cmd_change() failed.\n");
}

TEST_F(Interpreter, EveryCommandGivesTheLockBackExactlyOnce)
{
	for (const char *word : { "show", "config", "hcicmd", "ibeacon", "eddystone", "bogus" }) {
		SCOPED_TRACE(word);
		carry_out({ word, "none" });
		EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
	}
}

TEST_F(Interpreter, TheLockIsHeldWhileTheControllerIsAsked)
{
	int during = -1;
	std::thread controller([&] {
		while (fake_heard().empty())
			std::this_thread::sleep_for(std::chrono::milliseconds(1));
		during = semctl(ble_ipc.sem.id, 0, GETVAL);
		fake_answers(address_answer);
	});
	EXPECT_EQ(carry_out({ "show", "mac" }), "BLE MAC Address: 112233445566\n");
	controller.join();
	EXPECT_EQ(during, 0);
	EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
}

TEST_F(Interpreter, ALockThatIsGoneLosesTheCommand)
{
	ble_ipc.sem.id = 0x7FFFFFF0;
	EXPECT_EQ(carry_out({ "show", "version" }), "user_cmd_change() failed.\n");
}

TEST_F(Interpreter, AWordOf64CharactersRunsIntoTheNextSlot)
{
	dbg_level = TRACE_WARNING;
	client_says({ "show", std::string(64, 'x'), "tail" });
	EXPECT_EQ(stderr_of([] { user_cmd_change(); }), "");
	EXPECT_EQ(traced(),
		  "cmd_show(N) WARNING: Invalid option \"" + std::string(64, 'x') + "tail\"\n");
}

TEST_F(Interpreter, WordsWithoutAnyNulEndAtTheEndOfTheCommandArea)
{
	dbg_level = TRACE_WARNING | TRACE_FLOW;
	memset(ble_ipc.cmd->argv, 'y', sizeof(ble_ipc.cmd->argv));
	memset(ble_ipc.cmd->rest, 'z', sizeof(ble_ipc.cmd->rest));
	memset(ble_ipc.info, 'i', sizeof(ble_ipc.buf->info));
	ble_ipc.cmd->argc = 21;
	EXPECT_EQ(stderr_of([] { user_cmd_change(); }), "user_cmd_change() failed.\n");
	const std::string text = traced();
	EXPECT_EQ(text.find('i', text.find("argv[20]=") + 9), std::string::npos)
		<< "the information area is no part of a word";
	EXPECT_NE(text.find("argv[20]=" + std::string(64, 'y') + std::string(24, 'z')),
		  std::string::npos);
}

TEST_F(Interpreter, AnyArgcIsTracedButAtMost21WordsAreShown)
{
	static const struct {
		int32_t argc;
		size_t words;
	} rows[] = { { -1, 0 },  { INT32_MIN, 0 }, { 0, 0 },         { 1, 1 },
		     { 21, 21 }, { 22, 21 },       { INT32_MAX, 21 } };

	dbg_level = TRACE_FLOW;
	for (const auto &row : rows) {
		client_says({ "hcicmd" });
		ble_ipc.cmd->argc = row.argc;
		stderr_of([] { user_cmd_change(); });
		const std::string text = traced();
		size_t count = 0;
		for (size_t at = text.find("argv["); at != std::string::npos;
		     at = text.find("argv[", at + 1))
			count++;
		EXPECT_EQ(count, row.words) << row.argc;
		EXPECT_NE(text.find("argc=" + std::to_string(row.argc) + "\n"), std::string::npos);
	}
}
