// SPDX-License-Identifier: Apache-2.0
/* The command line: one table of options, from which the help is printed too. */
#pragma once

#include "sim/session.h"

namespace sim
{

enum class verb { simulate, help, version, make_patch };

struct options {
	verb what = verb::simulate;
	session_settings session;
	std::string link;
	std::string patch_out;
	std::string made_patch;
	size_t patch_size = 5000;
	uint64_t seed = 1;
	moment run_time = {}; /* 0: until a signal */
	moment summary_every = {};
	std::vector<std::string> logs;
	bool quiet = false;
	std::optional<uint16_t> manufacturer;
	std::optional<uint8_t> hci_version;
};

/* Fills `result`; what is wrong with the arguments and what would be right, or nothing. */
std::string parse_options(std::span<const char *const> arguments, options &result);

std::string help_text();

} // namespace sim
