// SPDX-License-Identifier: Apache-2.0
/* Finding, identifying and starting a controller, and the state after each failure. */
#include "tests/unit/ble/chip_fixture.h"

#include <cstring>
#include <fstream>

using strings = std::vector<std::string>;
using table = std::map<std::string, std::string>;

static const table ti_answers = {
	{ "01 1B FC", "04 FF 09 1B 04 00 1B FC 01 02 03 04" },
	{ "01 1D FC", "04 FF 05 1D 04 00 1D FC" },
	{ "01 30 FE", "04 FF 06 7F 06 00 30 FE 00" },
	{ "01 01 FC", "04 FF 05 01 04 00 01 FC" },
	{ "01 0C FC", "04 FF 05 0C 04 00 0C FC" },
};

static const table qualcomm_answers = {
	{ "01 00 FC", "04 0E 05 01 00 FC 00 1E" },
	{ "01 03 0C", "04 0E 04 01 03 0C 00" },
	{ "01 06 20", "04 0E 04 01 06 20 00" },
	{ "01 14 FC", "04 0E 05 01 14 FC 00 00" },
};

/* The answers, with this version and manufacturer in Read Local Version Information. */
static table with_version(table answers, const char *version, const char *manufacturer)
{
	answers["01 01 10"] = std::string("04 0E 0C 01 01 10 00 ") + version + " 01 00 00 " +
			      manufacturer + " 00 02 00";
	return answers;
}

class Chip : public ChipTest
{
      protected:
	void SetUp() override
	{
		ChipTest::SetUp();
		fake_unplug();
		ble_config->opt.status = 0;
	}

	/* Bring up a controller with these answers; keeps what was sent and printed. */
	int32_t bring_up(const table &answers, int32_t action = CHIP_INIT_SOFT)
	{
		PtyController controller(answers);
		fake_file("/dev/ttyMSM1", controller.path);
		int32_t result = 0;
		printed = stderr_of([&] { result = ble_chip_init(action); });
		heard = controller.heard();
		return result;
	}

	strings heard;
	std::string printed;
};

TEST_F(Chip, ATiControllerOfVersion8NeedsNoPatchAndNoSoftReset)
{
	EXPECT_EQ(bring_up(with_version(ti_answers, "08", "0D 00")), 0);
	EXPECT_EQ(hci_ver_index, 1);
	EXPECT_EQ(ble_used_chip, 2);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(heard,
		  (strings{ "01 01 10 00", "01 01 10 00", "01 1B FC 03 01 00 00",
			    "01 30 FE 03 06 A0 00", "01 30 FE 03 07 A0 00", "01 30 FE 03 08 A0 00",
			    "01 30 FE 03 09 A0 00", "01 01 FC 01 0C" }));
	EXPECT_EQ(printed, "");
}

TEST_F(Chip, HardPasses0AndSoftPasses1ToTheReset)
{
	EXPECT_EQ(bring_up(with_version(ti_answers, "06", "0D 00"), CHIP_INIT_HARD), 0);
	EXPECT_EQ(hci_ver_index, 0);
	EXPECT_EQ(ble_used_chip, 1);
	ASSERT_GT(heard.size(), 3U);
	EXPECT_EQ(heard[3], "01 1D FC 01 00");
	EXPECT_EQ(bring_up(with_version(ti_answers, "06", "0D 00"), CHIP_INIT_SOFT), 0);
	EXPECT_EQ(heard[3], "01 1D FC 01 01");
	EXPECT_EQ(bring_up(with_version(ti_answers, "08", "0D 00"), CHIP_INIT_HARD), 0);
	EXPECT_EQ(heard[3], "01 1D FC 01 00");
}

TEST_F(Chip, AQualcommControllerIsPatchedThenResetAndHasNoPowerCommand)
{
	std::ofstream("mpnv10.bin", std::ios::binary) << "\x02patch";
	write_field(ble_config->mac, "A1B2C3D4E5F6");
	EXPECT_EQ(bring_up(with_version(qualcomm_answers, "0B", "1D 00")), 0);
	EXPECT_EQ(hci_ver_index, 2);
	EXPECT_EQ(ble_used_chip, 3);
	EXPECT_EQ(heard, (strings{ "01 01 10 00", "01 01 10 00",
				   "01 00 FC 08 1E 06 02 70 61 74 63 68", "01 03 0C 00",
				   "01 06 20 0F A0 00 A0 00 03 00 00 00 00 00 00 00 00 07 00",
				   "01 14 FC 06 A1 B2 C3 D4 E5 F6" }));
}

