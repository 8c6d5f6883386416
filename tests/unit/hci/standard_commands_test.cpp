// SPDX-License-Identifier: Apache-2.0
/* What each standard command sends, and its result for each answer. */
#include "hci/standard_commands.h"

#include "tests/unit/hci/command_row.h"

#include <cstring>

class StandardCommands : public CommandTest
{
};

static uint8_t event[16];
static const uint8_t payload[30] = { 0x02, 0x01, 0x06, 0x1A, 0xFF, 0x4C, 0x00, 0x02, 0x15, 0xE2 };

#define PAYLOAD \
	"02 01 06 1A FF 4C 00 02 15 E2 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"

static const command_row rows[] = {
	{ "a hard reset is the plain Reset", [] { return _hci_func_reset_system_cmd(0); },
	  "01 03 0C 00", "04 0E 04 01 03 0C 00", 0,
	  "_hci_func_reset_system_cmd(N) Start...\n"
	  "_hci_func_reset_system_cmd(N) type=0\n" },
	{ "a soft reset is the same packet", [] { return _hci_func_reset_system_cmd(1); },
	  "01 03 0C 00", "04 0E 04 01 03 0C 00", 0,
	  "_hci_func_reset_system_cmd(N) Start...\n"
	  "_hci_func_reset_system_cmd(N) type=1\n" },
	{ "a refused reset", [] { return _hci_func_reset_system_cmd(1); }, "01 03 0C 00",
	  "04 0E 04 01 03 0C 01", 1,
	  "_hci_func_reset_system_cmd(N) Start...\n"
	  "_hci_func_reset_system_cmd(N) type=1\n"
	  "_hci_func_reset_system_cmd(N) HCI error code = 0x1\n" },
	{ "local version", [] { return _hci_func_read_local_version_information(event); },
	  "01 01 10 00", "04 0E 0C 01 01 10 00 08 01 00 08 0D 00 02 00", 0,
	  "_hci_func_read_local_version_information(N) Start...\n" },
	{ "local version, refused", [] { return _hci_func_read_local_version_information(event); },
	  "01 01 10 00", "04 0E 04 01 01 10 01", 1,
	  "_hci_func_read_local_version_information(N) Start...\n"
	  "_hci_func_read_local_version_information(N) HCI error code = 0x1\n" },
	{ "device address", [] { return _hci_func_read_bd_addr(event); }, "01 09 10 00",
	  "04 0E 0A 01 09 10 00 66 55 44 33 22 11", 0, "_hci_func_read_bd_addr(N) Start...\n" },
	{ "device address, refused with the lowest status",
	  [] { return _hci_func_read_bd_addr(event); }, "01 09 10 00", "04 0E 04 01 09 10 01", 1,
	  "_hci_func_read_bd_addr(N) Start...\n"
	  "_hci_func_read_bd_addr(N) HCI error code = 0x1\n" },
	{ "and with the highest", [] { return _hci_func_read_bd_addr(event); }, "01 09 10 00",
	  "04 0E 04 01 09 10 FF", 255,
	  "_hci_func_read_bd_addr(N) Start...\n"
	  "_hci_func_read_bd_addr(N) HCI error code = 0xff\n" },
	{ "advertising parameters: non-connectable, all channels, no peer",
	  [] { return _hci_func_le_set_advertising_parameters(0x1234); },
	  "01 06 20 0F 34 12 34 12 03 00 00 00 00 00 00 00 00 07 00", "04 0E 04 01 06 20 00", 0,
	  "_hci_func_le_set_advertising_parameters(N) Start...\n"
	  "_hci_func_le_set_advertising_parameters(N) baseband_slot_interval=4660\n"
	  "_hci_func_le_set_advertising_parameters(N) baseband_slot_interval=4660\n" },
	{ "an interval of 0x10000 slots is sent as 0",
	  [] { return _hci_func_le_set_advertising_parameters(0x10000); },
	  "01 06 20 0F 00 00 00 00 03 00 00 00 00 00 00 00 00 07 00", "04 0E 04 01 06 20 12", 0x12,
	  "_hci_func_le_set_advertising_parameters(N) Start...\n"
	  "_hci_func_le_set_advertising_parameters(N) baseband_slot_interval=65536\n"
	  "_hci_func_le_set_advertising_parameters(N) baseband_slot_interval=65536\n"
	  "_hci_func_le_set_advertising_parameters(N) HCI event error code = 0x12\n" },
	{ "advertising parameters, refused",
	  [] { return _hci_func_le_set_advertising_parameters(160); },
	  "01 06 20 0F A0 00 A0 00 03 00 00 00 00 00 00 00 00 07 00", "04 0E 04 01 06 20 01", 1,
	  "_hci_func_le_set_advertising_parameters(N) Start...\n"
	  "_hci_func_le_set_advertising_parameters(N) baseband_slot_interval=160\n"
	  "_hci_func_le_set_advertising_parameters(N) baseband_slot_interval=160\n"
	  "_hci_func_le_set_advertising_parameters(N) HCI event error code = 0x1\n" },
	{ "advertising power", [] { return _hci_func_le_read_advertising_channel_tx_power(event); },
	  "01 07 20 00", "04 0E 05 01 07 20 00 EC", 0,
	  "_hci_func_le_read_advertising_channel_tx_power(N) Start...\n" },
	{ "advertising power, refused",
	  [] { return _hci_func_le_read_advertising_channel_tx_power(event); }, "01 07 20 00",
	  "04 0E 04 01 07 20 01", 1,
	  "_hci_func_le_read_advertising_channel_tx_power(N) Start...\n"
	  "_hci_func_le_read_advertising_channel_tx_power(N) HCI error code = 0x1\n" },
	{ "advertising data: 30 bytes, and the 31st is 0",
	  [] { return _hci_func_le_set_advertising_data(payload); },
	  "01 08 20 20 1E " PAYLOAD " 00", "04 0E 04 01 08 20 00", 0,
	  "_hci_func_le_set_advertising_data(N) Start...\n" },
	{ "advertising data, refused", [] { return _hci_func_le_set_advertising_data(payload); },
	  "01 08 20 20 1E " PAYLOAD " 00", "04 0E 04 01 08 20 01", 1,
	  "_hci_func_le_set_advertising_data(N) Start...\n"
	  "_hci_func_le_set_advertising_data(N) HCI event error code = 0x1\n" },
	{ "advertising on", [] { return _hci_func_le_set_advertise_enable(1); }, "01 0A 20 01 01",
	  "04 0E 04 01 0A 20 00", 0,
	  "_hci_func_le_set_advertise_enable(N) Start...\n"
	  "_hci_func_le_set_advertise_enable(N) advertise_enable=1\n" },
	{ "advertising off, refused", [] { return _hci_func_le_set_advertise_enable(0); },
	  "01 0A 20 01 00", "04 0E 04 01 0A 20 01", 1,
	  "_hci_func_le_set_advertise_enable(N) Start...\n"
	  "_hci_func_le_set_advertise_enable(N) advertise_enable=0\n"
	  "_hci_func_le_set_advertise_enable(N) HCI event error code = 0x1\n" },
	{ "receiver test", [] { return _hci_func_le_receiver_test(39); }, "01 1D 20 01 27",
	  "04 0E 04 01 1D 20 00", 0,
	  "_hci_func_le_receiver_test(N) Start...\n"
	  "_hci_func_le_receiver_test(N) rx_channel=39\n" },
	{ "receiver test, refused", [] { return _hci_func_le_receiver_test(0); }, "01 1D 20 01 00",
	  "04 0E 04 01 1D 20 01", 1,
	  "_hci_func_le_receiver_test(N) Start...\n"
	  "_hci_func_le_receiver_test(N) rx_channel=0\n"
	  "_hci_func_le_receiver_test(N) HCI error code = 0x1\n" },
	{ "transmitter test", [] { return _hci_func_le_transmitter_test(1, 37, 7); },
	  "01 1E 20 03 01 25 07", "04 0E 04 01 1E 20 00", 0,
	  "_hci_func_le_transmitter_test(N) Start...\n"
	  "_hci_func_le_transmitter_test(N) tx_channel=1, test_data_length=37, test_data=7\n" },
	{ "transmitter test, refused", [] { return _hci_func_le_transmitter_test(1, 2, 3); },
	  "01 1E 20 03 01 02 03", "04 0E 04 01 1E 20 01", 1,
	  "_hci_func_le_transmitter_test(N) Start...\n"
	  "_hci_func_le_transmitter_test(N) tx_channel=1, test_data_length=2, test_data=3\n"
	  "_hci_func_le_transmitter_test(N) HCI error code = 0x1\n" },
	{ "test end", [] { return _hci_func_le_test_end_command(event); }, "01 1F 20 00",
	  "04 0E 06 01 1F 20 00 34 12", 0, "_hci_func_le_test_end_command(N) Start...\n" },
	{ "test end, refused", [] { return _hci_func_le_test_end_command(event); }, "01 1F 20 00",
	  "04 0E 04 01 1F 20 01", 1,
	  "_hci_func_le_test_end_command(N) Start...\n"
	  "_hci_func_le_test_end_command(N) HCI error code = 0x1\n" },
};

