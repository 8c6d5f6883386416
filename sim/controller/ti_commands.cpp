// SPDX-License-Identifier: Apache-2.0
/* The commands of TI's network processors: extensions for the radio, and the GAP layer. */
#include "sim/controller/advertising_rules.h"

#include <algorithm>

namespace sim
{

constexpr uint8_t ROLE_BROADCASTER = 0x01;
constexpr uint8_t ROLE_PERIPHERAL = 0x04;
constexpr uint8_t ALL_ROLES = 0x0F;
constexpr uint8_t FLAG_LIMITED_DISCOVERABLE = 0x01;

// clang-format off
enum gap_param : uint8_t {
	LIMITED_SHORTEST  = 6,
	LIMITED_LONGEST   = 7,
	GENERAL_SHORTEST  = 8,
	GENERAL_LONGEST   = 9,
	LAST_INTERVAL     = 11, /* 10 and 11: for a connectable device */
};

enum gap_event : uint16_t { /* the GAP layer's events for completion */
	DEVICE_INIT_DONE      = 0x0600,
	DATA_UPDATE_DONE      = 0x0602,
	MAKE_DISCOVERABLE_DONE = 0x0603,
	END_DISCOVERABLE_DONE = 0x0604,
};
// clang-format on

static bytes gap_done(uint16_t code, byte_view more)
{
	bytes event = { 0x04, 0xFF, static_cast<uint8_t>(3 + more.size()) };

	append_low_first_16(event, code);
	event.push_back(STATUS_SUCCESS);
	append(event, more);
	return event;
}

static reply set_tx_power(controller_core &core, byte_view params)
{
	if (params[0] > core.settings.kind->highest_tx_power)
		return { STATUS_BAD_PARAMETER };
	core.state.tx_power = params[0];
	return {};
}

static reply set_address(controller_core &core, byte_view params)
{
	std::copy(params.begin(), params.end(), core.state.address.begin());
	return {};
}

/* Mode 0 stores the host's revision, mode 1 only reads. */
static reply build_revision(controller_core &core, byte_view params)
{
	bytes payload;

	if (params[0] > 1)
		return { STATUS_BAD_PARAMETER };
	if (params[0] == 0)
		core.state.user_revision = low_first_16(params, 1);
	append_low_first_16(payload, core.state.user_revision);
	append_low_first_16(payload, 0x0220);
	return { .payload = payload };
}

static reply reset_system(controller_core &core, byte_view params)
{
	if (params[0] > 1)
		return { STATUS_BAD_PARAMETER };
	core.state = power_up_state(core.settings);
	core.state.heard_a_command = true;
	return {};
}

static reply device_init(controller_core &core, byte_view params)
{
	bytes done(core.state.address.begin(), core.state.address.end());

	if (params[0] == 0 || params[0] > ALL_ROLES)
		return { STATUS_GAP_BAD_PARAMETER };
	core.state.gap_ready = true;
	core.state.gap_role = params[0];
	core.state.doing = radio::off; /* the layer restarts, and its advertising ends */
	append_low_first_16(done, 27);
	done.push_back(4);
	append(done, params.subspan(2, 32)); /* the host's two keys */
	return { .further = { gap_done(DEVICE_INIT_DONE, done) } };
}

/* Limited discovery has its own intervals; the flags in the data select it. */
static bool is_limited_discoverable(const bytes &data)
{
	return data.size() >= 3 && data[1] == 0x01 && data[2] & FLAG_LIMITED_DISCOVERABLE;
}

static reply make_discoverable(controller_core &core, byte_view params)
{
	controller_state &state = core.state;
	const bool limited = is_limited_discoverable(state.advertising_data);
	const uint16_t slots = state.gap_params[limited ? LIMITED_SHORTEST : GENERAL_SHORTEST];
	const uint16_t most = state.gap_params[limited ? LIMITED_LONGEST : GENERAL_LONGEST];
	const uint8_t type = params[0];
	bytes more;

	if (state.doing == radio::advertising ||
	    (state.gap_role & (ROLE_BROADCASTER | ROLE_PERIPHERAL)) == 0)
		return { STATUS_GAP_WRONG_MODE };
	if (type > NON_CONNECTABLE || params[8] == 0 || params[8] > ALL_ADVERTISING_CHANNELS ||
	    params[9] > LAST_FILTER)
		return { STATUS_BAD_PARAMETER };
	if (type != DIRECTED_FAST &&
	    (!is_interval_allowed(core.settings, type, slots) || slots > most))
		return { STATUS_BAD_PARAMETER };
	state.doing = radio::advertising;
	state.advertising_type = type;
	state.advertising_slots = type == DIRECTED_FAST ? FASTEST_SLOTS : slots;
	state.advertising_channels = params[8];
	state.advertising_filter = params[9];
	state.own_address_type = 0; /* the layer sends with the public address */
	if (core.settings.quirks & QUIRK_LONG_DISCOVERABLE)
		append_low_first_16(more, slots);
	return { .further = { gap_done(MAKE_DISCOVERABLE_DONE, more) } };
}

static reply update_advertising_data(controller_core &core, byte_view params)
{
	const uint8_t type = params.empty() ? uint8_t{ 0xFF } : params[0];

	if (params.size() < 2 || type > 1 || params[1] > LONGEST_ADVERTISING_DATA ||
	    params.size() != 2u + params[1])
		return { STATUS_BAD_PARAMETER };
	(type == 1 ? core.state.advertising_data : core.state.scan_response)
		.assign(params.begin() + 2, params.end());
	return { .further = { gap_done(DATA_UPDATE_DONE, bytes{ type }) } };
}

static reply end_discoverable(controller_core &core, byte_view)
{
	if (core.state.doing != radio::advertising)
		return { STATUS_GAP_WRONG_MODE };
	core.state.doing = radio::off;
	return { .further = { gap_done(END_DISCOVERABLE_DONE, {}) } };
}

static reply set_param(controller_core &core, byte_view params)
{
	const uint8_t id = params[0];
	const uint16_t value = low_first_16(params, 1);
	const bool is_interval = id >= LIMITED_SHORTEST && id <= LAST_INTERVAL;

	if (id >= GAP_PARAM_COUNT || value == 0xFFFF)
		return { STATUS_GAP_BAD_PARAMETER };
	if (is_interval && (value < 0x0020 || value > 0x4000))
		return { STATUS_BAD_PARAMETER };
	core.state.gap_params[id] = value;
	return {};
}

/* Needs only the id, but also accepts the two bytes of a value that some hosts send. */
static reply get_param(controller_core &core, byte_view params)
{
	bytes payload;

	if (params.size() != 1 && params.size() != 3)
		return { STATUS_BAD_PARAMETER };
	const uint8_t id = params[0];
	append_low_first_16(payload,
			    id < GAP_PARAM_COUNT ? core.state.gap_params[id] : uint16_t{ 0xFFFF });
	return { .payload = payload };
}

std::span<const command> ti_commands()
{
	constexpr uint8_t gap = WHEN_OFF | WHEN_ADVERTISING | NEEDS_GAP;
	constexpr uint8_t no_test = WHEN_OFF | WHEN_ADVERTISING;

	// clang-format off
	static constexpr command rows[] = {
		/* opcode    params     allowed   handler                   name */
		{ 0xFC01,        1,     ALWAYS,   set_tx_power,             "HCI Extension Set TX Power" },
		{ 0xFC0C,        6,     ALWAYS,   set_address,              "HCI Extension Set BDADDR" },
		{ 0xFC1B,        3,     ALWAYS,   build_revision,           "HCI Extension Build Revision" },
		{ 0xFC1D,        1,     ALWAYS,   reset_system,             "HCI Extension Reset System" },
		{ 0xFE00,       38,     no_test,  device_init,              "GAP Device Init" },
		{ 0xFE06,       10,     gap,      make_discoverable,        "GAP Make Discoverable" },
		{ 0xFE07, ANY_LENGTH,   gap,      update_advertising_data,  "GAP Update Advertising Data" },
		{ 0xFE08,        0,     ALWAYS,   end_discoverable,         "GAP End Discoverable" },
		{ 0xFE30,        3,     ALWAYS,   set_param,                "GAP Set Parameter" },
		{ 0xFE31, ANY_LENGTH,   ALWAYS,   get_param,                "GAP Get Parameter" },
	};
	// clang-format on
	return rows;
}

} // namespace sim
