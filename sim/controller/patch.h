// SPDX-License-Identifier: Apache-2.0
/* The patch file that a Qualcomm controller is given: its header, its download, a made-up one. */
#pragma once

#include "sim/controller/bytes.h"

namespace sim
{

constexpr size_t PATCH_HEADER_SIZE = 28;

/* The bytes that the whole patch will have by its own account, once that is there. */
std::optional<size_t> announced_patch_size(byte_view patch);

/* What is wrong with the header as far as it has arrived; empty: nothing. */
std::string patch_problem(byte_view patch);

/* A patch that holds in every check: `size` bytes, the same ones for the same seed. */
bytes make_patch(size_t size, uint64_t seed);

struct patch_download {
	bytes data;
	bool open = false; /* the next segment continues it */

	bool is_whole() const;
	bool is_exactly_whole() const;
};

} // namespace sim
