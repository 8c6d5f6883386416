// SPDX-License-Identifier: Apache-2.0
/* The controller's identity in the segment, and the traces of a start-up that ends early. */
#include "tests/unit/ble/chip_fixture.h"

#include <cstring>
#include <fstream>

#define VERSION  "04 0E 0C 01 01 10 00 08 34 12 09 0D 00 78 56 "
#define REVISION "04 FF 09 1B 04 00 1B FC 01 02 03 04 "

/* The fixture has opened the line; the controller is known. */
class ChipInformation : public DaemonTest
{
      protected:
	void SetUp() override
	{
		DaemonTest::SetUp();
		memset(ble_ipc.info, 0x5A, sizeof(ble_ipc.buf->info));
		hci_ver_index = 1;
		ble_used_chip = 2;
		dbg_level = TRACE_FLOW | TRACE_WARNING;
	}

	static std::string hex(const void *bytes, size_t size)
	{
		std::string text;

		for (size_t i = 0; i < size; i++) {
			char byte[4];
			snprintf(byte, sizeof(byte), "%02X ",
				 static_cast<const uint8_t *>(bytes)[i]);
			text += byte;
		}
		return text;
	}

	/* The information area as text. */
	static std::string area()
	{
		return hex(ble_ipc.info, sizeof(ble_ipc.buf->info));
	}

	/* A number of native byte order as it is in that area. */
	static std::string kind(uint32_t number)
	{
		return hex(&number, sizeof(number));
	}

	static std::string untouched(int bytes)
	{
		std::string text;

		for (int i = 0; i < bytes; i++)
			text += "5A ";
		return text;
	}
};

TEST_F(ChipInformation, IsTheKindTheVersionAndTheRevision)
{
	fake_answers(VERSION REVISION);
	get_ble_all_status();
	EXPECT_EQ(area(), kind(2) + VERSION REVISION + untouched(9));
	EXPECT_EQ(fake_heard(), "01 01 10 00 01 1B FC 03 01 00 00");
	EXPECT_EQ(without_lines(console()),
		  "get_ble_all_status(N) func_read_local_version_information()\n"
		  "get_ble_all_status(N) func_ext_build_revision_cmd()\n");
}

TEST_F(ChipInformation, WithoutAVersionNothingElseIsAskedOrStored)
{
	fake_answers("04 0E 04 01 01 10 0C");
	get_ble_all_status();
	EXPECT_EQ(area(), untouched(4) + "04 0E 04 01 01 10 0C " + untouched(29));
	EXPECT_EQ(fake_heard(), "01 01 10 00");
	EXPECT_EQ(without_lines(console()),
		  "get_ble_all_status(N) func_read_local_version_information()\n"
		  "get_ble_all_status(N) WARNING: func_read_local_version_information() failed.\n");
}

TEST_F(ChipInformation, WithoutARevisionTheKindIsNotStored)
{
	fake_answers(VERSION "04 FF 05 1B 04 01 1B FC");
	get_ble_all_status();
	EXPECT_EQ(area(), untouched(4) + VERSION "04 FF 05 1B 04 01 1B FC " + untouched(13));
	EXPECT_EQ(without_lines(console()),
		  "get_ble_all_status(N) func_read_local_version_information()\n"
		  "get_ble_all_status(N) func_ext_build_revision_cmd()\n"
		  "get_ble_all_status(N) WARNING: func_ext_build_revision_cmd() failed.\n");
}

TEST_F(ChipInformation, AQualcommControllerHasNoRevisionAndItsKindIsStored)
{
	hci_ver_index = 2;
	ble_used_chip = 3;
	fake_answers(VERSION);
	get_ble_all_status();
	EXPECT_EQ(area(), kind(3) + VERSION + untouched(21));
	EXPECT_EQ(fake_heard(), "01 01 10 00");
}

TEST_F(ChipInformation, NoMoreThanAnEventsOwnBytesAreStored)
{
	hci_ver_index = 2;
	fake_answers("04 0E 06 01 01 10 00 08 34");
	get_ble_all_status();
	EXPECT_EQ(area(), kind(2) + "04 0E 06 01 01 10 00 08 34 " + untouched(27));
}

using table = std::map<std::string, std::string>;

static const table ti_06 = {
	{ "01 01 10", "04 0E 0C 01 01 10 00 06 01 00 00 0D 00 00 02" },
	{ "01 1B FC", REVISION },
	{ "01 1D FC", "04 FF 05 1D 04 00 1D FC" },
	{ "01 30 FE", "04 FF 06 7F 06 00 30 FE 00" },
	{ "01 01 FC", "04 FF 05 01 04 00 01 FC" },
	{ "01 0C FC", "04 FF 05 0C 04 00 0C FC" },
};

class ChipTraces : public ChipTest
{
      protected:
	/* The traces of a soft start from get_ble_all_status on. */
	std::string traces_of(const table &answers)
	{
		PtyController controller(answers);
		fake_file("/dev/ttyMSM1", controller.path);
		dbg_level = TRACE_FLOW | TRACE_WARNING;
		stderr_of([this] { result = ble_chip_init(CHIP_INIT_SOFT); });
		heard = controller.heard();
		const std::string text = without_lines(console());
		const size_t at = text.find("get_ble_all_status(N)");
		return at == std::string::npos ? text : text.substr(at);
	}

