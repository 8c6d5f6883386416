// SPDX-License-Identifier: Apache-2.0
/* The controller's address: from the user or the manufacturing data, stored and sent. */
#include "ble/address.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <fcntl.h>
#include <fstream>
#include <unistd.h>

#define OK "04 FF 05 0C 04 00 0C FC"

class Address : public DaemonTest
{
      protected:
	/* Write manufacturing data with this base address, cut to `size` bytes. */
	void put_mrd(const std::string &base, size_t size = 400)
	{
		const std::string path = folder + "/mrd";
		std::string data(232, '\x11');

		data += base + std::string(400, '\x22');
		std::ofstream(path, std::ios::binary) << data.substr(0, size);
		fake_file("/proc/MRD", path);
	}

	void expect_everywhere(const std::string &text)
	{
		EXPECT_STREQ(ble_config->mac, text.c_str());
		for (const beacon_entry &entry : ble_config->beacon)
			EXPECT_STREQ(entry.mac, text.c_str());
	}
};

TEST_F(Address, TwelveCharactersAreStoredAndSentAsTheyStand)
{
	for (const char *mac : { "A1B2C3D4E5F6", "a1b2c3d4e5f6" }) {
		fake_answers(OK);
		EXPECT_EQ(write_ble_mac(mac), 0);
		expect_everywhere(mac);
		EXPECT_EQ(fake_heard(), "01 0C FC 06 F6 E5 D4 C3 B2 A1");
	}
	fake_answers(OK);
	EXPECT_EQ(write_ble_mac("not an addre"), 0) << "its characters are not checked";
	expect_everywhere("not an addre");
}

TEST_F(Address, OnQualcommTheBytesGoInTextOrder)
{
	hci_ver_index = 2;
	fake_answers("04 0E 05 01 14 FC 00 00");
	EXPECT_EQ(write_ble_mac("A1B2C3D4E5F6"), 0);
	EXPECT_EQ(fake_heard(), "01 14 FC 06 A1 B2 C3 D4 E5 F6");
}

TEST_F(Address, AnyOtherTextIsRefusedAndChangesNothing)
{
	write_field(ble_config->mac, "before");
	for (const char *mac : { "A1:B2:C3:D4:E5:F6", "", "A1B2C3D4E5F", "A1B2C3D4E5F67", "BY-MRD",
				 "by-mrd ", "none" }) {
		EXPECT_EQ(write_ble_mac(mac), -1) << mac;
		EXPECT_STREQ(ble_config->mac, "before");
	}
	EXPECT_EQ(fake_heard(), "");
	EXPECT_TRUE(fake_file_uses.empty());
}

TEST_F(Address, ByMrdIsTheBaseAddressPlusFive)
{
	put_mrd(std::string("\x00\x11\x22\x33\x44\xFE", 6));
	fake_answers(OK);
	EXPECT_EQ(write_ble_mac("by-mrd"), 0);
	expect_everywhere("001122334503");
	EXPECT_EQ(fake_heard(), "01 0C FC 06 03 45 33 22 11 00");
}

TEST_F(Address, ByMrdWithoutManufacturingDataFailsAndSendsNothing)
{
	for (hci_ver_index = 0; hci_ver_index < 3; hci_ver_index++) {
		write_field(ble_config->mac, "before");
		EXPECT_EQ(stderr_of([] { EXPECT_EQ(write_ble_mac("by-mrd"), -1); }),
			  "Open /proc/MRD failed.\n"
			  "WARNING: func_set_bdaddr() failed, hci_status=0xffffffff\n");
		expect_everywhere("");
		EXPECT_EQ(fake_heard(), "");
	}
}

