// SPDX-License-Identifier: Apache-2.0
/* The production tests: limits, results, and the status after them. */
#include "ble/ptm.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

class Ptm : public DaemonTest
{
};

static const struct {
	const char *name;
	int32_t action;
	uint8_t channel, length, data;
	const char *answer;
	const char *sent;
	int32_t result;
	uint32_t status; /* 3 before */
	const char *printed;
} rows[] = {
	{ "receiver", 1, 0, 0, 0, "04 0E 04 01 1D 20 00", "01 1D 20 01 00", 0, 5, "" },
	{ "receiver on the last channel", 1, 39, 0, 0, "04 0E 04 01 1D 20 00", "01 1D 20 01 27", 0,
	  5, "" },
	{ "receiver, channel 40", 1, 40, 0, 0, "", "", -1, 3, "" },
	{ "receiver, refused", 1, 1, 0, 0, "04 0E 04 01 1D 20 0C", "01 1D 20 01 01", 0x0C, 3,
	  "WARNING: func_le_receiver_test() failed.\n" },
	{ "transmitter at its limits", 2, 39, 37, 7, "04 0E 04 01 1E 20 00", "01 1E 20 03 27 25 07",
	  0, 5, "" },
	{ "transmitter, channel 40", 2, 40, 37, 7, "", "", -1, 3, "" },
	{ "transmitter, length 38", 2, 39, 38, 7, "", "", -1, 3, "" },
	{ "transmitter, data 8", 2, 39, 37, 8, "", "", -1, 3, "" },
	{ "transmitter, refused", 2, 1, 2, 3, "04 0E 04 01 1E 20 12", "01 1E 20 03 01 02 03", 0x12,
	  3, "WARNING: func_le_transmitter_test() failed.\n" },
	{ "end", 3, 0, 0, 0, "04 0E 06 01 1F 20 00 34 12", "01 1F 20 00", 0, 2,
	  "Num of packets: 4660\n" },
	{ "end, highest count", 3, 0, 0, 0, "04 0E 06 01 1F 20 00 FF FF", "01 1F 20 00", 0, 2,
	  "Num of packets: 65535\n" },
	{ "end, event without a count", 3, 0, 0, 0, "04 0E 04 01 1F 20 00", "01 1F 20 00", 0, 2,
	  "Num of packets: 0\n" },
	{ "end, refused", 3, 0, 0, 0, "04 0E 04 01 1F 20 0C", "01 1F 20 00", 0x0C, 3,
	  "WARNING: func_le_test_end_command() failed.\n" },
	{ "end, out of range all the same", 3, 40, 0, 0, "", "", -1, 3, "" },
	{ "action 0", 0, 0, 0, 0, "", "", -1, 3, "" },
	{ "action 4", 4, 0, 0, 0, "", "", -1, 3, "" },
};

TEST_F(Ptm, SaysAndLeavesWhatTheTableSays)
{
	for (const auto &row : rows) {
		SCOPED_TRACE(row.name);
		fake_answers(row.answer);
		ble_config->opt.status = 3;
		int32_t result = 1;
		EXPECT_EQ(stderr_of([&] {
				  result = ble_ptm_test(row.action, row.channel, row.length,
							row.data);
			  }),
			  row.printed);
		EXPECT_EQ(result, row.result);
		EXPECT_EQ(fake_heard(), row.sent);
		EXPECT_EQ(ble_config->opt.status, row.status);
	}
}

TEST_F(Ptm, EntryAndEveryExitAreTraced)
{
	dbg_level = TRACE_FLOW;
	for (const auto &row : rows) {
		fake_answers(row.answer);
		ble_config->opt.status = 3;
		stderr_of([&] { ble_ptm_test(row.action, row.channel, row.length, row.data); });
		EXPECT_EQ(without_lines(console()),
			  "ble_ptm_test(N) action=" + std::to_string(row.action) +
				  ", channel=" + std::to_string(row.channel) +
				  ", length=" + std::to_string(row.length) +
				  ", data=" + std::to_string(row.data) +
				  "\nble_ptm_test(N) ble_config->opt.status=" +
				  std::to_string(row.status) + "\n")
			<< row.name;
	}
}

TEST_F(Ptm, WithoutASlotTheStatusIsSetAllTheSame)
{
	hci_ver_index = 3;
	EXPECT_EQ(ble_ptm_test(PTM_ACTION_RECEIVER, 1, 0, 0), 0);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_TESTING);
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ble_ptm_test(PTM_ACTION_END, 0, 0, 0), 0); }),
		  "Num of packets: 0\n");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
}
