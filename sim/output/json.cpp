// SPDX-License-Identifier: Apache-2.0
/* The record of everything as JSON: one object a line. */
#include "sim/output/json.h"

#include "sim/air/advertisement.h"
#include "sim/controller/packet.h"

#include <cstdio>

namespace sim
{

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

std::string json_string(std::string_view text)
{
	std::string quoted = "\"";

	for (const char letter : text) {
		char escape[8];
		if (letter == '"' || letter == '\\')
			quoted += '\\';
		if (static_cast<unsigned char>(letter) < 0x20) {
			snprintf(escape, sizeof(escape), "\\u%04x", letter);
			quoted += escape;
		} else {
			quoted += letter;
		}
	}
	return quoted + '"';
}

static std::string member(const char *name, const std::string &value)
{
	return ",\"" + std::string(name) + "\":" + value;
}

static std::string advertising_members(const air_state &air)
{
	const auto found = decode_beacon(air.payload);
	std::string text =
		member("address", json_string(address_text(air.address))) +
		member("address_type", json_string(air.is_random_address ? "random" : "public")) +
		member("interval_ms", number_text(interval_ms(air.slots))) +
		member("type", std::to_string(air.type)) +
		member("payload", json_string(hex_text(air.payload)));

	if (!found)
		return text;
	return text + member("uuid", json_string(found->uuid)) +
	       member("major", std::to_string(found->major_number)) +
	       member("minor", std::to_string(found->minor_number)) +
	       member("power_dbm", std::to_string(found->measured_power));
}

static std::string air_members(const air_state &air)
{
	std::string text = member("radio", json_string(name_of(air.doing)));

	if (air.doing == radio::advertising)
		return text + advertising_members(air);
	if (air.doing != radio::off)
		text += member("channel", std::to_string(air.channel));
	if (air.doing == radio::transmitting)
		text += member("length", std::to_string(air.test_length)) +
			member("pattern", json_string(pattern_name(air.test_pattern)));
	return text;
}

static std::string command_members(const bytes &packet, enum vendor vendor)
{
	const bool is_command = packet.size() >= 4 && packet[0] == PACKET_COMMAND;
	const command *row = is_command ? find_command(vendor, low_first_16(packet, 1)) : nullptr;

	return row ? member("name", json_string(row->name)) : "";
}

std::string json_line(const record &what, enum vendor vendor)
{
	std::string text = "{\"t\":" + number_text(std::chrono::duration<double>(what.at).count()) +
			   member("what", json_string(name_of(what.what)));

	if (what.what == happened::command)
		text += command_members(what.packet, vendor);
	if (what.what == happened::patch)
		text += member("size", std::to_string(what.packet.size()));
	else if (!what.packet.empty())
		text += member("bytes", json_string(hex_text(what.packet)));
	if (what.what == happened::air)
		text += air_members(what.air);
	if (!what.text.empty())
		text += member("text", json_string(what.text));
	return text + "}\n";
}

} // namespace sim
