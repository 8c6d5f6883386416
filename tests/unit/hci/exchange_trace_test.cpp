// SPDX-License-Identifier: Apache-2.0
/* What an exchange traces, under which category, and what it dumps. */
#include "hci/exchange.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

class ExchangeTrace : public DaemonTest
{
      protected:
	uint8_t event[HCI_EVENT_MAX] = {};
	std::string dumped;

	std::string fd()
	{
		return std::to_string(ble_fd);
	}

	std::string of_send(uint32_t category, std::vector<uint8_t> packet)
	{
		dbg_level = category;
		dumped = stderr_of([&] { hci_send_command(packet.data(), packet.size()); });
		return without_lines(console());
	}

	std::string of_receive(uint32_t category, const char *bytes, int32_t event_sequ = 1)
	{
		dbg_level = category;
		fake_answers(bytes);
		dumped = stderr_of([&] { hci_receive_event(event, 9, event_sequ); });
		return without_lines(console());
	}
};

TEST_F(ExchangeTrace, ASendUnderTheTransmitCategory)
{
	EXPECT_EQ(of_send(TRACE_HCI_TX, { 0x01, 0x30, 0xFE, 0x03, 0x06, 0xA0, 0x00 }),
		  "hci_send_command(N) Start...\n"
		  "hci_send_command(N) length=7\n"
		  "hci_send_command(N) OP Code: 0xfe30\n"
		  "hci_send_command(N) write(), length=7\n"
		  "hci_send_command(N) Finished write()\n\n");
	EXPECT_EQ(dumped, " 01 30 FE 03 06 A0 00 \n");
}

TEST_F(ExchangeTrace, ASendUnderTheReceiveCategoryShowsItsEntryAlone)
{
	EXPECT_EQ(of_send(TRACE_HCI_RX, { 0x01, 0x03, 0x0C, 0x00 }),
		  "hci_send_command(N) Start...\n");
	EXPECT_EQ(dumped, "");
}

TEST_F(ExchangeTrace, ASendWithoutALineOrWithStatus0)
{
	ble_config->opt.status = 0;
	EXPECT_EQ(of_send(TRACE_HCI_TX, { 0x01, 0x03, 0x0C, 0x00 }),
		  "hci_send_command(N) Start...\n"
		  "hci_send_command(N) length=4\n"
		  "hci_send_command(N) OP Code: 0x0c03\n"
		  "hci_send_command(N) WARNING: can't send HCI command without BLE device!!\n");
	fake_unplug();
	EXPECT_EQ(of_send(TRACE_HCI_RX, { 0x01, 0x03, 0x0C, 0x00 }),
		  "hci_send_command(N) Start...\nhci_send_command(N) Unknown fd\n");
}

TEST_F(ExchangeTrace, ACommandCompleteUnderTheReceiveCategory)
{
	EXPECT_EQ(of_receive(TRACE_HCI_RX, "04 0E 04 01 03 0C 02"),
		  "hci_receive_event(N) Start...\n"
		  "hci_receive_event(N) length=9, event_sequ=1\n"
		  "read_hci_event(N) Start...\n"
		  "read_hci_event(N) fd=" +
			  fd() +
			  "\n"
			  "ble_select_read(N) Start...\n"
			  "ble_select_read(N) Timeout setting: 5.000000 seconds.\n"
			  "ble_select_read(N) read()\n"
			  "read_hci_event(N) Finished 1st read(nbytes=1), len=1, buf[0]=0x04\n"
			  "read_hci_event(N) read()\n"
			  "read_hci_event(N) Finished 2nd read(nbytes=2), len=2\n"
			  "read_hci_event(N) buf[1]=0x0e, remain=buf[2]=0x04\n"
			  "read_hci_event(N) Finished 3rd read(nbytes=4), len=4\n"
			  "read_hci_event(N) is_hci_ext_event=0, buf[5]=0x0c, buf[6]=0x02\n"
			  "read_hci_event(N) count=7, return retval=2\n"
			  "hci_receive_event(N) OP Code: 0x0c03\n"
			  "hci_receive_event(N) Return retval=2\n\n");
	EXPECT_EQ(dumped, " 04 0E 04 01 03 0C 02 00 00 \n") << "as many bytes as were asked for";
}

TEST_F(ExchangeTrace, AVendorEventsOpcodeStandsAtAnotherPlace)
{
	const std::string text = of_receive(TRACE_HCI_RX, "04 FF 06 7F 06 00 01 FC 00");
	EXPECT_NE(text.find("read_hci_event(N) is_hci_ext_event=1, buf[5]=0x00, buf[6]=0x01\n"),
		  std::string::npos);
	EXPECT_NE(text.find("hci_receive_event(N) OP Code: 0xfc01\n"), std::string::npos);
}

TEST_F(ExchangeTrace, ASecondEventHasNoOpcode)
{
	const std::string text = of_receive(TRACE_HCI_RX, "04 FF 03 04 06 00", 2);
	EXPECT_NE(text.find("hci_receive_event(N) length=9, event_sequ=2\n"), std::string::npos);
	EXPECT_EQ(text.find("OP Code"), std::string::npos);
	EXPECT_EQ(dumped, " 04 FF 03 04 06 00 00 00 00 \n");
}

TEST_F(ExchangeTrace, AReceiveUnderTheTransmitCategoryShowsItsEntriesAlone)
{
	EXPECT_EQ(of_receive(TRACE_HCI_TX, "04 0E 04 01 03 0C 00"),
		  "hci_receive_event(N) Start...\n"
		  "read_hci_event(N) Start...\n"
		  "ble_select_read(N) Start...\n"
		  "ble_select_read(N) Timeout setting: 5.000000 seconds.\n");
	EXPECT_EQ(dumped, "");
}

TEST_F(ExchangeTrace, AnEventThatIsNoAnswer)
{
	const std::string text = of_receive(TRACE_HCI_RX, "04 0F 04");
	EXPECT_NE(text.find("read_hci_event(N) Finished 2nd read(nbytes=2), len=2\n"
			    "read_hci_event(N) count=3, return retval=-1\n"
			    "hci_receive_event(N) Return retval=-1\n\n"),
		  std::string::npos)
		<< text;
	EXPECT_EQ(dumped, "WARNING: failed to read HCI response.\n");
}

TEST_F(ExchangeTrace, AReceiveWithStatus0OrWithoutALine)
{
	ble_config->opt.status = 0;
	EXPECT_EQ(of_receive(TRACE_HCI_RX, ""),
		  "hci_receive_event(N) Start...\n"
		  "hci_receive_event(N) length=9, event_sequ=1\n"
		  "hci_receive_event(N) WARNING: can't read HCI command without BLE device!!\n");
	ble_config->opt.status = 1;
	fake_hang_up();
	fake_unplug();
	dbg_level = TRACE_HCI_RX;
	stderr_of([&] { hci_receive_event(event, 9, 1); });
	EXPECT_EQ(without_lines(console()),
		  "hci_receive_event(N) Start...\n"
		  "hci_receive_event(N) length=9, event_sequ=1\n"
		  "read_hci_event(N) Start...\n"
		  "read_hci_event(N) fd=-1\n"
		  "ble_select_read(N) Start...\n"
		  "ble_select_read(N) Unknown fd\n"
		  "read_hci_event(N) Finished 1st read(nbytes=1), len=0, buf[0]=0x00\n"
		  "read_hci_event(N) count=0, return retval=-1\n"
		  "hci_receive_event(N) Return retval=-1\n\n");
}
