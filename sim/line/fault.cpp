// SPDX-License-Identifier: Apache-2.0
/* The faults that can be set: their names and keys, and one fault with its values. */
#include "sim/line/fault.h"

#include <algorithm>

namespace sim
{

constexpr size_t LONGEST_EVENT = 258;

/* A key's value in a fault's text: one of its words, a number, or bytes. */
struct told {
	std::string_view word = {};
	uint32_t number = 0;
	bytes data = {};
};

struct key_row {
	const char *name;
	std::optional<fault_kind> only; /* empty: for all faults with this key */
	uint32_t least;
	uint32_t most; /* 0: not a number */
	std::array<const char *, 3> words;
	void (*set)(fault &, const told &);
};

struct fault_row {
	const char *name;
	fault_kind kind;
	const char *keys; /* its own keys with their defaults */
	const char *help;
};

static choice choice_of(const told &what)
{
	if (what.word == "random")
		return { choice::random, 0 };
	if (what.word == "each")
		return { choice::each, 0 };
	if (what.word == "all")
		return { choice::all, 0 };
	return { choice::fixed, what.number };
}

static void set_at(fault &f, const told &what)
{
	f.at = choice_of(what);
}

static void set_value(fault &f, const told &what)
{
	f.value = choice_of(what);
}

static void set_delay(fault &f, const told &what)
{
	f.delay = std::chrono::milliseconds(what.number);
}

static void set_count(fault &f, const told &what)
{
	f.count = what.number;
}

static void set_status(fault &f, const told &what)
{
	f.status = static_cast<uint8_t>(what.number);
}

static void set_way(fault &f, const told &what)
{
	f.from_host = what.word == "in";
}

static void set_when(fault &f, const told &what)
{
	f.when = what.word == "before"    ? place::before
		 : what.word == "between" ? place::between
					  : place::after;
}

static void set_unasked(fault &f, const told &what)
{
	f.unasked = what.data;
}

static void set_opcode(fault &f, const told &what)
{
	f.opcode.reset();
	if (what.word.empty())
		f.opcode = static_cast<uint16_t>(what.number);
}

static void set_event(fault &f, const told &what)
{
	f.event = what.number;
}

static void set_skip(fault &f, const told &what)
{
	f.skip = what.number;
}

static void set_times(fault &f, const told &what)
{
	f.times = what.number; /* 0 for the word */
}

static void set_chance(fault &f, const told &what)
{
	f.chance = what.number;
}

// clang-format off
static const key_row keys[] = {
	/* name       only of                least     most  words                              setter */
	{ "at",       fault_kind::split,         1,      300, { "random", "each", "all" },       set_at },
	{ "at",       {},                        0,      300, { "random", "each" },              set_at },
	{ "mask",     {},                        1,      255, { "random", "each" },              set_value },
	{ "byte",     {},                        0,      255, { "random", "each" },              set_value },
	{ "code",     {},                        0,      255, { "random", "each" },              set_value },
	{ "by",       {},                        1,      255, { "random", "each" },              set_value },
	{ "baud",     {},                        1, 4000000, {},                                set_value },
	{ "segment",  {},                        1,    65535, {},                                set_value },
	{ "bytes",    {},                        1,     4096, {},                                set_count },
	{ "count",    {},                        1,    10000, {},                                set_count },
	{ "status",   {},                        1,      255, {},                                set_status },
	{ "delay",    {},                        0,  3600000, {},                                set_delay },
	{ "ms",       {},                        1,  3600000, {},                                set_delay },
	{ "way",      {},                        0,        0, { "out", "in" },                   set_way },
	{ "when",     {},                        0,        0, { "before", "between", "after" },  set_when },
	{ "event",    fault_kind::unasked,       0,        0, {},                                set_unasked },
	{ "opcode",   {},                        0,   0xFFFF, { "any" },                         set_opcode },
	{ "event",    {},                        0,        9, {},                                set_event },
	{ "skip",     {},                        0,  1000000, {},                                set_skip },
	{ "times",    {},                        1,  1000000, { "always" },                      set_times },
	{ "chance",   {},                        1,      100, {},                                set_chance },
};

constexpr const char *KEYS_OF_ALL = "opcode=any,event=1,skip=0,times=1,chance=100";

static const fault_row rows[] = {
	/* name               kind                          its own keys                        effect */
	{ "drop",             fault_kind::drop,             "at=random,way=out",                "a byte is lost" },
	{ "flip",             fault_kind::flip,             "at=random,mask=1,way=out",         "bits of a byte are turned" },
	{ "insert",           fault_kind::insert,           "at=random,byte=random,way=out",    "a byte comes in between" },
	{ "duplicate",        fault_kind::duplicate,        "at=random,way=out",                "a byte comes twice" },
	{ "split",            fault_kind::split,            "at=random,delay=50",               "a pause within the event" },
	{ "cut",              fault_kind::cut,              "at=random",                        "the answer ends within the event" },
	{ "junk",             fault_kind::junk,             "byte=each,count=1",                "bytes in front of the event" },
	{ "wrong-code",       fault_kind::wrong_code,       "code=0x0F",                        "another event code" },
	{ "short-length",     fault_kind::short_length,     "by=1",                             "the length byte is too small" },
	{ "long-length",      fault_kind::long_length,      "by=1",                             "the length byte is too large" },
	{ "late",             fault_kind::late,             "delay=5500",                       "the answer comes late" },
	{ "silent",           fault_kind::silent,           "",                                 "no answer" },
	{ "refuse",           fault_kind::refuse,           "status=0x1F",                      "not carried out: an error status" },
	{ "second-missing",   fault_kind::second_missing,   "",                                 "only the first of two events" },
	{ "second-fails",     fault_kind::second_fails,     "status=0x1F",                      "an error status in the second event" },
	{ "reboot",           fault_kind::reboot,           "at=random,delay=0",                "starts anew within the event" },
	{ "unplug",           fault_kind::unplug,           "at=random,delay=1000",             "the port goes, and comes back" },
	{ "wrong-baud",       fault_kind::wrong_baud,       "baud=57600",                       "the answer is sent at another rate" },
	{ "refuse-segment",   fault_kind::refuse_segment,   "segment=1,status=0x1F",            "a patch segment is refused" },
	{ "unasked",          fault_kind::unasked,          "event=040F0400010000,when=before", "an event that nobody asked for" },
	{ "nop-at-start",     fault_kind::nop_at_start,     "",                                 "the power-up tells of a credit" },
	{ "deaf-after-reset", fault_kind::deaf_after_reset, "ms=90",                            "hears nothing after a reset" },
	{ "hardware-error",   fault_kind::hardware_error,   "code=1",                           "not carried out: wants a reset" },
	{ "write-limit",      fault_kind::write_limit,      "bytes=64",                         "a bridge cuts a long write" },
};
// clang-format on

static bool is_hex(const key_row &key)
{
	return key.most == 0 && !key.words[0];
}

static std::string words_of(const key_row &key)
{
	std::string text;

	for (size_t i = 0; i < key.words.size() && key.words[i]; i++) {
		const bool is_last = i + 1 == key.words.size() || !key.words[i + 1];
		text += i == 0 ? "" : is_last ? " or " : ", ";
		text += key.words[i];
	}
	return text;
}

/* The values of a key: "a number from 1 to 255, or random or each". */
static std::string right_value(const key_row &key)
{
	if (is_hex(key))
		return "1 to " + std::to_string(LONGEST_EVENT) + " bytes in hexadecimal";
	if (key.most == 0)
		return words_of(key);
	const std::string number =
		"a number from " + std::to_string(key.least) + " to " + std::to_string(key.most);
	return key.words[0] ? number + ", or " + words_of(key) : number;
}

/* The parsed value; nothing if the key does not accept it. */
static std::optional<told> parse_value(const key_row &key, std::string_view text)
{
	if (is_hex(key)) {
		const auto data = parse_hex(text);
		if (!data || data->empty() || data->size() > LONGEST_EVENT)
			return std::nullopt;
		return told{ .data = *data };
	}
	for (const char *word : key.words)
		if (word && text == word)
			return told{ .word = text };
	const auto number = parse_number(text, key.most);
	if (key.most == 0 || !number || *number < key.least)
		return std::nullopt;
	return told{ .number = static_cast<uint32_t>(*number) };
}

/* Takes one "key=value" from the front of a list. */
struct assignment {
	std::string_view key;
	std::string_view value;
	bool has_key;
};

static assignment take_assignment(std::string_view &list)
{
	const std::string_view pair = list.substr(0, list.find(','));
	const size_t equals = pair.find('=');

	list.remove_prefix(std::min(list.size(), pair.size() + 1));
	if (equals == std::string_view::npos)
		return { {}, pair, false };
	return { pair.substr(0, equals), pair.substr(equals + 1), true };
}

static bool has_key(std::string_view list, std::string_view key)
{
	while (!list.empty())
		if (take_assignment(list).key == key)
			return true;
	return false;
}

static const key_row *find_key(const fault_row &row, std::string_view name)
{
	if (!has_key(row.keys, name) && !has_key(KEYS_OF_ALL, name))
		return nullptr;
	for (const key_row &key : keys)
		if (name == key.name && key.only.value_or(row.kind) == row.kind)
			return &key;
	return nullptr;
}

/* Sets one key; returns the right values after a fault, or an empty text. */
static std::string set_key(fault &result, const fault_row &row, const assignment &one)
{
	std::string_view own = row.keys;
	/* "late:200": for a single key the value is enough. */
	const std::string_view only = take_assignment(own).key;
	const bool is_alone = !one.has_key && own.empty();
	const key_row *const key = find_key(row, is_alone ? only : one.key);

	if (!key)
		return "no key of this fault";
	const auto value = parse_value(*key, one.value);
	if (!value)
		return right_value(*key);
	key->set(result, *value);
	return "";
}

static fault fresh(const fault_row &row, std::string_view text)
{
	fault result;
	std::string_view rest = row.keys;

	result.kind = row.kind;
	result.text = text;
	while (!rest.empty())
		set_key(result, row, take_assignment(rest));
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
		const std::string pair(rest.substr(0, rest.find(',')));
		const std::string right = set_key(result, *row, take_assignment(rest));
		if (!right.empty())
			return "fault " + std::string(name) + ": '" + pair + "' cannot be: it is " +
			       right;
	}
	return "";
}

