// SPDX-License-Identifier: Apache-2.0
/* The table of options: the value, the setter and the help text of each. */
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
	view_size live_size = { 0, 0 }; /* 0: the terminal's */
	moment summary_every = {};
	std::vector<std::string> logs = {};
	std::string capture = {};
	uint64_t capture_most = 0;
	std::string report = {};
	std::string script = {};
	std::string control = {};
	std::string air = {};
	int8_t rssi = -60; /* dBm of everything that is received */
	std::string remote_command = {};
	std::optional<uint16_t> manufacturer = {};
	std::optional<uint8_t> hci_version = {};
};

struct option {
	const char *name;
	const char *value; /* its name in the help; null: the option has none */
	std::string (*set)(options &, std::string_view value); /* the right values, or "" */
	const char *help; /* null: on the line of the option before */
};

std::span<const option> option_table();

/* Returns a fault in the value with the right values, or an empty text. */
std::string set_option(const option &row, options &result, std::string_view value);

std::string quirk_help();

} // namespace sim
