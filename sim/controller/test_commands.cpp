// SPDX-License-Identifier: Apache-2.0
/* The standard commands for receiver and transmitter tests. */
#include "sim/controller/controller.h"

namespace sim
{

constexpr uint8_t HCI_VERSION_4_2 = 8;
constexpr uint8_t LAST_CHANNEL = 39;
constexpr uint8_t LAST_PATTERN = 7;

static reply start_receiver_test(controller_core &core, byte_view params)
{
	if (core.state.scan.is_on)
		return { STATUS_WRONG_STATE };
	if (params[0] > LAST_CHANNEL)
		return { STATUS_BAD_PARAMETER };
	core.state.doing = radio::receiving;
	core.state.test_channel = params[0];
	core.state.received = core.settings.receiver_count;
	return {};
}

static reply start_transmitter_test(controller_core &core, byte_view params)
{
	/* Long test packets came with version 4.2 of the radio. */
	const uint8_t longest = core.settings.hci_version >= HCI_VERSION_4_2 ? 255 : 37;

	if (core.state.scan.is_on)
		return { STATUS_WRONG_STATE };
	if (params[0] > LAST_CHANNEL || params[1] > longest || params[2] > LAST_PATTERN)
		return { STATUS_BAD_PARAMETER };
	core.state.doing = radio::transmitting;
	core.state.test_channel = params[0];
	core.state.test_length = params[1];
	core.state.test_pattern = params[2];
	return {};
}

static reply end_test(controller_core &core, byte_view)
{
	bytes payload;
	const bool counted = core.state.doing == radio::receiving;

	append_low_first_16(payload, counted ? core.state.received : uint16_t{ 0 });
	core.state.doing = radio::off;
	return { .payload = payload };
}

std::span<const command> test_commands()
{
	constexpr uint8_t off = WHEN_OFF | NEEDS_FIRMWARE;
	constexpr uint8_t in_test = WHEN_RECEIVING | WHEN_TRANSMITTING | NEEDS_FIRMWARE;

	// clang-format off
	static constexpr command rows[] = {
		/* opcode params allowed   handler                 name                 returns  place */
		{ 0x201D,   1,   off,      start_receiver_test,    "LE Receiver Test",      0, { { 28, 4 } } },
		{ 0x201E,   3,   off,      start_transmitter_test, "LE Transmitter Test",   0, { { 28, 5 } } },
		{ 0x201F,   0,   in_test,  end_test,               "LE Test End",           2, { { 28, 6 } } },
	};
	// clang-format on
	return rows;
}

} // namespace sim