	int32_t result = 0;
	std::vector<std::string> heard;
};

#define ASKED                                                           \
	"get_ble_all_status(N) func_read_local_version_information()\n" \
	"get_ble_all_status(N) func_ext_build_revision_cmd()\n"
#define STATUS   "ble_chip_init(N) ble_config->opt.status: 2\n"
#define INTERVAL "ble_chip_init(N) Setting beacon interval for BLE: 100\n"
#define POWER    "ble_chip_init(N) Setting power index for BLE: max\n"

TEST_F(ChipTraces, EndWithTheStatusAlsoAfterAStepThatFails)
{
	static const struct {
		const char *command;
		const char *answer;
		const char *traced;
	} rows[] = {
		{ "01 1D FC", "04 FF 05 1D 04 01 1D FC", ASKED STATUS },
		{ "01 30 FE", "04 FF 06 7F 06 02 30 FE 00", ASKED INTERVAL STATUS },
		{ "01 01 FC", "04 FF 05 01 04 02 01 FC", ASKED INTERVAL POWER STATUS },
	};

	for (const auto &row : rows) {
		SCOPED_TRACE(row.command);
		table answers = ti_06;
		answers[row.command] = row.answer;
		EXPECT_EQ(traces_of(answers), row.traced);
		EXPECT_GT(result, 0);
		EXPECT_GT(ble_fd, 0) << "the line stays open";
	}
}

TEST_F(ChipTraces, TellThePowerOfAQualcommControllerThoughItHasNoSuchCommand)
{
	std::ofstream("mpnv10.bin", std::ios::binary) << "\x02";
	EXPECT_EQ(traces_of({
			  { "01 01 10", "04 0E 0C 01 01 10 00 0B 01 00 00 1D 00 00 02" },
			  { "01 00 FC", "04 0E 05 01 00 FC 00 1E" },
			  { "01 03 0C", "04 0E 04 01 03 0C 00" },
			  { "01 06 20", "04 0E 04 01 06 20 00" },
		  }),
		  ASKED INTERVAL POWER STATUS);
	EXPECT_EQ(result, 0);
	EXPECT_EQ(heard.back().substr(0, 11), "01 06 20 0F");
}

TEST_F(ChipTraces, StopWhereNoControllerIsConfirmed)
{
	const std::string text =
		traces_of({ { "01 01 10", "04 0E 0C 01 01 10 00 07 01 00 00 0D 00 00 02" } });
	EXPECT_EQ(
		text.substr(text.find("is_ble_available")),
		"is_ble_available(N) Check if the device is present...\n"
		"is_tty_exist(N) Device exists\n"
		"is_ble_available(N) hci_version=7\n"
		"is_ble_available(N) hci_version=7, BLE_HCI_SUPPORT_VERSION[i=0]=6\n"
		"is_ble_available(N) hci_version=7, BLE_HCI_SUPPORT_VERSION[i=1]=8\n"
		"is_ble_available(N) hci_version=7, BLE_HCI_SUPPORT_VERSION[i=2]=11\n"
		"is_ble_available(N) tty_exist=1, manufacturer_id=0xd, hci_version=0x7, hci_ver_index=0, retval=1\n"
		"ble_chip_init(N) WARNING: Successfully opened this BLE interface but could not confirm the chip details.\n");
	EXPECT_EQ(result, -1);
}

TEST_F(ChipTraces, OfAnotherActionAreItsNumberAlone)
{
	dbg_level = TRACE_FLOW | TRACE_WARNING;
	EXPECT_EQ(ble_chip_init(3), -1);
	EXPECT_EQ(without_lines(console()), "ble_chip_init(N) action=3\n");
	EXPECT_GT(ble_fd, 0);
}

TEST_F(ChipTraces, WithoutALineEndWithTheDeviceThatIsMissing)
{
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(ble_chip_init(CHIP_INIT_SOFT), -1);
	const std::string text = without_lines(console());
	EXPECT_EQ(text.substr(text.find("tty_init(N) Try to open the interface /dev/ttyUSB0")),
		  "tty_init(N) Try to open the interface /dev/ttyUSB0\n"
		  "tty_deinit(N) ble_config->opt.status=1\n"
		  "ble_chip_init(N) Can't initialize tty device.\n");
}

TEST_F(ChipTraces, AddressByMrdIsTakenFromTheSettingsToo)
{
	std::ofstream("mrd", std::ios::binary)
		<< std::string(232, 'x') << "\x10\x32\x54\x76\x98\xFB";
	fake_file("/proc/MRD", folder + "/mrd");
	write_field(ble_config->mac, "by-mrd");
	traces_of(ti_06);
	EXPECT_EQ(result, 0);
	EXPECT_EQ(heard.back(), "01 0C FC 06 00 99 76 54 32 10");
	EXPECT_STREQ(ble_config->mac, "103254769900");
}