TEST_F(Chip, TheInformationAreaHoldsKindVersionAndRevisionAndNothingBehind)
{
	bring_up(with_version(ti_answers, "08", "0D 00"));
	static const uint8_t events[36] = { 0x04, 0x0E,           0x0C, 0x01, 0x01, 0x10, 0x00,
					    0x08, 0x01,           0x00, 0x00, 0x0D, 0x00, 0x00,
					    0x02, /* 15: */ 0x04, 0xFF, 0x09, 0x1B, 0x04, 0x00,
					    0x1B, 0xFC,           0x01, 0x02, 0x03, 0x04 };
	uint32_t kind = 0; /* native byte order; the bytes after it are those of the line */
	memcpy(&kind, ble_ipc.info, sizeof(kind));
	EXPECT_EQ(kind, 2U);
	EXPECT_EQ(memcmp(ble_ipc.info + 4, events, sizeof(events)), 0);
}

TEST_F(Chip, AnAnswerOf258BytesWritesNoMoreIntoTheArea)
{
	table answers = ti_answers;
	std::string version = "04 0E FF 01 01 10 00 08 01 00 00 0D 00 00 02";
	std::string revision = "04 FF FF 1B 04 00 1B FC 01 02 03 04";
	for (int i = 15; i < 258; i++)
		version += " AA";
	for (int i = 12; i < 258; i++)
		revision += " BB";
	answers["01 01 10"] = version;
	answers["01 1B FC"] = revision;
	memset(ble_ipc.info, 0x5A, sizeof(ble_ipc.buf->info));
	EXPECT_EQ(bring_up(answers), 0);
	EXPECT_EQ(ble_ipc.info[19], 0x04);
	EXPECT_EQ(ble_ipc.info[30], 0x04);
	for (size_t i = 31; i < 40; i++)
		EXPECT_EQ(ble_ipc.info[i], 0x5A) << i;
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_STREQ(ble_config->interval, "100");
}

TEST_F(Chip, UnsupportedControllersAreNotConfirmed)
{
	static const struct {
		const char *name;
		const char *version;
		const char *manufacturer;
		int32_t index; /* 7 before */
		const char *warning;
	} rows[] = {
		{ "TI version 12", "0C", "0D 00", -1, "Unknown HCI version" },
		{ "TI version 7", "07", "0D 00", 7, "" },
		{ "TI version 9", "09", "0D 00", 7, "" },
		{ "TI version 0", "00", "0D 00", 7, "" },
		{ "Qualcomm version 9", "09", "1D 00", 7, "" },
		{ "Qualcomm version 12", "0C", "1D 00", 7, "" },
		{ "another maker", "08", "0F 00", -1, "Unknown HCI version" },
		{ "a maker that differs in the high byte", "08", "0D 01", -1,
		  "Unknown HCI version" },
	};

	for (const auto &row : rows) {
		SCOPED_TRACE(row.name);
		hci_ver_index = 7;
		ble_used_chip = 0;
		dbg_level = TRACE_WARNING;
		EXPECT_EQ(bring_up(with_version(ti_answers, row.version, row.manufacturer)), -1);
		EXPECT_EQ(hci_ver_index, row.index);
		EXPECT_EQ(ble_used_chip, 0);
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_UNCONFIRMED);
		EXPECT_GT(ble_fd, 0) << "the line stays open";
		EXPECT_EQ(heard, strings{ "01 01 10 00" });
		EXPECT_EQ(printed, "");
		std::string expected;
		if (row.warning[0])
			expected =
				std::string("is_ble_available(N) WARNING: ") + row.warning + "\n";
		EXPECT_EQ(
			without_lines(console()),
			expected +
				"ble_chip_init(N) WARNING: Successfully opened this BLE interface but could not confirm the chip details.\n");
	}
}

TEST_F(Chip, MixedMakersAndVersionsOfTheTableAreTaken)
{
	EXPECT_EQ(bring_up(with_version(ti_answers, "06", "1D 00")), 0);
	EXPECT_EQ(hci_ver_index, 0);
	EXPECT_EQ(ble_used_chip, 1);
	std::ofstream("mpnv10.bin", std::ios::binary) << "\x02";
	EXPECT_EQ(bring_up(with_version(qualcomm_answers, "0B", "0D 00")), 0);
	EXPECT_EQ(hci_ver_index, 2);
	EXPECT_EQ(ble_used_chip, 3);
}

TEST_F(Chip, ARefusedIdentificationLeavesTheSlot)
{
	hci_ver_index = 1;
	table answers;
	answers["01 01 10"] = "04 0E 04 01 01 10 0C";
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(bring_up(answers), -1);
	EXPECT_EQ(hci_ver_index, 1);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_UNCONFIRMED);
	EXPECT_NE(
		without_lines(console()).find(
			"is_ble_available(N) tty_exist=1, manufacturer_id=0x0, hci_version=0xffffffff, hci_ver_index=1, retval=1\n"),
		std::string::npos);
}

