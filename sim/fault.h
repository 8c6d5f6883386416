// SPDX-License-Identifier: Apache-2.0
/* What can go wrong on purpose: the names of the faults, and one fault as it was asked for. */
#pragma once

#include "sim/pace.h"

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
};

/* A number that may be left to chance, or go through all values from strike to strike. */
struct choice {
	enum kind : uint8_t { fixed, random, each, all } how = fixed;
	uint32_t value = 0;
};

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
	uint64_t met = 0;
	uint64_t struck = 0;
};

/* "NAME[:KEY=VALUE[,KEY=VALUE]...]"; what is wrong with it and what is right, or nothing. */
std::string parse_fault(std::string_view text, fault &result);

const char *fault_name(fault_kind kind);

/* A line for each fault: its name, its keys with what they are if nothing is told, its effect. */
std::string fault_help();

} // namespace sim
