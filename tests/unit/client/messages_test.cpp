// SPDX-License-Identifier: Apache-2.0
/* How the client reads the daemon's messages and error codes, and writes JSON. */
#include "client/link/messages.h"

#include "client/cli/output.h"
#include "client/link/hci_errors.h"
#include "tests/unit/client/record.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

static const struct {
	const char *line;
	bool is_result;
	bool refused;
	int code;
} lines[] = {
	{ "BLE MAC Address: A1B2C3D4E5F6\n", true, false, -1 },
	{ "BLE configuration utility: 0.3.0\n", true, false, -1 },
	{ "BLE TX Power Setting: 0xEC\n", true, false, -1 },
	{ "GAP Param ID: 6, Value: 160\n", true, false, -1 },
	{ "Num of packets: 4660\n", true, false, -1 },
	{ "WARNING: func_gap_set_param() failed.\n", false, true, -1 },
	{ "WARNING: HCI run failed (error code: 0x12)\n", false, true, 0x12 },
	{ "WARNING: func_set_bdaddr() failed, hci_status=0x1\n", false, true, 0x01 },
	{ "user_cmd_change() failed.\n", false, true, -1 },
	{ "Not implemented yet\n", false, true, -1 },
	{ "run_daemon_task(117) Unknown command\n", false, true, -1 },
	{ "Open /proc/MRD failed.\n", false, false, -1 },
	{ " 01 09 10 00 \n", false, false, -1 },
	{ "", false, false, -1 },
};

TEST(Messages, AResultAWarningAndAnythingElseAreToldApart)
{
	for (const auto &row : lines) {
		SCOPED_TRACE(row.line);
		outcome end = {};
		end.error_code = -1;
		EXPECT_EQ(judge_message(row.line, nullptr, &end), row.is_result);
		EXPECT_EQ(end.refused, row.refused);
		EXPECT_EQ(end.error_code, row.code);
	}
}

TEST(Messages, AWarningOfAnotherIsNotTheCommandsFailure)
{
	static const char own[] = "set_tgap_disc_adv_int() failed";
	outcome end = {};

	end.error_code = -1;
	judge_message("WARNING: hci_fun_set_bdaddr() failed.\n", own, &end);
	judge_message("WARNING: func_set_bdaddr() failed, hci_status=0x1\n", own, &end);
	EXPECT_FALSE(end.refused);
	EXPECT_EQ(end.error_code, -1);
	judge_message("WARNING: set_tgap_disc_adv_int() failed.\n", own, &end);
	EXPECT_TRUE(end.refused);
	judge_message("WARNING: HCI run failed (error code: 0x2)\n", own, &end);
	EXPECT_EQ(end.error_code, 2);
}

TEST(Messages, OnlyWhatIsSaidBetweenBeginAndStopIsTaken)
{
	std::string path = std::filesystem::temp_directory_path() / "client-messages-XXXXXX";
	const int file = mkstemp(path.data());
	const int kept = dup(STDERR_FILENO);
	messages m;
	outcome end = {};

	/* This process acts as the daemon, with a file as standard error. */
	ASSERT_EQ(dup2(file, STDERR_FILENO), STDERR_FILENO);
	dprintf(file, "GAP Param ID: 1, Value: 1\n");
	messages_begin(&m, getpid());
	dprintf(file, "GAP Param ID: 2, Value: 2\n");
	messages_stop(&m);
	dprintf(file, "GAP Param ID: 3, Value: 3\n");
	messages_take(&m, nullptr, nullptr, &end);
	messages_end(&m);
	dup2(kept, STDERR_FILENO);
	close(kept);
	close(file);
	unlink(path.c_str());
	EXPECT_TRUE(end.heard);
	EXPECT_STREQ(end.result, "GAP Param ID: 2, Value: 2");
}

TEST(Messages, TheResultIsKeptWithoutItsLineEnd)
{
	outcome end = {};

	judge_message("GAP Param ID: 6, Value: 160\n", nullptr, &end);
	EXPECT_STREQ(end.result, "GAP Param ID: 6, Value: 160");
}

TEST(Messages, AResultOfAnyLengthIsCut)
{
	outcome end = {};

	EXPECT_TRUE(judge_message(("BLE MAC Address: " + std::string(500, 'A')).c_str(), nullptr,
				  &end));
	EXPECT_EQ(std::string(end.result).size(), sizeof(end.result) - 1);
}

TEST(HciErrors, AreNamedAsTheCoreDocumentsDo)
{
	EXPECT_STREQ(hci_error_name(0x01, HCI_STANDARD), "Unknown HCI Command");
	EXPECT_STREQ(hci_error_name(0x0C, HCI_STANDARD), "Command Disallowed");
	EXPECT_STREQ(hci_error_name(0x12, HCI_STANDARD), "Invalid HCI Command Parameters");
	EXPECT_STREQ(hci_error_name(0x1F, HCI_STANDARD), "Unspecified Error");
	EXPECT_STREQ(hci_error_name(0x2A, HCI_STANDARD), "Different Transaction Collision");
	EXPECT_STREQ(hci_error_name(0x2B, HCI_STANDARD), "unknown code");
	EXPECT_STREQ(hci_error_name(-1, HCI_STANDARD), "unknown code");
}

TEST(HciErrors, TisOwnCommandsHaveNamesOfTheirOwn)
{
	EXPECT_STREQ(hci_error_name(0x12, HCI_TI_VENDOR),
		     "Wrong Role or Mode, or Invalid Parameter");
	EXPECT_STREQ(hci_error_name(0x02, HCI_TI_VENDOR), "Invalid Parameter");
	EXPECT_STREQ(hci_error_name(0x0C, HCI_TI_VENDOR), "Command Disallowed");
}

static std::string as_json(const char *text)
{
	return written([&](FILE *file) { json_string(file, text); });
}

TEST(Json, WhatAStringMayNotHoldIsEscaped)
{
	EXPECT_EQ(as_json("NONE"), "\"NONE\"");
	EXPECT_EQ(as_json("a\"b\\c"), "\"a\\\"b\\\\c\"");
	EXPECT_EQ(as_json("\n\x1f\x7f"), "\"\\u000a\\u001f\\u007f\"");
	EXPECT_EQ(as_json("\xff"), "\"\\u00ff\"") << "a byte alone would be no UTF-8";
	EXPECT_EQ(as_json(""), "\"\"");
}
