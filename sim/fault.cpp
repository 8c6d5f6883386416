// SPDX-License-Identifier: Apache-2.0
/* What can go wrong on purpose: the names of the faults, and one fault as it was asked for. */
#include "sim/fault.h"

#include <algorithm>

namespace sim
{

constexpr uint32_t LONGEST_DELAY_MS = 3'600'000;

// clang-format off
enum takes : uint8_t { /* the keys of a fault beside its own and those that all have */
	TAKES_AT     = 0x01,
	TAKES_STATUS = 0x02,
	TAKES_DELAY  = 0x04,
	TAKES_COUNT  = 0x08,
	TAKES_WAY    = 0x10, /* it can strike the commands of the host as well */
};

struct fault_row {
	const char *name;
	fault_kind kind;
	uint8_t takes;
	const char *key; /* its own */
	choice value;
	uint8_t status;
	uint32_t delay_ms;
	const char *help;
};

static const fault_row rows[] = {
	/* name             kind                        takes                    own key    its value             status delay  effect */
	{ "drop",           fault_kind::drop,           TAKES_AT | TAKES_WAY,    nullptr,   {},                      0,     0, "a byte is lost" },
	{ "flip",           fault_kind::flip,           TAKES_AT | TAKES_WAY,    "mask",    { choice::fixed, 1 },    0,     0, "bits of a byte are turned" },
	{ "insert",         fault_kind::insert,         TAKES_AT | TAKES_WAY,    "byte",    { choice::random, 0 },   0,     0, "a byte comes in between" },
	{ "duplicate",      fault_kind::duplicate,      TAKES_AT | TAKES_WAY,    nullptr,   {},                      0,     0, "a byte comes twice" },
	{ "split",          fault_kind::split,          TAKES_AT | TAKES_DELAY,  nullptr,   {},                      0,    50, "a pause within the event" },
	{ "cut",            fault_kind::cut,            TAKES_AT,                nullptr,   {},                      0,     0, "the answer ends within the event" },
	{ "junk",           fault_kind::junk,           TAKES_COUNT,             "byte",    { choice::each, 0 },     0,     0, "bytes in front of the event" },
	{ "wrong-code",     fault_kind::wrong_code,     0,                       "code",    { choice::fixed, 0x0F }, 0,     0, "another event code" },
	{ "short-length",   fault_kind::short_length,   0,                       "by",      { choice::fixed, 1 },    0,     0, "the length byte is too small" },
	{ "long-length",    fault_kind::long_length,    0,                       "by",      { choice::fixed, 1 },    0,     0, "the length byte is too large" },
	{ "late",           fault_kind::late,           TAKES_DELAY,             nullptr,   {},                      0,  5500, "the answer comes late" },
	{ "silent",         fault_kind::silent,         0,                       nullptr,   {},                      0,     0, "no answer" },
	{ "refuse",         fault_kind::refuse,         TAKES_STATUS,            nullptr,   {},                   0x1F,     0, "not carried out: an error status" },
	{ "second-missing", fault_kind::second_missing, 0,                       nullptr,   {},                      0,     0, "only the first of two events" },
	{ "second-fails",   fault_kind::second_fails,   TAKES_STATUS,            nullptr,   {},                   0x1F,     0, "an error status in the second event" },
	{ "reboot",         fault_kind::reboot,         TAKES_AT | TAKES_DELAY,  nullptr,   {},                      0,     0, "starts anew within the event" },
	{ "unplug",         fault_kind::unplug,         TAKES_AT | TAKES_DELAY,  nullptr,   {},                      0,  1000, "the port goes, and comes back" },
	{ "wrong-baud",     fault_kind::wrong_baud,     0,                       "baud",    { choice::fixed, 57600 },0,     0, "the answer is sent at another rate" },
	{ "refuse-segment", fault_kind::refuse_segment, TAKES_STATUS,            "segment", { choice::fixed, 1 },  0x1F,     0, "a patch segment is refused" },
};
// clang-format on

struct assignment {
	std::string key;
	std::string_view value;
};

static std::string parse_count(uint32_t &target, std::string_view text, uint32_t most)
{
	const auto number = parse_number(text, most);

	if (!number)
		return "a number up to " + std::to_string(most);
	target = static_cast<uint32_t>(*number);
	return "";
}

static std::string parse_choice(choice &target, std::string_view text, uint32_t most)
{
	static constexpr std::pair<std::string_view, choice::kind> words[] = {
		{ "random", choice::random }, { "each", choice::each }, { "all", choice::all }
	};

	for (const auto &[word, how] : words)
		if (text == word) {
			target = { how, 0 };
			return "";
		}
	target.how = choice::fixed;
	if (!parse_count(target.value, text, most).empty())
		return "a number up to " + std::to_string(most) + ", or random, each or all";
	return "";
}

static std::string parse_opcode(fault &result, std::string_view text)
{
	const auto opcode = parse_number(text, 0xFFFF);

	if (!opcode)
		return "an opcode such as 0x2008";
	result.opcode = static_cast<uint16_t>(*opcode);
	return "";
}

static std::string parse_times(fault &result, std::string_view text)
{
	if (text == "always") {
		result.times = 0;
		return "";
	}
	if (!parse_count(result.times, text, 1'000'000).empty() || result.times == 0)
		return "a number from 1 to 1000000, or always";
	return "";
}

static std::string parse_way(fault &result, std::string_view text)
{
	if (text != "in" && text != "out")
		return "in (from the host) or out (to it)";
	result.from_host = text == "in";
	return "";
}

static std::string parse_status(fault &result, std::string_view text)
{
	uint32_t status = 0;
	std::string right = parse_count(status, text, 0xFF);

	result.status = static_cast<uint8_t>(status);
	return right;
}

static std::string parse_delay(fault &result, std::string_view text)
{
	uint32_t ms = 0;
	std::string right = parse_count(ms, text, LONGEST_DELAY_MS);

	result.delay = std::chrono::milliseconds(ms);
	return right;
}

/* A key that the fault does not know is told as one. */
static std::string set_key(fault &result, const fault_row &row, const assignment &told)
{
	const std::string &key = told.key;

	if (key == "opcode")
		return parse_opcode(result, told.value);
	if (key == "event")
		return parse_count(result.event, told.value, 9);
	if (key == "skip")
		return parse_count(result.skip, told.value, 1'000'000);
	if (key == "times")
		return parse_times(result, told.value);
	if (key == "chance")
		return parse_count(result.chance, told.value, 100);
	if (key == "at" && row.takes & TAKES_AT)
		return parse_choice(result.at, told.value, 300);
	if (key == "way" && row.takes & TAKES_WAY)
		return parse_way(result, told.value);
	if (key == "count" && row.takes & TAKES_COUNT)
		return parse_count(result.count, told.value, 10'000);
	if (key == "status" && row.takes & TAKES_STATUS)
		return parse_status(result, told.value);
	if (key == "delay" && row.takes & TAKES_DELAY)
		return parse_delay(result, told.value);
	if (row.key && key == row.key)
		return parse_choice(result.value, told.value, key == "baud" ? 4'000'000 : 0xFFFF);
	return "no key of this fault";
}

static std::string keys_of(const fault_row &row)
{
	std::string text;

	if (row.takes & TAKES_AT)
		text += " at=random";
	if (row.key)
		text += std::string(" ") + row.key + "=" +
			(row.value.how == choice::random ? "random"
			 : row.value.how == choice::each ? "each"
							 : std::to_string(row.value.value));
	if (row.takes & TAKES_STATUS)
		text += " status=0x1F";
	if (row.takes & TAKES_DELAY)
		text += " delay=" + std::to_string(row.delay_ms);
	if (row.takes & TAKES_COUNT)
		text += " count=1";
	if (row.takes & TAKES_WAY)
		text += " way=out";
	return text;
}

static fault fresh(const fault_row &row, std::string_view text)
{
	fault result;

	result.kind = row.kind;
	result.text = text;
	result.at.how = choice::random;
	result.value = row.value;
	result.status = row.status;
	result.delay = std::chrono::milliseconds(row.delay_ms);
	return result;
}

std::string parse_fault(std::string_view text, fault &result)
{
	const std::string_view name = text.substr(0, text.find(':'));
	const auto *const row = std::ranges::find(rows, name, &fault_row::name);

	if (row == std::end(rows))
		return "there is no fault '" + std::string(name) + "'; --help=faults lists them";
	result = fresh(*row, text);
	std::string_view rest = text.substr(std::min(text.size(), name.size() + 1));
	while (!rest.empty()) {
		const std::string_view pair = rest.substr(0, rest.find(','));
		const size_t equals = std::min(pair.find('='), pair.size());
		const assignment told = { std::string(pair.substr(0, equals)),
					  pair.substr(std::min(pair.size(), equals + 1)) };
		const std::string right = set_key(result, *row, told);
		if (!right.empty())
			return "fault " + std::string(name) + ": '" + std::string(pair) +
			       "' cannot be: it is " + right;
		rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
	}
	return "";
}

const char *fault_name(fault_kind kind)
{
	return std::ranges::find(rows, kind, &fault_row::kind)->name;
}

std::string fault_help()
{
	std::string text = "usage: --fault NAME[:KEY=VALUE[,KEY=VALUE]...]\n\n";

	for (const fault_row &row : rows) {
		std::string line = std::string("  ") + row.name;
		line.resize(18, ' ');
		line += row.help;
		line.resize(std::max<size_t>(line.size(), 54), ' ');
		text += line + keys_of(row) + "\n";
	}
	return text +
	       "\nfor all: opcode=0x2008 (else any), event=1 (of the answer; 0: any), skip=0,\n"
	       "times=1 (or always), chance=100 (per cent); delays are in milliseconds;\n"
	       "at, byte, mask and code can be random, or each: the next value each time;\n"
	       "split:at=all pauses before every byte\n";
}

} // namespace sim
