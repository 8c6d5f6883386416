// SPDX-License-Identifier: Apache-2.0
/* The standard commands for scanning, and for the filter accept list. */
#include "sim/controller/advertising_rules.h"

#include <algorithm>

namespace sim
{

constexpr uint16_t SHORTEST_SCAN = 0x0004;
constexpr uint16_t LONGEST_SCAN = 0x4000;
constexpr uint8_t ACCEPT_LIST_SIZE = 8;
constexpr uint8_t ANONYMOUS = 0xFF; /* the address type without an address */

static reply set_scan_parameters(controller_core &core, byte_view params)
{
	const uint8_t type = params[0];
	const uint16_t interval = low_first_16(params, 1);
	const uint16_t window = low_first_16(params, 3);
	const uint8_t own_address_type = params[5];
	const uint8_t filter = params[6];
	scan_state &scan = core.state.scan;

	if (scan.is_on)
		return { STATUS_WRONG_STATE };
	if (type > 1 || interval < SHORTEST_SCAN || interval > LONGEST_SCAN ||
	    window < SHORTEST_SCAN || window > interval ||
	    own_address_type > LAST_OWN_ADDRESS_TYPE || filter > LAST_FILTER)
		return { STATUS_BAD_PARAMETER };
	scan.asks = type == 1;
	scan.interval_slots = interval;
	scan.window_slots = window;
	scan.own_address_type = own_address_type;
	scan.filter = filter;
	return {};
}

static reply set_scan_enable(controller_core &core, byte_view params)
{
	scan_state &scan = core.state.scan;

	if (params[0] > 1 || (params[0] == 1 && params[1] > 1))
		return { STATUS_BAD_PARAMETER };
	if (params[0] == 0) {
		scan.is_on = false;
		return {};
	}
	if (wants_random_address(scan.own_address_type) && !core.state.random_address)
		return { STATUS_BAD_PARAMETER };
	scan.is_on = true;
	scan.drops_duplicates = params[1] == 1;
	scan.number = ++core.scans;
	return {};
}

static reply read_accept_list_size(controller_core &, byte_view)
{
	return { .payload = { ACCEPT_LIST_SIZE } };
}

/* The list must not change while a filter uses it. */
static bool is_list_in_use(const controller_state &state)
{
	return (state.scan.is_on && state.scan.filter % 2 == 1) ||
	       (state.doing == radio::advertising && state.advertising_filter != 0);
}

static reply clear_accept_list(controller_core &core, byte_view)
{
	if (is_list_in_use(core.state))
		return { STATUS_WRONG_STATE };
	core.state.scan.wanted.clear();
	return {};
}

static peer_address peer_of(byte_view params)
{
	peer_address peer = { .type = params[0], .address = {} };

	if (peer.type != ANONYMOUS)
		std::copy(params.begin() + 1, params.end(), peer.address.begin());
	return peer;
}

static reply add_to_accept_list(controller_core &core, byte_view params)
{
	const peer_address peer = peer_of(params);
	std::vector<peer_address> &wanted = core.state.scan.wanted;

	if (is_list_in_use(core.state))
		return { STATUS_WRONG_STATE };
	if (peer.type > 1 && peer.type != ANONYMOUS)
		return { STATUS_BAD_PARAMETER };
	if (std::ranges::find(wanted, peer) != wanted.end())
		return {};
	if (wanted.size() == ACCEPT_LIST_SIZE)
		return { STATUS_NO_MEMORY };
	wanted.push_back(peer);
	return {};
}

static reply remove_from_accept_list(controller_core &core, byte_view params)
{
	const peer_address peer = peer_of(params);

	if (is_list_in_use(core.state))
		return { STATUS_WRONG_STATE };
	if (peer.type > 1 && peer.type != ANONYMOUS)
		return { STATUS_BAD_PARAMETER };
	std::erase(core.state.scan.wanted, peer);
	return {};
}

std::span<const command> scan_commands()
{
	constexpr uint8_t no_test = WHEN_OFF | WHEN_ADVERTISING | NEEDS_FIRMWARE;
	constexpr uint8_t always = ALWAYS | NEEDS_FIRMWARE;

	// clang-format off
	static constexpr command rows[] = {
		/* opcode params allowed   handler                   name                                        returns  place */
		{ 0x200B,   7,   no_test,  set_scan_parameters,      "LE Set Scan Parameters",                     0, { { 26, 2 } } },
		{ 0x200C,   2,   no_test,  set_scan_enable,          "LE Set Scan Enable",                         0, { { 26, 3 } } },
		{ 0x200F,   0,   always,   read_accept_list_size,    "LE Read Filter Accept List Size",            1, { { 26, 6 } } },
		{ 0x2010,   0,   always,   clear_accept_list,        "LE Clear Filter Accept List",                0, { { 26, 7 } } },
		{ 0x2011,   7,   always,   add_to_accept_list,       "LE Add Device To Filter Accept List",        0, { { 27, 0 } } },
		{ 0x2012,   7,   always,   remove_from_accept_list,  "LE Remove Device From Filter Accept List",   0, { { 27, 1 } } },
	};
	// clang-format on
	return rows;
}

} // namespace sim
