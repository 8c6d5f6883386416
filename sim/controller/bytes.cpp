// SPDX-License-Identifier: Apache-2.0
/* Bytes of the line: little-endian fields, hexadecimal text and device addresses. */
#include "sim/controller/bytes.h"

#include <algorithm>
#include <charconv>

namespace sim
{

static int digit_value(char digit)
{
	if (digit >= '0' && digit <= '9')
		return digit - '0';
	if (digit >= 'a' && digit <= 'f')
		return digit - 'a' + 10;
	if (digit >= 'A' && digit <= 'F')
		return digit - 'A' + 10;
	return -1;
}

static void append_hex(std::string &text, uint8_t byte)
{
	constexpr std::string_view digits = "0123456789ABCDEF";

	text += digits[byte >> 4];
	text += digits[byte & 15];
}

uint16_t low_first_16(byte_view data, size_t offset)
{
	return static_cast<uint16_t>(data[offset] | data[offset + 1] << 8);
}

uint16_t high_first_16(byte_view data, size_t offset)
{
	return static_cast<uint16_t>(data[offset] << 8 | data[offset + 1]);
}

void append_low_first_16(bytes &data, uint16_t value)
{
	data.push_back(static_cast<uint8_t>(value));
	data.push_back(static_cast<uint8_t>(value >> 8));
}

void append(bytes &data, byte_view more)
{
	data.insert(data.end(), more.begin(), more.end());
}

std::string hex_text(byte_view data)
{
	std::string text;

	for (const uint8_t byte : data) {
		if (!text.empty())
			text += ' ';
		append_hex(text, byte);
	}
	return text;
}

std::optional<bytes> parse_hex(std::string_view text)
{
	bytes data;
	size_t i = 0;

	while (i < text.size()) {
		if (text[i] == ' ' || text[i] == ':') {
			i++;
			continue;
		}
		const int high = digit_value(text[i]);
		const int low = i + 1 < text.size() ? digit_value(text[i + 1]) : -1;
		if (high < 0 || low < 0)
			return std::nullopt;
		data.push_back(static_cast<uint8_t>(high << 4 | low));
		i += 2;
	}
	return data;
}

std::string address_text(const device_address &address)
{
	std::string text;

	for (size_t i = address.size(); i-- > 0;) {
		append_hex(text, address[i]);
		if (i > 0)
			text += ':';
	}
	return text;
}

std::optional<device_address> parse_address(std::string_view text)
{
	const auto data = parse_hex(text);
	device_address address;

	if (!data || data->size() != address.size())
		return std::nullopt;
	std::reverse_copy(data->begin(), data->end(), address.begin());
	return address;
}

std::optional<uint64_t> parse_number(std::string_view text, uint64_t most)
{
	const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
	const std::string_view digits = hexadecimal ? text.substr(2) : text;
	const char *const end = digits.data() + digits.size();
	uint64_t value = 0;

	const auto [stop, error] =
		std::from_chars(digits.data(), end, value, hexadecimal ? 16 : 10);
	if (error != std::errc() || stop != end || value > most)
		return std::nullopt;
	return value;
}

} // namespace sim