TEST_F(Chip, WithoutALineTheStatusIs0)
{
	EXPECT_EQ(ble_chip_init(CHIP_INIT_SOFT), -1);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_NONE);
	EXPECT_EQ(fake_file_uses.size(), 5U);
}

TEST_F(Chip, AnotherActionTouchesNothing)
{
	ble_config->opt.status = 3;
	for (const int32_t action : { 0, 3, -1 })
		EXPECT_EQ(ble_chip_init(action), -1);
	EXPECT_EQ(ble_config->opt.status, 3U);
	EXPECT_TRUE(fake_file_uses.empty());
}

TEST_F(Chip, AnOpenLineIsClosedAndOpenedAnewUnlessTheStatusIs0)
{
	ASSERT_EQ(bring_up(with_version(ti_answers, "08", "0D 00")), 0);
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(bring_up(with_version(ti_answers, "08", "0D 00")), 0);
	EXPECT_EQ(without_lines(console()).find("ble_chip_init(N) action=2\n"
						"ble_chip_init(N) ble_config->opt.status: 2\n"
						"tty_deinit(N) ble_config->opt.status=2\n"),
		  0U);
	dbg_level = 0;

	/* Only a client can set status 0 with the line open: the daemon meets its own lock. */
	ble_config->opt.status = 0;
	PtyController controller(with_version(ti_answers, "08", "0D 00"));
	fake_file("/dev/ttyMSM1", controller.path);
	ASSERT_EQ(tty_init(), 0);
	const int own = ble_fd;
	ble_config->opt.status = 0;
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ble_chip_init(CHIP_INIT_SOFT), -1); }),
		  "WARNING: flock failed.\n");
	close(own);
}

/* The step that fails ends the start-up with its result; the status stays 2. */
static const struct {
	const char *command;
	const char *answer;
	int32_t result;
	const char *printed;
	size_t commands; /* sent in total */
} failures[] = {
	{ "01 1D FC", "04 FF 05 1D 04 01 1D FC", 1, "WARNING: func_reset_system_cmd() failed.\n",
	  4 },
	{ "01 30 FE 03 08", "04 FF 06 7F 06 02 30 FE 00", 2,
	  "WARNING: func_gap_set_param() failed.\n"
	  "WARNING: set_tgap_disc_adv_int() failed.\n",
	  7 },
	{ "01 01 FC", "04 FF 05 01 04 02 01 FC", 2,
	  "WARNING: func_ext_set_tx_power_cmd() failed.\n", 9 },
	{ "01 0C FC", "04 FF 05 0C 04 02 0C FC", 2,
	  "WARNING: func_set_bdaddr() failed, hci_status=0x2\n"
	  "WARNING: hci_fun_set_bdaddr() failed.\n",
	  10 },
};

TEST_F(Chip, TheFirstFailingStepEndsItWithStatus2)
{
	for (const auto &failure : failures) {
		SCOPED_TRACE(failure.command);
		table answers = with_version(ti_answers, "06", "0D 00");
		/* Only GAP parameters 06 and 07 succeed: 08 gets the failure. */
		if (std::string(failure.command).starts_with("01 30 FE")) {
			answers.erase("01 30 FE");
			answers["01 30 FE 03 06"] = ti_answers.at("01 30 FE");
			answers["01 30 FE 03 07"] = ti_answers.at("01 30 FE");
		}
		answers[failure.command] = failure.answer;
		write_field(ble_config->mac, "A1B2C3D4E5F6");
		EXPECT_EQ(bring_up(answers), failure.result);
		EXPECT_EQ(printed, failure.printed);
		EXPECT_EQ(heard.size(), failure.commands);
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	}
}

TEST_F(Chip, AFailedPatchEndsItBeforeTheReset)
{
	EXPECT_EQ(bring_up(with_version(qualcomm_answers, "0B", "1D 00")), -1);
	EXPECT_EQ(printed, "WARNING: can't find patch file !!\n"
			   "WARNING: func_download_patch_file() failed.\n");
	EXPECT_EQ(heard.size(), 2U);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
}

TEST_F(Chip, InformationThatFailsIsOnlyTraced)
{
	table answers = with_version(ti_answers, "08", "0D 00");
	answers["01 1B FC"] = "04 FF 05 1B 04 01 1B FC";
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(bring_up(answers), 0);
	EXPECT_EQ(without_lines(console()),
		  "get_ble_all_status(N) WARNING: func_ext_build_revision_cmd() failed.\n");
	EXPECT_EQ(ble_ipc.info[INFO_USED_CHIP], 0) << "the kind is not stored";
	EXPECT_EQ(ble_ipc.info[INFO_VERSION], 0x04);
}

