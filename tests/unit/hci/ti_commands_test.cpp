// SPDX-License-Identifier: Apache-2.0
/* What each TI vendor command sends, and its result for each answer. */
#include "hci/ti_commands.h"

#include "tests/unit/hci/command_row.h"

#include <cstring>

class TiCommands : public CommandTest
{
};

static uint8_t event[16];
static const uint8_t payload[30] = { 0x02, 0x01, 0x06, 0x1A, 0xFF, 0x4C, 0x00, 0x02, 0x15, 0xE2 };

#define ZEROS_8                "00 00 00 00 00 00 00 00"
#define ZEROS_32               ZEROS_8 " " ZEROS_8 " " ZEROS_8 " " ZEROS_8
#define PAYLOAD                "02 01 06 1A FF 4C 00 02 15 E2 00 00 00 00 " ZEROS_8 " " ZEROS_8
#define INIT_SENT              "01 00 FE 26 01 05 " ZEROS_32 " 01 00 00 00"
#define INIT_DONE              "04 FF 2C 00 06 00 11 22 33 44 55 66 1B 00 04 " ZEROS_32
#define POWER_OK               "04 FF 05 01 04 00 01 FC"
#define RESET_OK               "04 FF 05 1D 04 00 1D FC"
#define STATUS(status, opcode) "04 FF 06 7F 06 " status " " opcode " FE 00"

