// SPDX-License-Identifier: Apache-2.0
/* The patch file of a Qualcomm controller: its header, its download, and artificial ones. */
#include "sim/controller/patch.h"

#include <random>

namespace sim
{

/*
 * The file begins with the kind (1 byte), the size from offset 4 on (3 bytes), that size again
 * (4 bytes) and the size of the code (4 bytes); then come version fields and the entry.
 */
constexpr uint8_t PATCH_KIND = 0x02;
constexpr size_t AFTER_LENGTH = 4;
constexpr size_t TOTAL_SIZE_AT = 4;
constexpr size_t CODE_SIZE_AT = 8;

static uint32_t low_first(byte_view data, size_t offset, size_t count)
{
	uint32_t value = 0;

	for (size_t i = count; i-- > 0;)
		value = value << 8 | data[offset + i];
	return value;
}

static void put_low_first(bytes &data, size_t offset, size_t count, size_t value)
{
	for (size_t i = 0; i < count; i++)
		data[offset + i] = static_cast<uint8_t>(value >> 8 * i);
}

std::optional<size_t> announced_patch_size(byte_view patch)
{
	if (patch.size() < AFTER_LENGTH)
		return std::nullopt;
	return AFTER_LENGTH + low_first(patch, 1, 3);
}

std::string patch_problem(byte_view patch)
{
	if (!patch.empty() && patch[0] != PATCH_KIND)
		return "the first byte is not 0x02";
	const auto size = announced_patch_size(patch);
	if (!size)
		return "";
	if (*size < PATCH_HEADER_SIZE)
		return "the announced length leaves no room for the header";
	if (patch.size() > *size)
		return "there are more bytes than announced";
	if (patch.size() >= TOTAL_SIZE_AT + 4 &&
	    low_first(patch, TOTAL_SIZE_AT, 4) != *size - AFTER_LENGTH)
		return "the total size differs from the announced length";
	if (patch.size() >= CODE_SIZE_AT + 4 &&
	    low_first(patch, CODE_SIZE_AT, 4) > *size - PATCH_HEADER_SIZE)
		return "the data length does not fit into the total size";
	return "";
}

bytes make_patch(size_t size, uint64_t seed)
{
	bytes patch(size);
	std::mt19937_64 random(seed);

	for (size_t i = PATCH_HEADER_SIZE; i < size; i++)
		patch[i] = static_cast<uint8_t>(random());
	patch[0] = PATCH_KIND;
	put_low_first(patch, 1, 3, size - AFTER_LENGTH);
	put_low_first(patch, TOTAL_SIZE_AT, 4, size - AFTER_LENGTH);
	put_low_first(patch, CODE_SIZE_AT, 4, size - PATCH_HEADER_SIZE);
	put_low_first(patch, 12, 1, 1);      /* format */
	put_low_first(patch, 16, 2, 0x0010); /* product */
	put_low_first(patch, 18, 2, 0x0200); /* ROM build */
	put_low_first(patch, 20, 2, 0x0001); /* patch version */
	return patch;
}

bool patch_download::is_whole() const
{
	const auto size = announced_patch_size(data);

	return size && data.size() >= *size;
}

bool patch_download::is_exactly_whole() const
{
	return announced_patch_size(data) == data.size();
}

} // namespace sim