TEST_F(Address, TheCarryRunsTowardTheFirstByteAndIsDroppedBehindIt)
{
	static const struct {
		std::string base;
		int32_t add;
		const char *address;
	} rows[] = {
		{ std::string("\x00\x11\x22\x33\x44\x00", 6), 5, "00:11:22:33:44:05" },
		{ std::string("\x00\x11\x22\x33\x44\xFA", 6), 5, "00:11:22:33:44:FF" },
		{ std::string("\x00\x11\x22\x33\x44\xFB", 6), 5, "00:11:22:33:45:00" },
		{ std::string("\x00\x11\x22\x33\xFF\xFE", 6), 5, "00:11:22:34:00:03" },
		{ std::string("\x00\x11\xFF\xFF\xFF\xFB", 6), 5, "00:12:00:00:00:00" },
		{ std::string("\xFF\xFF\xFF\xFF\xFF\xFF", 6), 5, "00:00:00:00:00:04" },
		{ std::string("\xAB\xBC\xCD\xDE\xEF\xA5", 6), 5, "AB:BC:CD:DE:EF:AA" },
		{ std::string("\xAB\xCD\xEF\x01\x23\x45", 6), 0, "AB:CD:EF:01:23:45" },
	};

	for (const auto &row : rows) {
		char text[MRD_MAC_SIZE];
		put_mrd(row.base);
		EXPECT_EQ(read_mrd_mac(row.add, text), 0);
		EXPECT_STREQ(text, row.address);
	}
}

TEST_F(Address, AShortReadCountsAsZeroBytes)
{
	char text[MRD_MAC_SIZE];

	put_mrd(std::string("\xAA\xBB\xCC\xDD\xEE\x01", 6), 235);
	EXPECT_EQ(read_mrd_mac(5, text), 0);
	EXPECT_STREQ(text, "AA:BB:CC:00:00:05");
	put_mrd("", 0);
	EXPECT_EQ(read_mrd_mac(5, text), 0);
	EXPECT_STREQ(text, "00:00:00:00:00:05");
}

TEST_F(Address, ReadingTheManufacturingDataLeavesNoDescriptor)
{
	char text[MRD_MAC_SIZE];

	put_mrd(std::string(6, '\x01'));
	const int lowest = fcntl(0, F_DUPFD_CLOEXEC, 0);
	close(lowest);
	EXPECT_EQ(read_mrd_mac(0, text), 0);
	const int after = fcntl(0, F_DUPFD_CLOEXEC, 0);
	close(after);
	EXPECT_EQ(after, lowest);
}

TEST_F(Address, WithoutManufacturingDataTheBufferIsLeftAlone)
{
	char text[MRD_MAC_SIZE] = "untouched";

	EXPECT_EQ(stderr_of([&] { EXPECT_EQ(read_mrd_mac(5, text), -1); }),
		  "Open /proc/MRD failed.\n");
	EXPECT_STREQ(text, "untouched");
}

TEST_F(Address, ARefusalIsPrintedAndTheTextStays)
{
	int32_t result = 0;

	fake_answers("04 FF 05 0C 04 12 0C FC");
	EXPECT_EQ(stderr_of([&] { result = write_ble_mac("A1B2C3D4E5F6"); }),
		  "WARNING: func_set_bdaddr() failed, hci_status=0x12\n");
	EXPECT_EQ(result, 0x12);
	expect_everywhere("A1B2C3D4E5F6");
	ble_config->opt.status = 0;
	EXPECT_EQ(stderr_of([&] { result = write_ble_mac("A1B2C3D4E5F6"); }),
		  "WARNING: func_set_bdaddr() failed, hci_status=0xffffffff\n");
	EXPECT_EQ(result, -1);
}

TEST_F(Address, ItsWayIsTraced)
{
	put_mrd(std::string("\x00\x11\x22\x33\x44\x50", 6));
	fake_answers(OK);
	dbg_level = TRACE_FLOW;
	write_ble_mac("by-mrd");
	EXPECT_EQ(without_lines(console()), "write_ble_mac(N) mac=by-mrd\n"
					    "write_ble_mac(N) Got BLE MAC from MRD: 001122334455\n"
					    "write_ble_mac(N) ble_config->mac=001122334455\n");
	write_ble_mac("short");
	EXPECT_EQ(without_lines(console()), "write_ble_mac(N) mac=short\n");
}

TEST_F(Address, AnEmptySlotIsSkipped)
{
	hci_ver_index = 3;
	EXPECT_EQ(write_ble_mac("A1B2C3D4E5F6"), 0);
	expect_everywhere("A1B2C3D4E5F6");
	EXPECT_EQ(fake_heard(), "");
}