static const command_row rows[] = {
	/* transmit power */
	{ "06: max is level 3", [] { return _hci_func_ext_set_tx_power_cmd_06("max"); },
	  "01 01 FC 01 03", POWER_OK, 0,
	  "_hci_func_ext_set_tx_power_cmd_06(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_06(N) power_index=max\n" },
	{ "08: max is level 12", [] { return _hci_func_ext_set_tx_power_cmd_08("max"); },
	  "01 01 FC 01 0C", POWER_OK, 0,
	  "_hci_func_ext_set_tx_power_cmd_08(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_08(N) power_index=max\n" },
	{ "06: 3 is its highest", [] { return _hci_func_ext_set_tx_power_cmd_06("3"); },
	  "01 01 FC 01 03", POWER_OK, 0,
	  "_hci_func_ext_set_tx_power_cmd_06(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_06(N) power_index=3\n" },
	{ "06: 4 is refused before anything is sent",
	  [] { return _hci_func_ext_set_tx_power_cmd_06("4"); }, "", "", -1,
	  "_hci_func_ext_set_tx_power_cmd_06(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_06(N) power_index=4\n" },
	{ "08: 4 is taken", [] { return _hci_func_ext_set_tx_power_cmd_08("4"); }, "01 01 FC 01 04",
	  POWER_OK, 0,
	  "_hci_func_ext_set_tx_power_cmd_08(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_08(N) power_index=4\n" },
	{ "08: 12 is its highest", [] { return _hci_func_ext_set_tx_power_cmd_08("12"); },
	  "01 01 FC 01 0C", POWER_OK, 0,
	  "_hci_func_ext_set_tx_power_cmd_08(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_08(N) power_index=12\n" },
	{ "08: 13 is refused", [] { return _hci_func_ext_set_tx_power_cmd_08("13"); }, "", "", -1,
	  "_hci_func_ext_set_tx_power_cmd_08(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_08(N) power_index=13\n" },
	{ "06: 13 is refused", [] { return _hci_func_ext_set_tx_power_cmd_06("13"); }, "", "", -1,
	  "_hci_func_ext_set_tx_power_cmd_06(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_06(N) power_index=13\n" },
	{ "negative text is refused", [] { return _hci_func_ext_set_tx_power_cmd_08("-1"); }, "",
	  "", -1,
	  "_hci_func_ext_set_tx_power_cmd_08(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_08(N) power_index=-1\n" },
	{ "MAX is no word", [] { return _hci_func_ext_set_tx_power_cmd_06("MAX"); }, "", "", -1,
	  "_hci_func_ext_set_tx_power_cmd_06(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_06(N) power_index=MAX\n" },
	{ "empty text is level 0", [] { return _hci_func_ext_set_tx_power_cmd_06(""); },
	  "01 01 FC 01 00", POWER_OK, 0,
	  "_hci_func_ext_set_tx_power_cmd_06(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_06(N) power_index=\n" },
	{ "power, refused by the controller", [] { return _hci_func_ext_set_tx_power_cmd_08("1"); },
	  "01 01 FC 01 01", "04 FF 05 01 04 01 01 FC", 1,
	  "_hci_func_ext_set_tx_power_cmd_08(N) Start...\n"
	  "_hci_func_ext_set_tx_power_cmd_08(N) power_index=1\n"
	  "_hci_func_ext_set_tx_power_cmd_08(N) HCI error code = 0x1\n" },
	/* address, revision, reset */
	{ "the address goes last pair first",
	  [] { return _hci_func_set_bdaddr_ti("A1b2C3D4E5F6"); }, "01 0C FC 06 F6 E5 D4 C3 B2 A1",
	  "04 FF 05 0C 04 00 0C FC", 0, "_hci_func_set_bdaddr_ti(N) Start...\n" },
	{ "no address is not sent", [] { return _hci_func_set_bdaddr_ti(""); }, "", "", -1,
	  "_hci_func_set_bdaddr_ti(N) Start...\n" },
	{ "what are no digits are zero bytes",
	  [] { return _hci_func_set_bdaddr_ti("zyxwvutsrqpo"); }, "01 0C FC 06 00 00 00 00 00 00",
	  "04 FF 05 0C 04 01 0C FC", 1,
	  "_hci_func_set_bdaddr_ti(N) Start...\n"
	  "_hci_func_set_bdaddr_ti(N) HCI error code = 0x1\n" },
	{ "revision: any mode but 0 sends 1 and no value",
	  [] { return _hci_func_ext_build_revision_cmd(7, 0x1234, event); }, "01 1B FC 03 01 00 00",
	  "04 FF 09 1B 04 00 1B FC 01 00 02 00", 0,
	  "_hci_func_ext_build_revision_cmd(N) Start...\n"
	  "_hci_func_ext_build_revision_cmd(N) mode=7, val=4660\n" },
	{ "revision: mode 0 sends the value",
	  [] { return _hci_func_ext_build_revision_cmd(0, 0x1234, event); }, "01 1B FC 03 00 34 12",
	  "04 FF 05 1B 04 01 1B FC", 1,
	  "_hci_func_ext_build_revision_cmd(N) Start...\n"
	  "_hci_func_ext_build_revision_cmd(N) mode=0, val=4660\n"
	  "_hci_func_ext_build_revision_cmd(N) HCI error code = 0x1\n" },
	{ "06: hard reset", [] { return _hci_func_ext_reset_system_cmd_ti_06(0); },
	  "01 1D FC 01 00", RESET_OK, 0,
	  "_hci_func_ext_reset_system_cmd_ti_06(N) Start...\n"
	  "_hci_func_ext_reset_system_cmd_ti_06(N) type=0\n" },
	{ "06: soft reset", [] { return _hci_func_ext_reset_system_cmd_ti_06(1); },
	  "01 1D FC 01 01", RESET_OK, 0,
	  "_hci_func_ext_reset_system_cmd_ti_06(N) Start...\n"
	  "_hci_func_ext_reset_system_cmd_ti_06(N) type=1\n" },
	{ "08: hard reset, refused", [] { return _hci_func_ext_reset_system_cmd_ti_08(0); },
	  "01 1D FC 01 00", "04 FF 05 1D 04 01 1D FC", 1,
	  "_hci_func_ext_reset_system_cmd_ti_08(N) Start...\n"
	  "_hci_func_ext_reset_system_cmd_ti_08(N) type=0\n"
	  "_hci_func_ext_reset_system_cmd_ti_08(N) HCI error code = 0x1\n" },
	{ "08: a soft reset puts nothing on the line",
	  [] { return _hci_func_ext_reset_system_cmd_ti_08(1); }, "", "", 0,
	  "_hci_func_ext_reset_system_cmd_ti_08(N) Start...\n"
	  "_hci_func_ext_reset_system_cmd_ti_08(N) type=1\n"
	  "_hci_func_ext_reset_system_cmd_ti_08(N) skip soft reset command...\n" },
	/* GAP: two events answer a command */
	{ "device init", [] { return _hci_func_gap_device_init(); }, INIT_SENT,
	  STATUS("00", "00") " | " INIT_DONE, 0, "_hci_func_gap_device_init(N) Start...\n" },
	{ "device init, second event refuses", [] { return _hci_func_gap_device_init(); },
	  INIT_SENT, STATUS("00", "00") " | 04 FF 03 00 06 01", 1,
	  "_hci_func_gap_device_init(N) Start...\n"
	  "_hci_func_gap_device_init(N) HCI event2 error code = 0x1\n" },
	{ "make discoverable", [] { return _hci_func_gap_make_discoverable(); },
	  "01 06 FE 0A 03 00 00 00 00 00 00 00 07 00", STATUS("00", "06") " | 04 FF 03 03 06 00", 0,
	  "_hci_func_gap_make_discoverable(N) Start...\n" },
	{ "make discoverable, refused: no second event is awaited",
	  [] { return _hci_func_gap_make_discoverable(); },
	  "01 06 FE 0A 03 00 00 00 00 00 00 00 07 00", STATUS("01", "06"), 1,
	  "_hci_func_gap_make_discoverable(N) Start...\n"
	  "_hci_func_gap_make_discoverable(N) HCI event1 error code = 0x1\n" },
	{ "advertising data", [] { return _hci_func_gap_update_advertising_data(payload); },
	  "01 07 FE 20 01 1E " PAYLOAD, STATUS("00", "07") " | 04 FF 04 02 06 00 01", 0,
	  "_hci_func_gap_update_advertising_data(N) Start...\n" },
	{ "advertising data, refused",
	  [] { return _hci_func_gap_update_advertising_data(payload); },
	  "01 07 FE 20 01 1E " PAYLOAD, STATUS("01", "07"), 1,
	  "_hci_func_gap_update_advertising_data(N) Start...\n"
	  "_hci_func_gap_update_advertising_data(N) HCI event1 error code = 0x1\n" },
	{ "end discoverable", [] { return _hci_func_gap_end_discoverable(); }, "01 08 FE 00",
	  STATUS("00", "08") " | 04 FF 03 04 06 00", 0,
	  "_hci_func_gap_end_discoverable(N) Start...\n" },
	{ "end discoverable: 0x12 is success and ends the exchange",
	  [] { return _hci_func_gap_end_discoverable(); }, "01 08 FE 00", STATUS("12", "08"), 0,
	  "_hci_func_gap_end_discoverable(N) Start...\n" },
	{ "end discoverable: another refusal is one",
	  [] { return _hci_func_gap_end_discoverable(); }, "01 08 FE 00", STATUS("01", "08"), 1,
	  "_hci_func_gap_end_discoverable(N) Start...\n"
	  "_hci_func_gap_end_discoverable(N) HCI event1 error code = 0x1\n" },
	{ "end discoverable: 0x12 in the second event is a refusal",
	  [] { return _hci_func_gap_end_discoverable(); }, "01 08 FE 00",
	  STATUS("00", "08") " | 04 FF 03 04 06 12", 0x12,
	  "_hci_func_gap_end_discoverable(N) Start...\n"
	  "_hci_func_gap_end_discoverable(N) HCI event2 error code = 0x12\n" },
	/* GAP parameters: their errors are traced under TRACE_HCI_RX */
	{ "set param", [] { return _hci_func_gap_set_param(0x16, 0x0140); }, "01 30 FE 03 16 40 01",
	  STATUS("00", "30"), 0,
	  "_hci_func_gap_set_param(N) Start...\n"
	  "_hci_func_gap_set_param(N) id=22, val=320\n" },
	{ "set param: a refusal is passed up unchanged",
	  [] { return _hci_func_gap_set_param(0x16, 0x0140); }, "01 30 FE 03 16 40 01",
	  STATUS("12", "30"), 0x12,
	  "_hci_func_gap_set_param(N) Start...\n"
	  "_hci_func_gap_set_param(N) id=22, val=320\n" },
	{ "get param is 7 bytes long", [] { return _hci_func_gap_get_param(103, event); },
	  "01 31 FE 03 67 00 00", "04 FF 08 7F 06 00 31 FE 02 50 00", 0,
	  "_hci_func_gap_get_param(N) Start...\n"
	  "_hci_func_gap_get_param(N) id=103\n" },
	{ "get param, refused", [] { return _hci_func_gap_get_param(0, event); },
	  "01 31 FE 03 00 00 00", STATUS("02", "31"), 2,
	  "_hci_func_gap_get_param(N) Start...\n"
	  "_hci_func_gap_get_param(N) id=0\n" },
};