TEST_F(StandardCommands, SayAndReturnWhatTheTableSays)
{
	hold(rows);
}

TEST_F(StandardCommands, AreSilentUnderTheOtherCategories)
{
	dbg_level = ~uint32_t{ TRACE_HCI };
	for (const command_row &row : rows) {
		fake_answers(row.answer);
		EXPECT_EQ(stderr_of([&] { row.call(); }), "") << row.name;
	}
	EXPECT_EQ(console(), "");
}

TEST_F(StandardCommands, NothingSentIsMinusOneAndNothingIsAwaited)
{
	ble_config->opt.status = 0;
	fake_answers("04 0E 04 01 03 0C 00");
	EXPECT_EQ(_hci_func_reset_system_cmd(1), -1);
	EXPECT_EQ(fake_heard(), "");
	EXPECT_EQ(fake_unread(), 7U);
}

TEST_F(StandardCommands, ALineThatClosesIsMinusOne)
{
	fake_answers("04 0E 0A 01");
	fake_hang_up();
	signal(SIGPIPE, SIG_IGN);
	int32_t result = 0;
	EXPECT_EQ(stderr_of([&] { result = _hci_func_read_bd_addr(event); }),
		  "WARNING: failed to write HCI command !!\n");
	signal(SIGPIPE, SIG_DFL);
	EXPECT_EQ(result, -1);
}

