// SPDX-License-Identifier: Apache-2.0
/* The command line: one table of options, from which the help is printed too. */
#include "sim/options.h"

#include <algorithm>
#include <charconv>

namespace sim
{

constexpr size_t LARGEST_PATCH = 1024 * 1024;
constexpr uint64_t LONGEST_SECONDS = 366 * 86400;

/* Each takes its option's value; what would have been right, or nothing. */
using setter = std::string (*)(options &, std::string_view value);

struct option {
	const char *name;
	const char *value; /* how the help calls it; null: the option has none */
	setter set;
	const char *help;
};

template <typename T>
static std::string set_number(T &target, std::string_view text, uint64_t least, uint64_t most)
{
	const auto number = parse_number(text, most);

	if (!number || *number < least)
		return "a number from " + std::to_string(least) + " to " + std::to_string(most);
	target = static_cast<T>(*number);
	return "";
}

static std::string set_time(moment &target, std::string_view text, double unit_seconds)
{
	double value = 0;
	const char *const end = text.data() + text.size();
	const auto [stop, error] = std::from_chars(text.data(), end, value);

	if (error != std::errc() || stop != end || value < 0 ||
	    value * unit_seconds > LONGEST_SECONDS)
		return "a time such as 2.5";
	target = std::chrono::duration_cast<moment>(
		std::chrono::duration<double>(value * unit_seconds));
	return "";
}

static std::string set_text(std::string &target, std::string_view text)
{
	if (text.empty())
		return "a name";
	target = text;
	return "";
}

static std::string set_controller(options &o, std::string_view value)
{
	const auto kind = std::ranges::find(controller_kinds, value, &controller_kind::name);

	if (kind == controller_kinds.end())
		return "ti-06, ti-08 or qualcomm";
	o.session.controller.kind = &*kind;
	return "";
}

static std::string set_address(options &o, std::string_view value)
{
	const auto address = parse_address(value);

	if (!address)
		return "six pairs of digits such as 02:00:00:00:00:01";
	o.session.controller.address = *address;
	return "";
}

static std::string set_manufacturer(options &o, std::string_view value)
{
	return set_number(o.manufacturer.emplace(), value, 0, 0xFFFF);
}

static std::string set_hci_version(options &o, std::string_view value)
{
	return set_number(o.hci_version.emplace(), value, 0, 0xFF);
}

static std::string set_summary(options &o, std::string_view value)
{
	return set_time(o.summary_every, value, 1);
}

static std::string set_run_time(options &o, std::string_view value)
{
	return set_time(o.run_time, value, 1);
}

static std::string set_link(options &o, std::string_view value)
{
	return set_text(o.link, value);
}

static std::string set_patch_out(options &o, std::string_view value)
{
	return set_text(o.patch_out, value);
}

static std::string set_made_patch(options &o, std::string_view value)
{
	o.what = verb::make_patch;
	return set_text(o.made_patch, value);
}

static std::string set_patch_size(options &o, std::string_view value)
{
	return set_number(o.patch_size, value, PATCH_HEADER_SIZE, LARGEST_PATCH);
}

static std::string set_seed(options &o, std::string_view value)
{
	return set_number(o.seed, value, 0, UINT64_MAX);
}

static std::string add_log(options &o, std::string_view value)
{
	return set_text(o.logs.emplace_back(), value);
}

static std::string set_strict_patch(options &o, std::string_view)
{
	o.session.controller.strict_patch = true;
	return "";
}

static std::string set_quiet(options &o, std::string_view)
{
	o.quiet = true;
	return "";
}

static std::string set_help(options &o, std::string_view)
{
	o.what = verb::help;
	return "";
}

static std::string set_version(options &o, std::string_view)
{
	o.what = verb::version;
	return "";
}

// clang-format off
static const option rows[] = {
	/* name            value      setter             help */
	{ "controller",    "KIND",    set_controller,    "ti-06, ti-08 (as told nothing) or qualcomm" },
	{ "manufacturer",  "N",       set_manufacturer,  "answer as this company, ..." },
	{ "hci-version",   "N",       set_hci_version,   "... with this version of the interface" },
	{ "address",       "ADDRESS", set_address,       "the device's own, until the host sets another" },
	{ "link",          "PATH",    set_link,          "where the host looks for its port: /dev/ttyMSM1" },
	{ "strict-patch",  nullptr,   set_strict_patch,  "check the whole header of a downloaded patch" },
	{ "patch-out",     "FILE",    set_patch_out,     "write the patch that the host has downloaded" },
	{ "make-patch",    "FILE",    set_made_patch,    "write a patch for a host to download, and end" },
	{ "patch-size",    "BYTES",   set_patch_size,    "of the patch that is made" },
	{ "seed",          "N",       set_seed,          "of all that is random: the same run again" },
	{ "summary",       "SECONDS", set_summary,       "sum up every so often, not a line a change" },
	{ "quiet",         nullptr,   set_quiet,         "say nothing about the air" },
	{ "log",           "FILE",    add_log,           "write each packet and change, one a line" },
	{ "seconds",       "N",       set_run_time,      "end after this time" },
	{ "help",          nullptr,   set_help,          "this text" },
	{ "version",       nullptr,   set_version,       "the version" },
};
// clang-format on

static std::string spelled(const option &row)
{
	std::string text = std::string("--") + row.name;

	return row.value ? text + " " + row.value : text;
}

static std::string apply(const option &row, options &result, std::string_view value)
{
	const std::string right = row.set(result, value);

	if (right.empty())
		return "";
	return "--" + std::string(row.name) + " cannot be '" + std::string(value) + "': it is " +
	       right;
}

/* The settings that depend on more than one option. */
static void complete(options &result)
{
	controller_settings &controller = result.session.controller;

	controller.manufacturer = result.manufacturer.value_or(controller.kind->manufacturer);
	controller.hci_version = result.hci_version.value_or(controller.kind->hci_version);
}

std::string parse_options(std::span<const char *const> arguments, options &result)
{
	for (size_t i = 0; i < arguments.size(); i++) {
		const std::string_view argument = arguments[i];
		const size_t equals = argument.find('=');
		const std::string_view name = argument.substr(0, equals);
		const auto row = std::ranges::find_if(rows, [&](const option &candidate) {
			return name == std::string("--") + candidate.name;
		});

		if (row == std::end(rows))
			return "unknown option '" + std::string(name) + "'; --help lists them";
		std::string_view value;
		if (equals != std::string_view::npos) {
			if (!row->value)
				return std::string(name) + " takes no value";
			value = argument.substr(equals + 1);
		} else if (row->value) {
			if (++i == arguments.size())
				return std::string(name) + " needs a value: " + spelled(*row);
			value = arguments[i];
		}
		const std::string problem = apply(*row, result, value);
		if (!problem.empty())
			return problem;
	}
	complete(result);
	return "";
}

std::string help_text()
{
	std::string text = "usage: vorlin-sim [OPTION]...\n"
			   "A Bluetooth LE controller behind a pseudo-terminal.\n\n";

	for (const option &row : rows) {
		std::string line = "  " + spelled(row);
		line.resize(std::max<size_t>(line.size() + 2, 24), ' ');
		text += line + row.help + "\n";
	}
	return text;
}

} // namespace sim
