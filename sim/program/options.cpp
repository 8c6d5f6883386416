// SPDX-License-Identifier: Apache-2.0
/* The table of options: the value, the setter and the help text of each. */
#include "sim/program/options.h"

#include <algorithm>
#include <charconv>

namespace sim
{

constexpr size_t LARGEST_PATCH = size_t{ 1024 } * 1024;
constexpr uint64_t LONGEST_SECONDS = uint64_t{ 366 } * 86400;

struct quirk_row {
	const char *name;
	quirk bit;
	const char *help;
};

// clang-format off
static const quirk_row quirks[] = {
	{ "credit-0",              QUIRK_CREDIT_0,          "Command Complete leaves no credit" },
	{ "first-unanswered",      QUIRK_FIRST_UNANSWERED,  "the first command after power-up is lost" },
	{ "late-reset",            QUIRK_LATE_RESET,        "a reset is answered after 5.5 s" },
	{ "swallow",               QUIRK_SWALLOW,           "the first 8 bytes after power-up are lost" },
	{ "long-discoverable",     QUIRK_LONG_DISCOVERABLE, "the interval follows make discoverable" },
	{ "enable-twice-refused",  QUIRK_ENABLE_TWICE,      "enabling twice is the wrong state" },
	{ "segment-event",         QUIRK_SEGMENT_EVENT,     "a vendor event beside a segment's answer" },
	{ "lone-status",           QUIRK_LONE_STATUS,       "a refusal is a Command Complete with nothing more" },
	{ "stray-bytes-ignored",   QUIRK_STRAY_IGNORED,     "a byte that begins no packet is passed over" },
};
// clang-format on

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

/* A time above zero: zero would have another meaning, or none. */
template <moment options::*period> static std::string set_period(options &o, std::string_view value)
{
	const std::string right = set_time(o.*period, value, 1);

	return right.empty() && (o.*period).count() > 0 ? "" : "a time above 0, such as 2.5";
}

static std::string set_text(std::string &target, std::string_view text)
{
	if (text.empty())
		return "a name";
	target = text;
	return "";
}

template <std::string options::*text>
static std::string set_text(options &o, std::string_view value)
{
	return set_text(o.*text, value);
}

static std::string set_controller(options &o, std::string_view value)
{
	const auto *const kind = std::ranges::find(controller_kinds, value, &controller_kind::name);

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
	return set_number(o.session.seed, value, 0, UINT64_MAX);
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

static std::string set_baud(options &o, std::string_view value)
{
	return set_number(o.session.baud, value, 0, 4'000'000);
}

static std::string set_buffer(options &o, std::string_view value)
{
	return set_number(o.session.buffer_size, value, 1, 1'000'000);
}

/* "MS" for all commands or "OPCODE=MS" for one. */
static std::string set_latency(options &o, std::string_view value)
{
	const size_t equals = value.find('=');

	if (equals == std::string_view::npos)
		return set_time(o.session.latency, value, 0.001);
	const auto opcode = parse_number(value.substr(0, equals), 0xFFFF);
	if (!opcode)
		return "milliseconds, or such as 0xFC1D=20";
	return set_time(o.session.latency_of[static_cast<uint16_t>(*opcode)],
			value.substr(equals + 1), 0.001);
}

static std::string set_receiver_count(options &o, std::string_view value)
{
	return set_number(o.session.controller.receiver_count, value, 0, 0xFFFF);
}

static std::string add_fault(options &o, std::string_view value)
{
	fault ignored;
	std::string problem = parse_fault(value, ignored);

	if (problem.empty())
		o.session.faults.emplace_back(value);
	return problem;
}

static std::string add_quirk(options &o, std::string_view value)
{
	const auto *const row = std::ranges::find(quirks, value, &quirk_row::name);

	if (row == std::end(quirks))
		return "one that --help=quirks lists";
	o.session.controller.quirks |= row->bit;
	return "";
}

static std::string set_rssi(options &o, std::string_view value)
{
	const bool is_negative = value.starts_with('-');
	const auto number = parse_number(value.substr(is_negative ? 1 : 0), is_negative ? 127 : 20);

	if (!number)
		return "a number from -127 to 20";
	o.rssi = static_cast<int8_t>(is_negative ? -static_cast<int>(*number)
						 : static_cast<int>(*number));
	return "";
}

static std::string set_capture_most(options &o, std::string_view value)
{
	return set_number(o.capture_most, value, 1024, uint64_t{ 1 } << 40);
}

static std::string set_quiet(options &o, std::string_view)
{
	o.shown = view::quiet;
	return "";
}

static std::string set_json(options &o, std::string_view)
{
	o.shown = view::json;
	return "";
}

static std::string set_live(options &o, std::string_view)
{
	o.shown = view::live;
	return "";
}

/* "100x30": for a program that shows the picture on a terminal. */
static std::string set_live_size(options &o, std::string_view value)
{
	const size_t cross = std::min(value.find('x'), value.size());
	const auto columns = parse_number(value.substr(0, cross), 1000);
	const auto lines = parse_number(value.substr(std::min(cross + 1, value.size())), 1000);

	if (!columns || !lines || *columns < 20 || *lines < 5)
		return "COLUMNSxLINES, from 20x5 to 1000x1000";
	o.shown = view::live;
	o.live_size = { static_cast<size_t>(*columns), static_cast<size_t>(*lines) };
	return "";
}

static std::string set_selftest(options &o, std::string_view)
{
	o.what = verb::selftest;
	return "";
}

static std::string set_help(options &o, std::string_view value)
{
	if (!value.empty() && value != "faults" && value != "quirks")
		return "--help, --help=faults or --help=quirks";
	o.what = value == "faults"   ? verb::help_faults
		 : value == "quirks" ? verb::help_quirks
				     : verb::help;
	return "";
}

static std::string set_version(options &o, std::string_view)
{
	o.what = verb::version;
	return "";
}

// clang-format off
static const option rows[] = {
	/* name              value       setter                                   help */
	{ "controller",      "KIND",     set_controller,                         "ti-06, ti-08 (usual) or qualcomm" },
	{ "manufacturer",    "N",        set_manufacturer,                       "another maker and version" },
	{ "hci-version",     "N",        set_hci_version,                        nullptr },
	{ "quirk",           "NAME",     add_quirk,                              "what some firmware does: --help=quirks" },
	{ "link",            "PATH",     set_text<&options::link>,               "the host's port, such as /dev/ttyMSM1" },
	{ "address",         "ADDRESS",  set_address,                            "the device's own address" },
	{ "receiver-count",  "N",        set_receiver_count,                     "what a receiver test hears" },
	{ "baud",            "N",        set_baud,                               "pace of the line (115200; 0: none)" },
	{ "buffer",          "BYTES",    set_buffer,                             "for what comes too early (1024)" },
	{ "latency",         "[OP=]MS",  set_latency,                            "time to an answer, of all or one" },
	{ "fault",           "FAULT",    add_fault,                              "something goes wrong: --help=faults" },
	{ "script",          "FILE",     set_text<&options::script>,             "control commands, each at its time" },
	{ "control",         "SOCKET",   set_text<&options::control>,            "be told: vorlin-sim control SOCKET help" },
	{ "air",             "SOCKET",   set_text<&options::air>,                "share the air: vorlin-sim scan SOCKET" },
	{ "rssi",            "DBM",      set_rssi,                               nullptr },
	{ "patch-out",       "FILE",     set_text<&options::patch_out>,          "keep the patch; check all of it" },
	{ "strict-patch",    nullptr,    set_strict_patch,                       nullptr },
	{ "make-patch",      "FILE",     set_made_patch,                         "make a patch, and end" },
	{ "patch-size",      "BYTES",    set_patch_size,                         nullptr },
	{ "capture",         "FILE",     set_text<&options::capture>,            "record the line in btsnoop" },
	{ "capture-max",     "BYTES",    set_capture_most,                       nullptr },
	{ "log",             "FILE",     add_log,                                "all that happens, as JSON" },
	{ "json",            nullptr,    set_json,                               nullptr },
	{ "live",            nullptr,    set_live,                               "what is shown; usual: changes" },
	{ "summary",         "SECONDS",  set_period<&options::summary_every>,    nullptr },
	{ "quiet",           nullptr,    set_quiet,                              nullptr },
	{ "live-size",       "CxL",      set_live_size,                          "live as on a terminal of this size" },
	{ "report",          "FILE",     set_text<&options::report>,             "draw the timeline as SVG at the end" },
	{ "seconds",         "N",        set_period<&options::run_time>,         "when to end; for chance" },
	{ "seed",            "N",        set_seed,                               nullptr },
	{ "selftest",        nullptr,    set_selftest,                           "check itself, and end" },
	{ "help",            nullptr,    set_help,                               "this text, as by -h" },
	{ "version",         nullptr,    set_version,                            nullptr },
};
// clang-format on

std::span<const option> option_table()
{
	return rows;
}

std::string set_option(const option &row, options &result, std::string_view value)
{
	std::string right = row.set(result, value);

	if (right.empty())
		return "";
	if (row.set == add_fault) /* its text is complete */
		return right;
	return "--" + std::string(row.name) + " cannot be '" + std::string(value) + "': it is " +
	       right;
}

std::string quirk_help()
{
	std::string text = "usage: --quirk NAME\n\n";

	for (const quirk_row &row : quirks) {
		std::string line = std::string("  ") + row.name;
		line.resize(26, ' ');
		text += line + row.help + "\n";
	}
	return text;
}

} // namespace sim