static const struct {
	const char *name;
	int32_t (*call)(uint8_t *);
	size_t size;
	const char *opcode;
} readers[] = {
	{ "local version", _hci_func_read_local_version_information, 15, "01 10" },
	{ "address", _hci_func_read_bd_addr, 13, "09 10" },
	{ "power", _hci_func_le_read_advertising_channel_tx_power, 8, "07 20" },
	{ "test end", _hci_func_le_test_end_command, 9, "1F 20" },
};

TEST_F(StandardCommands, AnEventOf258BytesFillsNoMoreThanTheCallersBuffer)
{
	for (const auto &reader : readers) {
		SCOPED_TRACE(reader.name);
		std::string answer = std::string("04 0E FF 01 ") + reader.opcode + " 00";
		for (int i = 0; i < 251; i++)
			answer += " AA";
		fake_answers(answer);
		uint8_t buffer[64];
		memset(buffer, 0x55, sizeof(buffer));
		EXPECT_EQ(reader.call(buffer), 0);
		EXPECT_EQ(buffer[0], 0x04);
		EXPECT_EQ(buffer[reader.size - 1], 0xAA);
		EXPECT_EQ(buffer[reader.size], 0x55);
		EXPECT_EQ(fake_unread(), 0U) << "the event is read whole";
	}
}

TEST_F(StandardCommands, AShortEventLeavesTheRestOfTheBufferAlone)
{
	for (const auto &reader : readers) {
		SCOPED_TRACE(reader.name);
		fake_answers("04 0E 01 01");
		uint8_t buffer[16];
		memset(buffer, 0x55, sizeof(buffer));
		EXPECT_EQ(reader.call(buffer), 0) << "no status byte reads as 0";
		EXPECT_EQ(buffer[3], 0x01);
		EXPECT_EQ(buffer[4], 0x55);
	}
}

TEST_F(StandardCommands, ARefusalHandsOutTheWholeEventToo)
{
	uint8_t buffer[13] = {};

	fake_answers("04 0E 0A 01 09 10 0C 66 55 44 33 22 11");
	EXPECT_EQ(_hci_func_read_bd_addr(buffer), 0x0C);
	EXPECT_EQ(buffer[12], 0x11);
}