TEST_F(Chip, NoneLeavesTheAddressAloneInExactlyThisSpelling)
{
	table answers = with_version(ti_answers, "08", "0D 00");
	EXPECT_EQ(bring_up(answers), 0);
	EXPECT_EQ(heard.back(), "01 01 FC 01 0C");
	for (const char *mac : { "none", "", "1234567890123" }) {
		write_field(ble_config->mac, mac); /* the last row fills the field without a NUL */
		EXPECT_EQ(bring_up(answers), -1) << mac;
		EXPECT_EQ(printed, "WARNING: hci_fun_set_bdaddr() failed.\n");
		EXPECT_EQ(heard.back(), "01 01 FC 01 0C");
	}
	write_field(ble_config->mac, "a1b2c3d4e5f6");
	EXPECT_EQ(bring_up(answers), 0);
	EXPECT_EQ(heard.back(), "01 0C FC 06 F6 E5 D4 C3 B2 A1");
	EXPECT_STREQ(ble_config->beacon[4].mac, "a1b2c3d4e5f6");
}

TEST_F(Chip, SettingsWithoutANulEndAtTheirWidth)
{
	write_field(ble_config->interval, "100000"); /* cut to 16 bits: 34464 ms, 55142 slots */
	write_field(ble_config->mac, "NONE");
	write_field(ble_config->power_index, "0003");
	EXPECT_EQ(bring_up(with_version(ti_answers, "08", "0D 00")), 0);
	EXPECT_EQ(heard[3], "01 30 FE 03 06 66 D7");
	EXPECT_EQ(heard.back(), "01 01 FC 01 03");
}

TEST_F(Chip, ItsWayIsTraced)
{
	write_field(ble_config->mac, "A1B2C3D4E5F6");
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(bring_up(with_version(ti_answers, "08", "0D 00")), 0);
	const std::string text = without_lines(console());
	EXPECT_EQ(
		text.substr(text.find("ble_chip_init(N) Finished")),
		"ble_chip_init(N) Finished init_uart()\n"
		"is_ble_available(N) Check if the device is present...\n"
		"is_tty_exist(N) Device exists\n"
		"is_ble_available(N) hci_version=8\n"
		"is_ble_available(N) hci_version=8, BLE_HCI_SUPPORT_VERSION[i=0]=6\n"
		"is_ble_available(N) hci_version=8, BLE_HCI_SUPPORT_VERSION[i=1]=8\n"
		"is_ble_available(N) BLE_STATUS_AVAILABLE\n"
		"is_ble_available(N) tty_exist=1, manufacturer_id=0xd, hci_version=0x8, hci_ver_index=1, retval=2\n"
		"get_ble_all_status(N) func_read_local_version_information()\n"
		"get_ble_all_status(N) func_ext_build_revision_cmd()\n"
		"ble_chip_init(N) Setting beacon interval for BLE: 100\n"
		"ble_chip_init(N) Setting power index for BLE: max\n"
		"ble_chip_init(N) Setting MAC addr for BLE: A1B2C3D4E5F6\n"
		"write_ble_mac(N) mac=A1B2C3D4E5F6\n"
		"write_ble_mac(N) ble_config->mac=A1B2C3D4E5F6\n"
		"ble_chip_init(N) ble_config->opt.status: 2\n");
}

TEST_F(Chip, ALineIsAnyDescriptorButTheFirst)
{
	const struct {
		int32_t fd;
		bool exists;
	} lines[] = { { -1, false }, { 0, false }, { 1, true }, { 7, true } };

	for (const auto &line : lines) {
		ble_fd = line.fd;
		EXPECT_EQ(is_tty_exist(), line.exists) << line.fd;
	}
	ble_fd = -1;
}

TEST_F(Chip, WithoutALineNobodyIsAsked)
{
	dbg_level = TRACE_FLOW;
	ble_config->opt.status = 2;
	EXPECT_EQ(is_ble_available(), 1);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_UNCONFIRMED);
	EXPECT_EQ(
		without_lines(console()),
		"is_ble_available(N) Check if the device is present...\n"
		"is_tty_exist(N) Device does not exist\n"
		"is_ble_available(N) tty_exist=0, manufacturer_id=0x0, hci_version=0xffffffff, hci_ver_index=0, retval=1\n");
	EXPECT_FALSE(is_tty_exist());
}
