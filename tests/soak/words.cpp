// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/words.h"

#include "tests/soak/process.h"

#include <cstring>
#include <sstream>

const char beacons_file[] = "soak.beacons";
const char beacons_text[] = "beacon 1 --uuid random --major 1 --minor 2 on\n"
			    "beacon 2 --uuid 01234567-89ab-cdef-0123-456789abcdef on\n"
			    "set interval 120 power-index max\n"
			    "start\n";

static std::string number(chance &dice, uint64_t least, uint64_t most)
{
	return std::to_string(dice.between(least, most));
}

static std::string hex(chance &dice, size_t count)
{
	return dice.digits("0123456789ABCDEF", count);
}

static std::string uuid(chance &dice)
{
	return dice.one_in(4) ? "random" : dice.one_in(8) ? "NONE" : hex(dice, 32);
}

static std::string power(chance &dice)
{
	return std::to_string(static_cast<int>(dice.between(0, 383)) - 128);
}

/* Short intervals: a command may have to wait for a dwell. */
static std::string milliseconds(chance &dice)
{
	return number(dice, 100, 250);
}

static std::string index(chance &dice)
{
	return dice.one_in(4) ? "max" : number(dice, 0, 13);
}

static std::string junk(chance &dice)
{
	static const std::vector<std::string> words = {
		"%s%n%s", "-1", "0x10", "99999999999999999999", "", "start", "\xff\xfe", "max",
	};

	return dice.one_in(2) ? dice.of(words)
			      : dice.digits("abcXYZ019-_.:% \t", dice.between(1, 63));
}

/* Traces only in a sandbox with its own console, not on the machine's real one. */
static std::string mask(chance &dice)
{
	const std::string bits = hex(dice, dice.between(1, 8));

	return is_private() ? "0x" + bits : "0";
}

struct token {
	const char *name;
	std::string (*make)(chance &dice);
};

// clang-format off
static const token tokens[] = {
	{ "{n}",       [](chance &dice) { return number(dice, 1, 5); } },
	{ "{u16}",     [](chance &dice) { return number(dice, 0, 65535); } },
	{ "{id}",      [](chance &dice) { return number(dice, 0, 103); } },
	{ "{channel}", [](chance &dice) { return number(dice, 0, 41); } },
	{ "{length}",  [](chance &dice) { return number(dice, 0, 38); } },
	{ "{pattern}", [](chance &dice) { return number(dice, 0, 8); } },
	{ "{address}", [](chance &dice) { return hex(dice, 12); } },
	{ "{prefix}",  [](chance &dice) { return hex(dice, 18); } },
	{ "{onoff}",   [](chance &dice) { return std::string(dice.one_in(3) ? "off" : "on"); } },
	{ "{ms}",      milliseconds },
	{ "{uuid}",    uuid },
	{ "{power}",   power },
	{ "{index}",   index },
	{ "{mask}",    mask },
	{ "{junk}",    junk },
};

static const std::vector<std::string> client_lines = {
	"beacon {n} --uuid {uuid} --major {u16} --minor {u16} --power {power} {onoff}",
	"beacon {n} --uuid {uuid} --prefix {prefix} on",
	"beacon {n} {onoff}",
	"beacon clear {n}",
	"beacon clear all",
	"beacon list --payload",
	"beacon show {n}",
	"--json beacon list",
	"start",
	"stop",
	"restart",
	"status --payload",
	"--json status",
	"wait --status advertising",
	"wait",
	"show version",
	"show mac",
	"--json show txpower",
	"show gap-param {id}",
	"set interval {ms}",
	"set power {power}",
	"set power-index {index} interval {ms}",
	"set mac {address}",
	"set mac NONE",
	"config interval {u16}",
	"config mac {address}",
	"config mac by-mrd",
	"config txpower-index {index}",
	"config gap-param {id} {u16}",
	"reset hard",
	"reset soft",
	"apply soak.beacons",
	"apply --dry-run soak.beacons",
	"save",
	"test rx {channel}",
	"test tx {channel} {length} {pattern}",
	"test end",
	"--json test end",
	"trace {mask}",
	"trace off",
	"raw {junk} {junk} {junk}",
	"raw hcicmd {junk}",
	"raw eddystone start",
	"{junk} {junk}",
	"help {junk}",
	"--version",
};