TEST_F(TiCommands, SayAndReturnWhatTheTableSays)
{
	hold(rows);
}

static const struct {
	int32_t (*call)();
	const char *answer;
	const char *traced;
} received[] = {
	{ [] { return _hci_func_gap_set_param(1, 2); }, STATUS("01", "30"),
	  "_hci_func_gap_set_param(N) Start...\n"
	  "_hci_func_gap_set_param(N) id=1, val=2\n"
	  "_hci_func_gap_set_param(N) HCI error code = 0x1\n" },
	{ [] { return _hci_func_gap_get_param(1, event); }, STATUS("01", "31"),
	  "_hci_func_gap_get_param(N) Start...\n"
	  "_hci_func_gap_get_param(N) id=1\n"
	  "_hci_func_gap_get_param(N) HCI error code = 0x1\n" },
	{ [] { return _hci_func_gap_set_param(1, 2); }, STATUS("00", "30"),
	  "_hci_func_gap_set_param(N) Start...\n"
	  "_hci_func_gap_set_param(N) id=1, val=2\n" },
	{ [] { return _hci_func_gap_end_discoverable(); }, STATUS("12", "08"),
	  "_hci_func_gap_end_discoverable(N) Start...\n"
	  "_hci_func_gap_end_discoverable(N) HCI event1 error code = 0x12\n" },
	{ [] { return _hci_func_gap_end_discoverable(); }, STATUS("01", "08"),
	  "_hci_func_gap_end_discoverable(N) Start...\n"
	  "_hci_func_gap_end_discoverable(N) HCI event1 error code = 0x1\n" },
};

