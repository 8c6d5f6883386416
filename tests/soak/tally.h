// SPDX-License-Identifier: Apache-2.0
/* The counters of a soak run, as text and as JSON. */
#pragma once

#include <cstdint>
#include <map>
#include <string>

using counts = std::map<std::string, uint64_t>;

struct tally {
	uint64_t seed = 0;
	std::string controllers;
	uint64_t steps = 0;
	double seconds = 0;
	uint64_t violations = 0;
	counts by_step = {};
	counts commands = {};        /* by sender */
	counts client_exits = {};    /* of vorlinctl, by exit status */
	counts crashes = {};         /* kill -9, by victim */
	counts signals = {};         /* to the daemon, by name */
	counts faults = {};          /* that took effect, by name */
	counts replugs = {};         /* by kind */
	counts blocks = {};          /* of the daemon by a faulty line, by their end */
	uint64_t healings = 0;       /* each followed by a command that had to work */
	uint64_t daemons = 0;        /* started */
	uint64_t reports = 0;        /* received by the access controller's listener */
	uint64_t first_resident = 0; /* of the first daemon, at its start */
	uint64_t most_resident = 0;
	uint64_t most_data = 0;
	uint64_t most_descriptors = 0;
	uint64_t longest_life = 0; /* the most steps of one daemon */
};

uint64_t sum_of(const counts &all);
std::string as_text(const tally &t);
std::string as_json(const tally &t);