static const std::vector<std::string> daemon_lines = {
	"show version",
	"show mac",
	"show txpower",
	"show gap-param {id}",
	"show gap-param {u16}",
	"show {junk}",
	"show",
	"config interval {u16}",
	"config mac {address}",
	"config mac by-mrd",
	"config mac {junk}",
	"config txpower-index {index}",
	"config txpower-index {junk}",
	"config gap-param {u16} {u16}",
	"config debug-level {mask}",
	"config ble-reset hard",
	"config ble-reset soft",
	"config ble-reset {junk}",
	"config le-receiver-test {channel}",
	"config le-transmitter-test {channel} {length} {pattern}",
	"config le-test-end",
	"config {junk} {junk} {junk} {junk}",
	"ibeacon start",
	"ibeacon restart",
	"ibeacon stop",
	"ibeacon {junk}",
	"hcicmd {junk}",
	"eddystone start",
	"{junk} {junk}",
};

/* Whole events, those that the daemon takes for an answer included, and bytes that are none. */
static std::string event(chance &dice)
{
	static const std::vector<std::string> events = {
		"040F0400010000", "04100101",         "040E0301FFFF",      "040E0401010000",
		"04FF03040600",   "04FF067F06000000FE", "04FF067F060031FE00", "043E020A00",
	};

	return dice.one_in(3) ? hex(dice, 2 * dice.between(1, 20)) : dice.of(events);
}

static std::string moment(chance &dice)
{
	static const std::vector<std::string> moments = { "before", "between", "after" };

	return dice.of(moments);
}

struct fault_row {
	const char *name;
	const char *keys; /* that only this fault has */
};

static const std::vector<fault_row> faults = {
	{ "drop",           "at=random" },
	{ "drop",           "at=random,way=in" },
	{ "flip",           "at=random,mask=random" },
	{ "flip",           "at=random,mask=random,way=in" },
	{ "insert",         "at=random" },
	{ "insert",         "at=random,way=in" },
	{ "duplicate",      "at=random" },
	{ "duplicate",      "at=random,way=in" },
	{ "split",          "at=random,delay={short}" },
	{ "split",          "at=all,delay=1" },
	{ "cut",            "at=random" },
	{ "junk",           "byte=random,count={few}" },
	{ "wrong-code",     "code=random" },
	{ "short-length",   "by={few}" },
	{ "long-length",    "by={few}" },
	{ "late",           "delay={long}" },
	{ "silent",         nullptr },
	{ "refuse",         "status={status}" },
	{ "second-missing", "opcode=0xFE00" },
	{ "second-missing", nullptr },
	{ "second-fails",   "status={status}" },
	{ "reboot",         "at=random,delay={short}" },
	{ "unplug",         "at=random,delay={long}" },
	{ "wrong-baud",     "baud=57600" },
	{ "wrong-baud",     "baud=9600" },
	{ "refuse-segment", "segment={few},status={status}" },
	{ "unasked",        "event={event},when={when}" },
	{ "nop-at-start",   nullptr },
	{ "deaf-after-reset", "ms={long}" },
	{ "hardware-error", "code={few}" },
	{ "write-limit",    "bytes={few}" },
	{ "write-limit",    "bytes=32" },
};

static const token fault_tokens[] = {
	{ "{few}",    [](chance &dice) { return number(dice, 1, 5); } },
	{ "{short}",  [](chance &dice) { return number(dice, 0, 30); } },
	{ "{long}",   [](chance &dice) { return number(dice, 1, 400); } },
	{ "{status}", [](chance &dice) { return number(dice, 1, 0x3F); } },
	{ "{event}",  event },
	{ "{when}",   moment },
};
// clang-format on

template <size_t N> static std::string expand(std::string text, const token (&all)[N], chance &dice)
{
	for (const token &one : all)
		for (size_t at; (at = text.find(one.name)) != std::string::npos;)
			text.replace(at, strlen(one.name), one.make(dice));
	return text;
}

/* Replaces word by word: a replacement may have spaces. */
template <size_t N>
static std::vector<std::string> words_of(const std::string &line, const token (&all)[N],
					 chance &dice)
{
	std::istringstream stream(line);
	std::vector<std::string> words;

	for (std::string word; stream >> word;)
		words.push_back(expand(word, all, dice));
	return words;
}

std::vector<std::string> client_words(chance &dice)
{
	return words_of(dice.of(client_lines), tokens, dice);
}

std::vector<std::string> daemon_words(chance &dice)
{
	return words_of(dice.of(daemon_lines), tokens, dice);
}

std::string fault_text(chance &dice, std::string *name)
{
	static const std::vector<std::string> times = { "1", "1", "1", "2", "5", "always" };
	const fault_row &row = dice.of(faults);
	std::string keys = row.keys ? std::string(row.keys) + "," : "";

	keys += "times=" + dice.of(times);
	if (dice.one_in(3))
		keys += ",chance=" + number(dice, 20, 90);
	if (dice.one_in(3))
		keys += ",skip=" + number(dice, 1, 4);
	*name = row.name;
	return *name + ":" + expand(keys, fault_tokens, dice);
}