TEST_F(TiCommands, SomeErrorsAreTracedWithWhatIsReceived)
{
	for (const auto &row : received) {
		fake_answers(row.answer);
		dbg_level = TRACE_HCI_RX;
		stderr_of([&] { row.call(); });
		EXPECT_EQ(traced(), row.traced);
	}
}

TEST_F(TiCommands, AResetThatWasSentIsFollowedBy100Milliseconds)
{
	fake_answers(RESET_OK);
	_hci_func_ext_reset_system_cmd_ti_06(1);
	EXPECT_EQ(fake_sleeps, std::vector<unsigned>{ 100000 });

	fake_answers("04 FF 05 1D 04 01 1D FC");
	EXPECT_EQ(_hci_func_ext_reset_system_cmd_ti_06(0), 1);
	fake_answers("04 0F 04 00 01 1D FC");
	stderr_of([] { EXPECT_EQ(_hci_func_ext_reset_system_cmd_ti_08(0), -1); });
	EXPECT_EQ(fake_sleeps, (std::vector<unsigned>{ 100000, 100000, 100000 }))
		<< "whatever was answered";
}

TEST_F(TiCommands, AResetThatWasNotSentIsNotWaitedFor)
{
	EXPECT_EQ(_hci_func_ext_reset_system_cmd_ti_08(1), 0);
	ble_config->opt.status = 0;
	EXPECT_EQ(_hci_func_ext_reset_system_cmd_ti_06(1), -1);
	EXPECT_EQ(_hci_func_ext_reset_system_cmd_ti_08(0), -1);
	EXPECT_TRUE(fake_sleeps.empty());
}

TEST_F(TiCommands, AnInvalidFirstEventIsMinusOneAndTheSecondIsNotRead)
{
	for (int32_t (*call)() : { _hci_func_gap_device_init, _hci_func_gap_make_discoverable,
				   _hci_func_gap_end_discoverable }) {
		fake_unplug();
		fake_plug();
		fake_answers("04 0F 00 | 04 FF 03 04 06 00");
		EXPECT_EQ(stderr_of([&] { EXPECT_EQ(call(), -1); }),
			  "WARNING: failed to read HCI response.\n");
		EXPECT_EQ(fake_unread(), 6U);
	}
}

TEST_F(TiCommands, AnInvalidSecondEventIsMinusOne)
{
	fake_answers(STATUS("00", "06") " | 04 0F 00");
	stderr_of([] { EXPECT_EQ(_hci_func_gap_make_discoverable(), -1); });
}

TEST_F(TiCommands, SecondEventsOfAnyLengthAreReadWhole)
{
	std::string longest = STATUS("00", "00") " | 04 FF FF 00 06 00";
	for (int i = 0; i < 252; i++)
		longest += " BB";
	fake_answers(longest);
	EXPECT_EQ(_hci_func_gap_device_init(), 0);
	EXPECT_EQ(fake_unread(), 0U);
}

TEST_F(TiCommands, ReadOutsAreBoundedByTheirSize)
{
	static const struct {
		int32_t (*call)(uint8_t *);
		size_t size;
	} readers[] = {
		{ [](uint8_t *buffer) { return _hci_func_ext_build_revision_cmd(1, 0, buffer); },
		  12 },
		{ [](uint8_t *buffer) { return _hci_func_gap_get_param(1, buffer); }, 11 },
	};

	for (const auto &reader : readers) {
		std::string answer = "04 FF FF 7F 06 00";
		for (int i = 0; i < 252; i++)
			answer += " AA";
		fake_answers(answer);
		uint8_t buffer[16];
		memset(buffer, 0x55, sizeof(buffer));
		EXPECT_EQ(reader.call(buffer), 0);
		EXPECT_EQ(buffer[reader.size - 1], 0xAA);
		EXPECT_EQ(buffer[reader.size], 0x55);
	}
}
