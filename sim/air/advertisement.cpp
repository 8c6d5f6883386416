// SPDX-License-Identifier: Apache-2.0
/* Describes what is on the air: beacons decoded from their payloads, tests with their channel. */
#include "sim/air/advertisement.h"

#include <algorithm>
#include <cstdio>

namespace sim
{

constexpr uint8_t STRUCTURE_MANUFACTURER = 0xFF;
constexpr std::array<uint8_t, 4> BEACON_HEAD = { 0x4C, 0x00, 0x02, 0x15 };
constexpr size_t BEACON_SIZE = 25; /* head, identifier 16, major 2, minor 2, power 1 */

static std::string identifier_text(byte_view identifier)
{
	std::string text;

	for (size_t i = 0; i < identifier.size(); i++) {
		char digits[3];
		if (i == 4 || i == 6 || i == 8 || i == 10)
			text += '-';
		snprintf(digits, sizeof(digits), "%02X", identifier[i]);
		text += digits;
	}
	return text;
}

static std::optional<beacon> decode_structure(byte_view data)
{
	if (data.size() != BEACON_SIZE ||
	    !std::equal(BEACON_HEAD.begin(), BEACON_HEAD.end(), data.begin()))
		return std::nullopt;
	return beacon{ .uuid = identifier_text(data.subspan(4, 16)),
		       .major_number = high_first_16(data, 20),
		       .minor_number = high_first_16(data, 22),
		       .measured_power = static_cast<int8_t>(data[24]) };
}

std::optional<beacon> decode_beacon(byte_view payload)
{
	size_t at = 0;

	/* A payload is a sequence of structures: a length, a type, and length - 1 bytes. */
	while (at + 1 < payload.size() && payload[at] != 0) {
		const size_t length = payload[at];
		if (at + 1 + length > payload.size())
			break;
		if (payload[at + 1] == STRUCTURE_MANUFACTURER) {
			auto found = decode_structure(payload.subspan(at + 2, length - 1));
			if (found)
				return found;
		}
		at += 1 + length;
	}
	return std::nullopt;
}

double interval_ms(uint16_t slots)
{
	return slots * 0.625;
}

double channel_mhz(uint8_t channel)
{
	return 2402.0 + 2.0 * channel;
}

const char *pattern_name(uint8_t pattern)
{
	static constexpr const char *names[] = {
		"PRBS9",    "11110000",  "10101010", "PRBS15",
		"all ones", "all zeros", "00001111", "01010101",
	};

	return pattern < std::size(names) ? names[pattern] : "unknown";
}

std::string number_text(double value)
{
	char text[32];

	snprintf(text, sizeof(text), "%.10g", value);
	return text;
}

std::string payload_text(byte_view payload)
{
	const auto found = decode_beacon(payload);

	if (payload.empty())
		return "payload empty";
	if (!found)
		return "payload " + hex_text(payload);
	return "uuid " + found->uuid + " major " + std::to_string(found->major_number) + " minor " +
	       std::to_string(found->minor_number) + " power " +
	       std::to_string(found->measured_power) + " dBm";
}

static std::string channel_text(const air_state &air)
{
	return "channel " + std::to_string(air.channel) + " (" +
	       number_text(channel_mhz(air.channel)) + " MHz)";
}

std::string air_text(const air_state &air)
{
	switch (air.doing) {
	case radio::off:
		return "off";
	case radio::advertising:
		return payload_text(air.payload) + " interval " +
		       number_text(interval_ms(air.slots)) + " ms address " +
		       address_text(air.address) + (air.is_random_address ? " (random)" : "");
	case radio::receiving:
		return "receiver test " + channel_text(air);
	case radio::transmitting:
		return "transmitter test " + channel_text(air) + " length " +
		       std::to_string(air.test_length) + " pattern " +
		       pattern_name(air.test_pattern);
	}
	return "";
}

} // namespace sim
