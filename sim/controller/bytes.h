// SPDX-License-Identifier: Apache-2.0
/* Bytes of the line: little-endian fields, hexadecimal text and device addresses. */
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{

using bytes = std::vector<uint8_t>;
using byte_view = std::span<const uint8_t>;

/* Six bytes in the order on the line: least significant first. */
using device_address = std::array<uint8_t, 6>;

uint16_t low_first_16(byte_view data, size_t offset);
uint16_t high_first_16(byte_view data, size_t offset);
void append_low_first_16(bytes &data, uint16_t value);
void append(bytes &data, byte_view more);

/* "01 03 0C 00" */
std::string hex_text(byte_view data);

/* Pairs of digits, with or without spaces or colons between them; nothing for other text. */
std::optional<bytes> parse_hex(std::string_view text);

/* "02:00:00:00:00:01", most significant byte first */
std::string address_text(const device_address &address);
std::optional<device_address> parse_address(std::string_view text);

/* A whole number up to `most`, decimal or 0x hexadecimal; nothing for other text. */
std::optional<uint64_t> parse_number(std::string_view text, uint64_t most);

} // namespace sim
