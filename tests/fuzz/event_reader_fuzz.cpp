// SPDX-License-Identifier: Apache-2.0
/*
 * The event reader and the commands, with any bytes that a faulty controller may send. A second,
 * simple reader computes the expected result from the same bytes.
 */
#include "daemon/bleipc.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/exchange.h"
#include "hci/qualcomm_commands.h"
#include "hci/serial.h"
#include "hci/standard_commands.h"
#include "hci/ti_commands.h"
#include "tests/fuzz/fake_system.h"
#include "tests/unit/fakes/fake_clock.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

constexpr uint8_t CANARY = 0xA5;
constexpr size_t FENCE = 64;
constexpr size_t STREAM_MAX = 3 * HCI_EVENT_MAX; /* longer ones find nothing new */

static struct {
	uint8_t before[FENCE];
	uint8_t bytes[HCI_EVENT_MAX];
	uint8_t behind[FENCE];
} buffer;

static ble_segment segment;
static const uint8_t payload[30] = { 0x02, 0x01, 0x06 };

struct operation {
	int32_t (*run)(uint8_t *answer);
	uint16_t opcode;
	uint8_t params;
	size_t answer; /* bytes that it may write to its buffer */
	bool has_second;
	int32_t fine = 0; /* a status that counts as success */
};

// clang-format off
static const operation operations[] = {
	{ [](uint8_t *) { return _hci_func_reset_system_cmd(0); },                           0x0C03,  0,  0, false },
	{ [](uint8_t *to) { return _hci_func_read_local_version_information(to); },          0x1001,  0, 15, false },
	{ [](uint8_t *to) { return _hci_func_read_bd_addr(to); },                            0x1009,  0, 13, false },
	{ [](uint8_t *) { return _hci_func_le_set_advertising_parameters(160); },            0x2006, 15,  0, false },
	{ [](uint8_t *to) { return _hci_func_le_read_advertising_channel_tx_power(to); },    0x2007,  0,  8, false },
	{ [](uint8_t *) { return _hci_func_le_set_advertising_data(payload); },              0x2008, 32,  0, false },
	{ [](uint8_t *) { return _hci_func_le_set_advertise_enable(1); },                    0x200A,  1,  0, false },
	{ [](uint8_t *) { return _hci_func_le_receiver_test(39); },                          0x201D,  1,  0, false },
	{ [](uint8_t *) { return _hci_func_le_transmitter_test(0, 37, 7); },                 0x201E,  3,  0, false },
	{ [](uint8_t *to) { return _hci_func_le_test_end_command(to); },                     0x201F,  0,  9, false },
	{ [](uint8_t *) { return _hci_func_ext_set_tx_power_cmd_08("max"); },                0xFC01,  1,  0, false },
	{ [](uint8_t *) { return _hci_func_set_bdaddr_ti("001122334455"); },                 0xFC0C,  6,  0, false },
	{ [](uint8_t *to) { return _hci_func_ext_build_revision_cmd(1, 0, to); },            0xFC1B,  3, 12, false },
	{ [](uint8_t *) { return _hci_func_ext_reset_system_cmd_ti_06(1); },                 0xFC1D,  1,  0, false },
	{ [](uint8_t *) { return _hci_func_set_bdaddr_qualcomm("001122334455"); },           0xFC14,  6,  0, false },
	{ [](uint8_t *) { return _hci_func_download_patch_segment_qualcomm(payload, 30); },  0xFC00, 32,  0, false },
	{ [](uint8_t *) { return _hci_func_gap_set_param(6, 160); },                         0xFE30,  3,  0, false },
	{ [](uint8_t *to) { return _hci_func_gap_get_param(6, to); },                        0xFE31,  3, 11, false },
	{ [](uint8_t *) { return _hci_func_gap_device_init(); },                             0xFE00, 38,  0, true },
	{ [](uint8_t *) { return _hci_func_gap_make_discoverable(); },                       0xFE06, 10,  0, true },
	{ [](uint8_t *) { return _hci_func_gap_update_advertising_data(payload); },          0xFE07, 32,  0, true },
	{ [](uint8_t *) { return _hci_func_gap_end_discoverable(); },                        0xFE08,  0,  0, true, 0x12 },
};
// clang-format on

