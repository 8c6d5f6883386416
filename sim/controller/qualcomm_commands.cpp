// SPDX-License-Identifier: Apache-2.0
/* The commands of the Qualcomm controller: its patch download and its address. */
#include "sim/controller/controller.h"

#include <algorithm>

namespace sim
{

constexpr uint8_t PATCH_VERSION = 0x19;
constexpr uint8_t PATCH_SEGMENT = 0x1E;
constexpr uint8_t LONGEST_SEGMENT = 243;
constexpr size_t PATCH_MEMORY = size_t{ 1024 } * 1024; /* of the controller */

static reply read_patch_version(controller_core &core)
{
	bytes payload = { PATCH_VERSION };

	append_low_first_16(payload, 0x0010); /* product */
	append_low_first_16(payload, 0x0200); /* ROM build */
	append_low_first_16(payload, core.state.firmware == firmware::running ? uint16_t{ 1 }
									      : uint16_t{ 0 });
	return { .payload = payload };
}

static void begin_download(controller_core &core)
{
	const bool heard = core.state.heard_a_command;

	core.state = power_up_state(core.settings); /* ends the old patch and its advertising */
	core.state.heard_a_command = heard;
	core.state.firmware = firmware::loading;
	core.state.download.open = true;
}

static reply take_segment(controller_core &core, byte_view params)
{
	patch_download &download = core.state.download;
	const bool strict = core.settings.strict_patch;

	if (params.size() < 3 || params[1] > LONGEST_SEGMENT || params.size() != 2u + params[1])
		return { STATUS_BAD_PARAMETER, { PATCH_SEGMENT } };
	if (!download.open || (strict && core.state.firmware == firmware::loaded))
		begin_download(core);
	if (download.data.size() + params[1] > PATCH_MEMORY)
		return { STATUS_NO_MEMORY, { PATCH_SEGMENT } };
	append(download.data, params.subspan(2));
	if (strict && !patch_problem(download.data).empty()) {
		download = {};
		core.state.firmware = firmware::missing;
		return { STATUS_BAD_PARAMETER, { PATCH_SEGMENT } };
	}
	const bool arrived = download.is_whole() && core.state.firmware == firmware::loading;
	if (arrived)
		core.state.firmware = firmware::loaded;
	return { .payload = { PATCH_SEGMENT }, .patch_arrived = arrived };
}

static reply patch_command(controller_core &core, byte_view params)
{
	if (params.empty())
		return { STATUS_BAD_PARAMETER };
	if (params[0] == PATCH_SEGMENT)
		return take_segment(core, params);
	if (params[0] == PATCH_VERSION)
		return read_patch_version(core);
	return { STATUS_BAD_PARAMETER, { params[0] } };
}

/* Here the host sends the most significant byte first, unlike everywhere else. */
static reply set_address(controller_core &core, byte_view params)
{
	std::reverse_copy(params.begin(), params.end(), core.state.address.begin());
	return { .payload = { 0x00 } };
}

std::span<const command> qualcomm_commands()
{
	// clang-format off
	static constexpr command rows[] = {
		/* opcode    params     allowed                   handler         name */
		{ 0xFC00, ANY_LENGTH,   ALWAYS,                   patch_command,  "Patch Download" },
		{ 0xFC14,        6,     ALWAYS | NEEDS_FIRMWARE,  set_address,    "Set BD_ADDR" },
	};
	// clang-format on
	return rows;
}

} // namespace sim
