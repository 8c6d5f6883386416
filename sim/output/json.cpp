// SPDX-License-Identifier: Apache-2.0
/* The record of all that happens as JSON, one object on each line. */
#include "sim/output/json.h"

#include "sim/air/advertisement.h"
#include "sim/controller/packet.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace sim
{

using json = nlohmann::ordered_json; /* who reads a line finds its members in this order */

static const char *name_of(happened what)
{
	switch (what) {
	case happened::command:
		return "command";
	case happened::event:
		return "event";
	case happened::air:
		return "air";
	case happened::patch:
		return "patch";
	case happened::fault:
		return "fault";
	case happened::notice:
		return "notice";
	}
	return "";
}

static const char *name_of(radio doing)
{
	switch (doing) {
	case radio::off:
		return "off";
	case radio::advertising:
		return "advertising";
	case radio::receiving:
		return "receiver test";
	case radio::transmitting:
		return "transmitter test";
	}
	return "";
}

/* As in all output: at most ten digits, and a whole number without a point. */
static json number(double value)
{
	const double rounded = std::stod(number_text(value));

	return rounded == std::floor(rounded) ? json(static_cast<int64_t>(rounded)) : json(rounded);
}

/* Replaces bytes that are no UTF-8, for instance in a file's name: the line stays JSON. */
static std::string line_of(const json &object)
{
	return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

static void add_advertising(json &line, const air_state &air)
{
	const auto found = decode_beacon(air.payload);

	line["address"] = address_text(air.address);
	line["address_type"] = air.is_random_address ? "random" : "public";
	line["interval_ms"] = number(interval_ms(air.slots));
	line["type"] = air.type;
	line["payload"] = hex_text(air.payload);
	if (!found)
		return;
	line["uuid"] = found->uuid;
	line["major"] = found->major_number;
	line["minor"] = found->minor_number;
	line["power_dbm"] = found->measured_power;
}

static void add_air(json &line, const air_state &air)
{
	line["radio"] = name_of(air.doing);
	if (air.doing == radio::advertising)
		add_advertising(line, air);
	else if (air.doing != radio::off)
		line["channel"] = air.channel;
	if (air.doing == radio::transmitting) {
		line["length"] = air.test_length;
		line["pattern"] = pattern_name(air.test_pattern);
	}
}

static const command *command_of(const bytes &packet, enum vendor vendor)
{
	const bool is_command = packet.size() >= 4 && packet[0] == PACKET_COMMAND;

	return is_command ? find_command(vendor, low_first_16(packet, 1)) : nullptr;
}

std::string json_start(const std::string &title, uint64_t seed)
{
	return line_of({ { "t", 0 }, { "what", "start" }, { "text", title }, { "seed", seed } });
}

std::string json_line(const record &what, enum vendor vendor)
{
	json line = { { "t", number(std::chrono::duration<double>(what.at).count()) },
		      { "what", name_of(what.what) } };

	if (what.what == happened::command)
		if (const command *const row = command_of(what.packet, vendor))
			line["name"] = row->name;
	if (what.what == happened::patch)
		line["size"] = what.packet.size();
	else if (!what.packet.empty())
		line["bytes"] = hex_text(what.packet);
	if (what.what == happened::air)
		add_air(line, what.air);
	if (!what.text.empty())
		line["text"] = what.text;
	return line_of(line);
}

} // namespace sim