/* The simple reader: moves one event from the front of `stream` to `to`; its status, or -1. */
static int32_t expected_event(byte_span *stream, uint8_t *to)
{
	const auto take = [&](size_t at, size_t most) {
		const size_t count = std::min(most, stream->size());
		if (count > 0)
			memcpy(to + at, stream->data(), count);
		*stream = stream->subspan(count);
		return count == most;
	};

	do {
		if (!take(0, 1))
			return -1;
	} while (to[0] != 0x04);
	if (!take(1, 2) || (to[1] != 0x0E && to[1] != 0xFF) || !take(3, to[2]))
		return -1;
	return to[1] == 0xFF ? to[5] : to[6];
}

static void check_fences()
{
	static const auto untouched = [] {
		std::array<uint8_t, FENCE> fence;
		fence.fill(CANARY);
		return fence;
	}();

	for (const uint8_t *fence : { buffer.before, buffer.behind })
		must(memcmp(fence, untouched.data(), FENCE) == 0,
		     "nothing is written beside the buffer");
}

/* All events of the stream, in one buffer that is not cleared between them. */
static void read_all(byte_span stream, size_t length)
{
	uint8_t expected[HCI_EVENT_MAX];

	memset(expected, CANARY, sizeof(expected));
	fake.line = stream;
	do {
		const int32_t status = expected_event(&stream, expected);
		must(hci_receive_event(buffer.bytes, length, 1) == status,
		     "the status is the event's own");
		must(memcmp(buffer.bytes, expected, sizeof(expected)) == 0,
		     "the buffer holds the event and what was there before");
		must(fake.line.size() == stream.size(), "nothing behind the event is read");
		check_fences();
	} while (!stream.empty());
}

/* The whole exchange of one command. */
static void run_operation(const operation &one, byte_span stream)
{
	uint8_t first[HCI_EVENT_MAX] = {};
	uint8_t second[HCI_EVENT_MAX] = {};
	uint8_t expected[HCI_EVENT_MAX];

	fake.line = stream;
	fake.heard = [&](byte_span packet) {
		must(packet.size() == size_t{ 4 } + one.params && packet[0] == 0x01 &&
			     (packet[1] | packet[2] << 8) == one.opcode && packet[3] == one.params,
		     "the command is one whole packet");
		must(fake.line.size() == stream.size(), "nothing is read before the question");
	};
	const int32_t result = one.run(buffer.bytes);
	must(fake.writes == 1, "the command is sent once");

	byte_span left = stream;
	int32_t status = expected_event(&left, first);
	memset(expected, CANARY, sizeof(expected));
	if (status >= 0)
		memcpy(expected, first, std::min(one.answer, size_t{ 3 } + first[2]));
	if (status == 0 && one.has_second)
		status = expected_event(&left, second);
	else if (one.fine != 0 && status == one.fine)
		status = 0;
	must(result == status, "the result is the status of the event that decides");
	must(memcmp(buffer.bytes, expected, sizeof(expected)) == 0,
	     "the answer holds the event, cut, and nothing more");
	must(fake.line.size() == left.size(), "nothing behind the answer is read");
	check_fences();
}

/* Without a controller or a line: -1, and no byte is read. */
static void run_without(const operation &one, byte_span stream)
{
	fake.line = stream;
	must(one.run(buffer.bytes) == -1, "without a controller every command fails");
	must(fake.line.size() == stream.size(), "without a controller nothing is read");
	check_fences();
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	input in(data, size);
	const uint8_t what = in.byte();
	const uint8_t how = in.byte();

	fake_system_clear();
	fake_sleeps.clear();
	fake.single = in.byte();
	fake.at_end = how % 3 - 1; /* an error, silence, or a hang-up */
	fake.hung_up = how & 0x10;
	dbg_level = how == 0xFF ? uint32_t{ TRACE_HCI } : 0;
	memset(&buffer, CANARY, sizeof(buffer));
	sigemptyset(&ble_sig_set);
	ble_config = &segment.config;
	ble_config->opt.status = how & 0x20 ? BLE_STATUS_NONE : BLE_STATUS_AVAILABLE;
	ble_fd = how & 0x40 ? -1 : FAKE_LINE;

	const operation &one = operations[what % std::size(operations)];
	const byte_span stream = in.take(STREAM_MAX);
	if (how & 0x60)
		run_without(one, stream);
	else if (what & 0x80)
		read_all(stream, what & 0x7F);
	else
		run_operation(one, stream);
	check_streams();
	return 0;
}