const char *fault_name(fault_kind kind)
{
	return std::ranges::find(rows, kind, &fault_row::kind)->name;
}

std::vector<described> all_faults()
{
	std::vector<described> all;

	for (const fault_row &row : rows)
		all.push_back({ row.name, row.keys });
	return all;
}

std::vector<described> all_fault_keys()
{
	std::vector<described> all;

	for (const key_row &key : keys)
		all.push_back({ key.name, right_value(key) });
	return all;
}

std::string fault_help()
{
	std::string text = "usage: --fault NAME[:KEY=VALUE[,KEY=VALUE]...]\n\n";

	for (const fault_row &row : rows) {
		std::string line = std::string("  ") + row.name;
		line.resize(20, ' ');
		line += row.help;
		if (*row.keys)
			line.resize(58, ' ');
		text += line + row.keys + "\n";
	}
	text += std::string("\nfor all: ") + KEYS_OF_ALL +
		"\ndelays and ms are in milliseconds; a fault with one key of its own takes the "
		"value\nalone: late:200; random is drawn, each is the next value with each "
		"strike;\nsplit:at=all pauses before every byte; event=0 is any of the answer's\n\n";
	for (const key_row &key : keys)
		text += std::string(key.name) + "= is " + right_value(key) +
			(key.only ? std::string(", of ") + fault_name(*key.only) : "") + "\n";
	return text;
}

} // namespace sim
