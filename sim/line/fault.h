// SPDX-License-Identifier: Apache-2.0
/* The faults that can be set: their names and keys, and one fault with its values. */
#pragma once

#include "sim/line/pace.h"

namespace sim
{

enum class fault_kind : uint8_t {
	drop,
	flip,
	insert,
	duplicate,
	split,
	cut,
	junk,
	wrong_code,
	short_length,
	long_length,
	late,
	silent,
	refuse,
	second_missing,
	second_fails,
	reboot,
	unplug,
	wrong_baud,
	refuse_segment,
	unasked,
	nop_at_start,
	deaf_after_reset,
	hardware_error,
	write_limit,
};

/* A number that may be random, or take the next value with each strike. */
struct choice {
	enum kind : uint8_t { fixed, random, each, all } how = fixed;
	uint32_t value = 0;
};

/* The place of an unasked event around the events of an answer. */
enum class place : uint8_t { before, between, after };

struct fault {
	fault_kind kind = fault_kind::drop;
	std::string text = {}; /* the user's text */
	std::optional<uint16_t> opcode = {};
	uint32_t event = 1; /* of the answer; 0: any */
	uint32_t skip = 0;
	uint32_t times = 1; /* 0: always */
	uint32_t chance = 100;
	bool from_host = false;
	choice at = {};    /* which byte */
	choice value = {}; /* of the fault's own key: a mask, a code, a baud rate */
	uint32_t count = 1;
	uint8_t status = 0;
	moment delay = {};
	bytes unasked = {};
	place when = place::before;
	uint64_t met = 0;
	uint64_t struck = 0;
};

/* Parses "NAME[:KEY=VALUE[,KEY=VALUE]...]"; returns the fault in it with the right values, or an
 * empty text. */
std::string parse_fault(std::string_view text, fault &result);

const char *fault_name(fault_kind kind);

/* The help text: the faults with their keys and defaults, and the values of each key. */
std::string fault_help();

/* A fault's name and its own keys, "at=random,way=out"; or a key and its values. */
struct described {
	const char *name;
	std::string values;
};
std::vector<described> all_faults();
std::vector<described> all_fault_keys();

} // namespace sim
