// SPDX-License-Identifier: Apache-2.0
/* The patch file of a Qualcomm controller: its header, its download, and artificial ones. */
#pragma once

#include "sim/controller/bytes.h"

namespace sim
{

constexpr size_t PATCH_HEADER_SIZE = 28;

/* The size of the whole patch from its header, once that has arrived. */
std::optional<size_t> announced_patch_size(byte_view patch);

/* The fault in the part of the header that has arrived, or an empty text. */
std::string patch_problem(byte_view patch);

/* A patch that passes every check: `size` bytes, the same for the same seed. */
bytes make_patch(size_t size, uint64_t seed);

struct patch_download {
	bytes data;
	bool open = false; /* the next segment continues it */

	bool is_whole() const;
	bool is_exactly_whole() const;
};

} // namespace sim
