// SPDX-License-Identifier: Apache-2.0
/* The standard commands for advertising and its address. */
#include "sim/controller/advertising_rules.h"

#include <algorithm>

namespace sim
{

constexpr uint16_t LONGEST_INTERVAL = 0x4000;
constexpr uint16_t SHORTEST_INTERVAL = 0x0020;
constexpr uint16_t SHORTEST_BEACON_INTERVAL = 0x00A0; /* of non-connectable ones, before 5.0 */
constexpr uint8_t HCI_VERSION_5_0 = 9;

bool is_interval_allowed(const controller_settings &settings, uint8_t type, uint16_t slots)
{
	const bool is_beacon = type == SCANNABLE || type == NON_CONNECTABLE;
	const uint16_t shortest = is_beacon && settings.hci_version < HCI_VERSION_5_0
					  ? SHORTEST_BEACON_INTERVAL
					  : SHORTEST_INTERVAL;

	return type == DIRECTED_FAST || (slots >= shortest && slots <= LONGEST_INTERVAL);
}

/* Not while it is in use. */
static reply set_random_address(controller_core &core, byte_view params)
{
	if (core.state.doing == radio::advertising || core.state.scan.is_on)
		return { STATUS_WRONG_STATE };
	std::ranges::copy(params, core.state.random_address.emplace().begin());
	return {};
}

static reply set_advertising_parameters(controller_core &core, byte_view params)
{
	const uint16_t shortest = low_first_16(params, 0);
	const uint16_t longest = low_first_16(params, 2);
	const uint8_t type = params[4];
	const uint8_t own_address_type = params[5];
	const uint8_t peer_address_type = params[6];
	const uint8_t channels = params[13];
	const uint8_t filter = params[14];

	if (type > LAST_ADVERTISING_TYPE || own_address_type > LAST_OWN_ADDRESS_TYPE ||
	    peer_address_type > 1 || channels == 0 || channels > ALL_ADVERTISING_CHANNELS ||
	    filter > LAST_FILTER)
		return { STATUS_BAD_PARAMETER };
	if (!is_interval_allowed(core.settings, type, shortest) ||
	    !is_interval_allowed(core.settings, type, longest) ||
	    (type != DIRECTED_FAST && shortest > longest))
		return { STATUS_BAD_PARAMETER };
	core.state.advertising_slots = type == DIRECTED_FAST ? FASTEST_SLOTS : shortest;
	core.state.advertising_type = type;
	core.state.own_address_type = own_address_type;
	core.state.advertising_channels = channels;
	core.state.advertising_filter = filter;
	return {};
}

/* The levels of TI's two generations; the Qualcomm controller's power is fixed. */
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

/* A length and as many bytes, in a field of fixed size. */
static reply set_data(bytes &target, byte_view params)
{
	if (params[0] > LONGEST_ADVERTISING_DATA)
		return { STATUS_BAD_PARAMETER };
	target.assign(params.begin() + 1, params.begin() + 1 + params[0]);
	return {};
}

static reply set_advertising_data(controller_core &core, byte_view params)
{
	return set_data(core.state.advertising_data, params);
}

static reply set_scan_response(controller_core &core, byte_view params)
{
	return set_data(core.state.scan_response, params);
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
	if (wants_random_address(core.state.own_address_type) && !core.state.random_address)
		return { STATUS_BAD_PARAMETER };
	if (is_on && core.settings.quirks & QUIRK_ENABLE_TWICE)
		return { STATUS_WRONG_STATE };
	core.state.doing = radio::advertising;
	return {};
}

std::span<const command> advertising_commands()
{
	constexpr uint8_t off = WHEN_OFF | NEEDS_FIRMWARE;
	constexpr uint8_t no_test = WHEN_OFF | WHEN_ADVERTISING | NEEDS_FIRMWARE;
	constexpr uint8_t always = ALWAYS | NEEDS_FIRMWARE;

	// clang-format off
	static constexpr command rows[] = {
		/* opcode params allowed   handler                      name                                    returns  place */
		{ 0x2005,   6,   always,   set_random_address,          "LE Set Random Address",                  0, { { 25, 4 } } },
		{ 0x2006,  15,   off,      set_advertising_parameters,  "LE Set Advertising Parameters",          0, { { 25, 5 } } },
		{ 0x2007,   0,   always,   read_tx_power,               "LE Read Advertising Channel Tx Power",   1, { { 25, 6 } } },
		{ 0x2008,  32,   no_test,  set_advertising_data,        "LE Set Advertising Data",                0, { { 25, 7 } } },
		{ 0x2009,  32,   no_test,  set_scan_response,           "LE Set Scan Response Data",              0, { { 26, 0 } } },
		{ 0x200A,   1,   no_test,  set_advertise_enable,        "LE Set Advertise Enable",                0, { { 26, 1 } } },
	};
	// clang-format on
	return rows;
}

} // namespace sim
