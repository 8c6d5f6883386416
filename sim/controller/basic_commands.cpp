// SPDX-License-Identifier: Apache-2.0
/* The first commands of every host: the reset, the masks, the controller's identity. */
#include "sim/controller/controller.h"
#include "sim/controller/packet.h"

namespace sim
{

constexpr size_t SUPPORTED_COMMANDS_SIZE = 64;
constexpr uint8_t ACL_BUFFERS = 4;

/* No BR/EDR, but LE: bits 37 and 38. */
constexpr std::array<uint8_t, 8> FEATURES = { 0, 0, 0, 0, 0x60, 0, 0, 0 };

/* All kinds of advertising and of scanning, and any combination of one of each. */
constexpr std::array<uint8_t, 8> LE_STATES = { 0x3F, 0xFF, 0, 0, 0, 0, 0, 0 };

/*
 * A reset starts the loaded patch. Without strict checks it also ends the download: a host may
 * send more or less than the header announces.
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

/* Made from the command tables, so that it lists only commands that exist. */
static reply read_supported_commands(controller_core &core, byte_view)
{
	bytes mask(SUPPORTED_COMMANDS_SIZE);

	for (const auto rows : command_groups(core.settings.kind->vendor))
		for (const command &row : rows)
			if (row.place)
				mask[row.place->octet] = static_cast<uint8_t>(
					mask[row.place->octet] | 1u << row.place->bit);
	return { .payload = mask };
}

static reply read_supported_features(controller_core &, byte_view)
{
	return { .payload = bytes(FEATURES.begin(), FEATURES.end()) };
}

static reply read_buffer_size(controller_core &, byte_view)
{
	bytes payload;

	append_low_first_16(payload, LONGEST_ACL_DATA);
	payload.push_back(0); /* no synchronous data */
	append_low_first_16(payload, ACL_BUFFERS);
	append_low_first_16(payload, 0);
	return { .payload = payload };
}

static reply read_le_buffer_size(controller_core &, byte_view)
{
	bytes payload;

	append_low_first_16(payload, LONGEST_ACL_DATA);
	payload.push_back(ACL_BUFFERS);
	return { .payload = payload };
}

/* No feature concerns broadcasting or scanning. */
static reply read_le_features(controller_core &, byte_view)
{
	return { .payload = bytes(8) };
}

static reply read_le_states(controller_core &, byte_view)
{
	return { .payload = bytes(LE_STATES.begin(), LE_STATES.end()) };
}

static uint64_t low_first_64(byte_view data)
{
	uint64_t value = 0;

	for (size_t i = 8; i-- > 0;)
		value = value << 8 | data[i];
	return value;
}

static reply set_event_mask(controller_core &core, byte_view params)
{
	core.state.event_mask = low_first_64(params);
	return {};
}

/* All its events are for BR/EDR or connections. */
static reply set_event_mask_page_2(controller_core &, byte_view)
{
	return {};
}

static reply set_le_event_mask(controller_core &core, byte_view params)
{
	core.state.le_event_mask = low_first_64(params);
	return {};
}

static reply give_random_number(controller_core &core, byte_view)
{
	const uint64_t number = core.random();
	bytes payload;

	for (unsigned shift = 0; shift < 64; shift += 8)
		payload.push_back(static_cast<uint8_t>(number >> shift));
	return { .payload = payload };
}

std::span<const command> basic_commands()
{
	constexpr uint8_t always = ALWAYS | NEEDS_FIRMWARE;

	// clang-format off
	static constexpr command rows[] = {
		/* opcode params allowed   handler                   name                                    returns  place */
		{ 0x0C01,   8,   always,   set_event_mask,           "Set Event Mask",                         0, { {  5, 6 } } },
		{ 0x0C03,   0,   ALWAYS,   reset,                    "Reset",                                  0, { {  5, 7 } } },
		{ 0x0C63,   8,   always,   set_event_mask_page_2,    "Set Event Mask Page 2",                  0, { { 22, 2 } } },
		{ 0x1001,   0,   ALWAYS,   read_local_version,       "Read Local Version Information",         8, { { 14, 3 } } },
		{ 0x1002,   0,   always,   read_supported_commands,  "Read Local Supported Commands",         64, { { 14, 4 } } },
		{ 0x1003,   0,   always,   read_supported_features,  "Read Local Supported Features",          8, { { 14, 5 } } },
		{ 0x1005,   0,   always,   read_buffer_size,         "Read Buffer Size",                       7, { { 14, 7 } } },
		{ 0x1009,   0,   always,   read_address,             "Read BD_ADDR",                           6, { { 15, 1 } } },
		{ 0x2001,   8,   always,   set_le_event_mask,        "LE Set Event Mask",                      0, { { 25, 0 } } },
		{ 0x2002,   0,   always,   read_le_buffer_size,      "LE Read Buffer Size",                    3, { { 25, 1 } } },
		{ 0x2003,   0,   always,   read_le_features,         "LE Read Local Supported Features",       8, { { 25, 2 } } },
		{ 0x2018,   0,   always,   give_random_number,       "LE Rand",                                8, { { 27, 7 } } },
		{ 0x201C,   0,   always,   read_le_states,           "LE Read Supported States",               8, { { 28, 3 } } },
	};
	// clang-format on
	return rows;
}

} // namespace sim
