// SPDX-License-Identifier: Apache-2.0
/* The command line: one table of options, from which the help is printed too. */
#pragma once

#include "sim/output/live_view.h"
#include "sim/program/session.h"

namespace sim
{

enum class verb : uint8_t {
	simulate,
	help,
	help_faults,
	help_quirks,
	version,
	make_patch,
	selftest,
	scan,
	control,
};

enum class view : uint8_t { changes, quiet, json, live };

struct options {
	verb what = verb::simulate;
	session_settings session = {};
	std::string link = {};
	std::string patch_out = {};
	std::string made_patch = {};
	size_t patch_size = 5000;
	moment run_time = {}; /* 0: until a signal */
	view shown = view::changes;
	view_size live_size = { 0, 0 }; /* 0: as the terminal has it */
	moment summary_every = {};
	std::vector<std::string> logs = {};
	std::string capture = {};
	uint64_t capture_most = 0;
	std::string report = {};
	std::string script = {};
	std::string control = {};
	std::string air = {};
	int8_t rssi = -60; /* dBm of all that is heard */
	std::string remote_command = {};
	std::optional<uint16_t> manufacturer = {};
	std::optional<uint8_t> hci_version = {};
};

/* Fills `result`; what is wrong with the arguments and what would be right, or nothing. */
std::string parse_options(std::span<const char *const> arguments, options &result);

std::string help_text();
std::string quirk_help();

} // namespace sim
