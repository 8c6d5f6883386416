// SPDX-License-Identifier: Apache-2.0
/* What can go wrong on purpose: the names of the faults, and one fault as it was asked for. */
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

/* A number that may be left to chance, or go through all values from strike to strike. */
struct choice {
	enum kind : uint8_t { fixed, random, each, all } how = fixed;
	uint32_t value = 0;
};

/* Where an event that nobody asked for comes: around the events of an answer. */
enum class place : uint8_t { before, between, after };

struct fault {
	fault_kind kind = fault_kind::drop;
	std::string text = {}; /* as it was asked for */
	std::optional<uint16_t> opcode = {};
	uint32_t event = 1; /* of the answer; 0: any */
	uint32_t skip = 0;
	uint32_t times = 1; /* 0: always */
	uint32_t chance = 100;
	bool from_host = false;
	choice at = {};    /* which byte */
	choice value = {}; /* what the fault's own key says: a mask, a code, a baud rate */
	uint32_t count = 1;
	uint8_t status = 0;
	moment delay = {};
	bytes unasked = {};
	place when = place::before;
	uint64_t met = 0;
	uint64_t struck = 0;
};

/* "NAME[:KEY=VALUE[,KEY=VALUE]...]"; what is wrong with it and what is right, or nothing. */
std::string parse_fault(std::string_view text, fault &result);

const char *fault_name(fault_kind kind);

/* The faults with their keys as they are unless told, and what each key can be. */
std::string fault_help();

/* A name and the keys of its own, "at=random,way=out"; of a key: what it can be. */
struct described {
	const char *name;
	std::string values;
};
std::vector<described> all_faults();
std::vector<described> all_fault_keys();

} // namespace sim
