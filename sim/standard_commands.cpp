// SPDX-License-Identifier: Apache-2.0
/* The standard commands that all the simulated controllers know. */
#include "sim/standard_commands.h"

namespace sim
{

constexpr uint16_t LONGEST_INTERVAL = 0x4000;
constexpr uint16_t SHORTEST_INTERVAL = 0x0020;
constexpr uint16_t SHORTEST_BEACON_INTERVAL = 0x00A0; /* non-connectable, before 5.0 */
constexpr uint8_t HCI_VERSION_4_2 = 8;
constexpr uint8_t HCI_VERSION_5_0 = 9;
constexpr uint8_t LAST_CHANNEL = 39;
constexpr uint8_t LAST_PATTERN = 7;
constexpr uint8_t LONGEST_ADVERTISING_DATA = 31;

bool is_interval_allowed(const controller_settings &settings, uint8_t type, uint16_t slots)
{
	const bool connectable = type < 2;
	const uint16_t shortest = connectable || settings.hci_version >= HCI_VERSION_5_0
					  ? SHORTEST_INTERVAL
					  : SHORTEST_BEACON_INTERVAL;

	return slots >= shortest && slots <= LONGEST_INTERVAL;
}

/*
 * A reset starts the patch that has been loaded. Without strict checks it also ends the
 * download: a host may send more than the header announces, or less.
 */
static reply reset(controller_core &core, byte_view)
{
	const enum firmware before = core.state.firmware;
	const bool strict = core.settings.strict_patch;
	patch_download download = std::move(core.state.download);
	const bool ends_download = !strict && !download.data.empty() &&
				   (before == firmware::loading ||
				    (before == firmware::loaded && !download.is_exactly_whole()));

	core.state = power_up_state(core.settings);
	core.state.heard_a_command = true;
	if (before == firmware::loaded || before == firmware::running || ends_download)
		core.state.firmware = firmware::running;
	core.state.download = std::move(download);
	return { .patch_arrived = ends_download };
}

static reply read_local_version(controller_core &core, byte_view)
{
	const controller_settings &settings = core.settings;
	bytes payload = { settings.hci_version, 0x10, 0x00, settings.hci_version };

	append_low_first_16(payload, settings.manufacturer);
	append_low_first_16(payload, 0x0110);
	return { .payload = payload };
}

static reply read_address(controller_core &core, byte_view)
{
	const device_address &address = core.state.address;

	return { .payload = bytes(address.begin(), address.end()) };
}

static reply set_advertising_parameters(controller_core &core, byte_view params)
{
	const uint16_t shortest = low_first_16(params, 0);
	const uint16_t longest = low_first_16(params, 2);
	const uint8_t type = params[4];
	const uint8_t own_address_type = params[5];
	const uint8_t channels = params[13];
	const uint8_t filter = params[14];

	if (!is_interval_allowed(core.settings, type, shortest) ||
	    !is_interval_allowed(core.settings, type, longest) || shortest > longest)
		return { STATUS_BAD_PARAMETER };
	if (type > 4 || own_address_type > 3 || channels == 0 || channels > 7 || filter > 3)
		return { STATUS_BAD_PARAMETER };
	core.state.advertising_slots = shortest;
	core.state.advertising_type = type;
	return {};
}

/* The levels of TI's two generations; the other maker's power cannot be chosen. */
static int8_t tx_power_dbm(const controller_core &core)
{
	constexpr std::array<int8_t, 4> older = { -23, -6, 0, 4 };
	constexpr std::array<int8_t, 13> newer = {
		-21, -18, -15, -12, -9, -6, -3, 0, 1, 2, 3, 4, 5
	};
	const uint8_t level = core.state.tx_power;

	if (core.settings.kind->vendor != vendor::ti)
		return 0;
	return core.settings.kind->highest_tx_power < older.size() ? older[level] : newer[level];
}

static reply read_tx_power(controller_core &core, byte_view)
{
	return { .payload = { static_cast<uint8_t>(tx_power_dbm(core)) } };
}

static reply set_advertising_data(controller_core &core, byte_view params)
{
	if (params[0] > LONGEST_ADVERTISING_DATA)
		return { STATUS_BAD_PARAMETER };
	core.state.advertising_data.assign(params.begin() + 1, params.begin() + 1 + params[0]);
	return {};
}

static reply set_advertise_enable(controller_core &core, byte_view params)
{
	const bool is_on = core.state.doing == radio::advertising;

	if (params[0] > 1)
		return { STATUS_BAD_PARAMETER };
	if (params[0] == 0) {
		core.state.doing = radio::off;
		return {};
	}
	if (!core.state.gap_ready)
		return { STATUS_WRONG_STATE };
	if (is_on && core.settings.quirks & QUIRK_ENABLE_TWICE)
		return { STATUS_WRONG_STATE };
	core.state.doing = radio::advertising;
	return {};
}

static reply start_receiver_test(controller_core &core, byte_view params)
{
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

std::span<const command> standard_commands()
{
	constexpr uint8_t off = WHEN_OFF | NEEDS_FIRMWARE;
	constexpr uint8_t no_test = WHEN_OFF | WHEN_ADVERTISING | NEEDS_FIRMWARE;
	constexpr uint8_t in_test = WHEN_RECEIVING | WHEN_TRANSMITTING | NEEDS_FIRMWARE;
	constexpr uint8_t always = ALWAYS | NEEDS_FIRMWARE;

	// clang-format off
	static constexpr command rows[] = {
		/* opcode params allowed   handler                      name */
		{ 0x0C03,   0,   ALWAYS,   reset,                       "Reset" },
		{ 0x1001,   0,   ALWAYS,   read_local_version,          "Read Local Version Information" },
		{ 0x1009,   0,   always,   read_address,                "Read BD_ADDR" },
		{ 0x2006,  15,   off,      set_advertising_parameters,  "LE Set Advertising Parameters" },
		{ 0x2007,   0,   always,   read_tx_power,               "LE Read Advertising Channel Tx Power" },
		{ 0x2008,  32,   no_test,  set_advertising_data,        "LE Set Advertising Data" },
		{ 0x200A,   1,   no_test,  set_advertise_enable,        "LE Set Advertise Enable" },
		{ 0x201D,   1,   off,      start_receiver_test,         "LE Receiver Test" },
		{ 0x201E,   3,   off,      start_transmitter_test,      "LE Transmitter Test" },
		{ 0x201F,   0,   in_test,  end_test,                    "LE Test End" },
	};
	// clang-format on
	return rows;
}

} // namespace sim
