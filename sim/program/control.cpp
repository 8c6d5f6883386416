// SPDX-License-Identifier: Apache-2.0
/* The commands for a running simulator, from its control socket or a script. */
#include "sim/program/control.h"

#include <algorithm>

namespace sim
{

constexpr uint32_t LONGEST_MS = 3'600'000;

struct control_row {
	const char *word;
	const char *argument; /* null: none; "[...]": optional */
	/* Returns the answer; a failure begins with "error: ". */
	std::string (*run)(controlled &, const std::string &argument);
	/* Returns the fault in the argument; null: there can be none. */
	std::string (*check)(const std::string &argument);
	const char *help;
};

static std::string check_fault(const std::string &text)
{
	fault ignored;

	return parse_fault(text, ignored);
}

static std::string check_ms(const std::string &text)
{
	return text.empty() || parse_number(text, LONGEST_MS)
		       ? ""
		       : "'" + text + "' is no time in milliseconds";
}

static std::string check_hex(const std::string &text)
{
	const auto data = parse_hex(text);

	return data && !data->empty() ? "" : "'" + text + "' is not hexadecimal";
}

static std::string check_count(const std::string &text)
{
	return parse_number(text, 0xFFFF) ? "" : "'" + text + "' is no number up to 65535";
}

static moment ms_of(const std::string &text, unsigned otherwise)
{
	const uint64_t ms = parse_number(text, LONGEST_MS).value_or(otherwise);

	return std::chrono::milliseconds(ms);
}

static std::string run_fault(controlled &target, const std::string &text)
{
	target.controller.faults().add(text);
	return "";
}

static std::string run_faults(controlled &target, const std::string &)
{
	return target.controller.faults().list();
}

static std::string run_clear(controlled &target, const std::string &)
{
	target.controller.faults().clear();
	return "";
}

static std::string run_reboot(controlled &target, const std::string &text)
{
	target.controller.restart(target.now, ms_of(text, 0));
	return "";
}

static std::string run_unplug(controlled &target, const std::string &text)
{
	target.unplug_for = ms_of(text, 1000);
	return "";
}

static std::string run_plug(controlled &target, const std::string &)
{
	target.plug = true;
	return "";
}

static std::string run_send(controlled &target, const std::string &text)
{
	target.controller.inject(*parse_hex(text), target.now);
	return "";
}

static std::string run_hear(controlled &target, const std::string &text)
{
	target.controller.chip().hear(static_cast<uint32_t>(*parse_number(text, 0xFFFF)));
	return "";
}

static std::string run_air(controlled &target, const std::string &)
{
	return air_text(target.controller.chip().air()) + "\n";
}

static std::string run_scan(controlled &target, const std::string &)
{
	return target.others.list();
}

static std::string run_quit(controlled &target, const std::string &)
{
	target.quit = true;
	return "";
}

static std::string run_help(controlled &, const std::string &)
{
	return control_help();
}

// clang-format off
static const control_row rows[] = {
	/* word      argument  handler      check        help */
	{ "fault",   "FAULT",  run_fault,   check_fault, "sets a fault, as --fault does" },
	{ "faults",  nullptr,  run_faults,  nullptr,     "lists the faults that are set" },
	{ "clear",   nullptr,  run_clear,   nullptr,     "forgets all faults" },
	{ "reboot",  "[MS]",   run_reboot,  check_ms,    "the controller loses its power, for that time" },
	{ "unplug",  "[MS]",   run_unplug,  check_ms,    "the port goes, and comes back after that time" },
	{ "plug",    nullptr,  run_plug,    nullptr,     "the port that is gone comes back now" },
	{ "send",    "HEX",    run_send,    check_hex,   "sends these bytes to the host" },
	{ "hear",    "N",      run_hear,    check_count, "a running receiver test hears N packets more" },
	{ "air",     nullptr,  run_air,     nullptr,     "what this controller has on the air" },
	{ "scan",    nullptr,  run_scan,    nullptr,     "what it hears from others" },
	{ "quit",    nullptr,  run_quit,    nullptr,     "ends the simulator" },
	{ "help",    nullptr,  run_help,    nullptr,     "this list" },
};
// clang-format on

struct split_command {
	std::string word;
	std::string argument;
};

static split_command split(const std::string &command)
{
	const size_t end = std::min(command.find(' '), command.size());
	const size_t begin = std::min(command.find_first_not_of(' ', end), command.size());

	return { command.substr(0, end), command.substr(begin) };
}

std::string check_control(const std::string &command)
{
	const auto [word, argument] = split(command);
	const auto *const row = std::ranges::find(rows, word, &control_row::word);

	if (row == std::end(rows))
		return "there is no command '" + word + "'; help lists them";
	if (!row->argument && !argument.empty())
		return word + " takes nothing more";
	return row->check ? row->check(argument) : "";
}

std::string run_control(const std::string &command, controlled &target)
{
	const std::string problem = check_control(command);
	const auto [word, argument] = split(command);
	const auto *const row = std::ranges::find(rows, word, &control_row::word);

	if (!problem.empty())
		return "error: " + problem + "\n";
	return row->run(target, argument) + "ok\n";
}

std::string control_help()
{
	std::string text;

	for (const control_row &row : rows) {
		std::string line = std::string("  ") + row.word;
		if (row.argument)
			line += std::string(" ") + row.argument;
		line.resize(std::max<size_t>(line.size() + 1, 18), ' ');
		text += line + row.help + "\n";
	}
	return text;
}

} // namespace sim
