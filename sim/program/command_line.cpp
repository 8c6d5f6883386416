// SPDX-License-Identifier: Apache-2.0
/* The command line: reads it and prints its help, from the table of options. */
#include "sim/program/command_line.h"

#include <algorithm>

namespace sim
{

static std::string spelled(const option &row)
{
	std::string text = std::string("--") + row.name;

	return row.value ? text + " " + row.value : text;
}

/* Settings that depend on more than one option. */
static void complete(options &result)
{
	controller_settings &controller = result.session.controller;

	controller.manufacturer = result.manufacturer.value_or(controller.kind->manufacturer);
	controller.seed = result.session.seed;
	controller.hci_version = result.hci_version.value_or(controller.kind->hci_version);
}

static const option *find_option(std::string_view name)
{
	if (name == "-h")
		name = "--help";
	for (const option &row : option_table())
		if (name.starts_with("--") && name.substr(2) == row.name)
			return &row;
	return nullptr;
}

/* "scan SOCKET" and "control SOCKET COMMAND...": words instead of options. */
static std::string parse_remote(std::span<const char *const> words, options &result)
{
	const bool is_scan = std::string_view(words[0]) == "scan";
	const size_t least = is_scan ? 2 : 3;

	result.what = is_scan ? verb::scan : verb::control;
	if (words.size() < least || (is_scan && words.size() > least))
		return is_scan ? "say: vorlin-sim scan SOCKET"
			       : "say: vorlin-sim control SOCKET COMMAND";
	(is_scan ? result.air : result.control) = words[1];
	for (size_t i = 2; i < words.size(); i++)
		result.remote_command += (i == 2 ? "" : " ") + std::string(words[i]);
	return "";
}

static std::string parse_one(std::span<const char *const> rest, options &result, size_t &used)
{
	const std::string_view argument = rest[0];
	const size_t equals = argument.find('=');
	const std::string name(argument.substr(0, equals));
	const option *row = find_option(name);

	used = 1;
	if (!row)
		return "unknown option '" + name + "'; --help lists them";
	if (equals != std::string_view::npos) {
		if (!row->value && std::string_view(row->name) != "help")
			return name + " takes no value";
		return set_option(*row, result, argument.substr(equals + 1));
	}
	if (!row->value)
		return set_option(*row, result, "");
	if (rest.size() < 2)
		return name + " needs a value: " + spelled(*row);
	used = 2;
	return set_option(*row, result, rest[1]);
}

std::string parse_options(std::span<const char *const> arguments, options &result)
{
	const std::string_view first = arguments.empty() ? "" : arguments[0];
	size_t used = 0;

	if (first == "scan" || first == "control")
		return parse_remote(arguments, result);
	for (size_t i = 0; i < arguments.size(); i += used) {
		std::string problem = parse_one(arguments.subspan(i), result, used);
		if (!problem.empty())
			return problem;
	}
	complete(result);
	return "";
}

std::string help_text()
{
	std::string text = "usage: vorlin-sim [OPTION]...: a Bluetooth LE controller on a pty\n";
	const auto rows = option_table();

	for (size_t i = 0; i < rows.size();) {
		const char *const help = rows[i].help;
		std::string line = "  " + spelled(rows[i]);
		for (i++; i < rows.size() && !rows[i].help; i++)
			line += ", " + spelled(rows[i]);
		line.resize(std::max<size_t>(line.size() + 2, 41), ' ');
		text += line + help + "\n";
	}
	return text;
}

} // namespace sim
