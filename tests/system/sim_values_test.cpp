// SPDX-License-Identifier: Apache-2.0
/*
 * Every fault and quirk of the simulator on every kind of controller, and the values that the
 * shipped daemon then prints: right or wrong as its design makes them, and why.
 */
#include "tests/system/sim_stage.h"

#include <csignal>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

/* A value that the daemon reads from a controller. */
struct readout {
	const char *opcode;
	const char *line; /* the command in the simulator's record */
	int value_at;     /* the first byte of the value in the answer */
	std::vector<std::string> words;
	const char *label;  /* printed before the value */
	const char *right;  /* null: the default of the kind */
	const char *failed; /* printed for a failure, after its reason */
};

// clang-format off
static const readout readouts[] = {
	{ "0x1009", "\"01 09 10 00\"", 7, { "show", "mac" },
	  "BLE MAC Address: ", "112233445566", "" },
	{ "0x2007", "\"01 07 20 00\"", 7, { "show", "txpower" },
	  "BLE TX Power Setting: 0x", nullptr, "" },
	{ "0x201F", "\"01 1F 20 00\"", 7, { "config", "le-test-end" },
	  "Num of packets: ", "4660",
	  "WARNING: func_le_test_end_command() failed.\nWARNING: ble_ptm_test(PTM_ACTION_END) failed.\n" },
	{ "0xFE31", "\"01 31 FE ", 9, { "show", "gap-param", "21" },
	  "GAP Param ID: 21, Value: ", "4660", "" },
};
constexpr size_t ADDRESS = 0;
constexpr size_t POWER = 1;
constexpr size_t COUNT = 2;
constexpr size_t PARAM = 3;

static const char ALL[] = "ti-06 ti-08 qualcomm";

/*
 * Values in the order of the readouts: R the right one, - no answer, !1f the error 0x1f, ~ the
 * right one with its highest bit inverted, x nothing sent and nothing printed, . not tested.
 */
struct fault_row {
	const char *fault; /* % is the position of the value */
	const char *kinds;
	const char *values;
	const char *rest; /* bytes that end the daemon's wait within an event */
	const char *next; /* the transmit power, read right after the address */
	const char *why;
};

static const fault_row fault_rows[] = {
	{ "drop:at=%", ALL, "AB1122334455 AB 43794 43794", "AB", "R",
	  "an event ends where it says: its last byte is the next one on the line" },
	{ "drop:at=300,way=in", ALL, "- . . .", "", "!12",
	  "the controller fills up the command with the next one, and answers what became of it" },
	{ "flip:at=%,mask=0x80", ALL, "1122334455E6 ~ 4788 4788", "", "R",
	  "the line has no checksum" },
	{ "flip:at=1,mask=0x80,way=in", ALL, "- - - !1", "", "R",
	  "an unknown command gets a Command Status, which does not count; TI's own get their own" },
	{ "insert:at=%,byte=0xAB", ALL, "2233445566AB AB 13483 13483", "", "R",
	  "an event ends where it says; the byte behind it begins no other and is passed over" },
	{ "duplicate:at=%", ALL, "223344556666 R 13364 13364", "", "R",
	  "as with any byte that comes in between" },
	{ "split:at=all,delay=1", ALL, "R R R R", "", "R",
	  "an event may come in pieces" },
	{ "cut:at=%", ALL, "A5A4A3A2A1A0 A0 41376 41376", "A0 A1 A2 A3 A4 A5", "R",
	  "the rest of an event is whatever comes next" },
	{ "junk:byte=0xAB,count=300", ALL, "R R R R", "", "R",
	  "bytes that begin no event are passed over" },
	{ "junk:byte=4", ALL, "- - - -", "", "R",
	  "taken for the beginning, it makes an unknown event of the right one" },
	{ "wrong-code", ALL, "- - - -", "", "R",
	  "only the two events that answer commands count" },
	{ "short-length", ALL, "002233445566 0 52 52", "", "R",
	  "what an event does not have is 0" },
	{ "long-length", ALL, "R R R R", "AB", "R",
	  "the byte too many stands behind the value" },
	{ "late", ALL, "- . . .", "", "66",
	  "answers are not matched with commands: the next takes the late one for its own" },
	{ "silent", ALL, "- . . .", "", "R",
	  "after five seconds without a byte" },
	{ "refuse", ALL, "!1f !1f !1f !1f", "", "R",
	  "the status is passed on" },
	{ "second-missing:opcode=any", ALL, "R R R R", "", "R",
	  "values come in one event" },
	{ "second-fails:opcode=any", ALL, "R R R R", "", "R",
	  "values come in one event" },
	{ "reboot:at=%", "ti-06 ti-08", "A5A4A3A2A1A0 A0 41376 41376", "A0 A1 A2 A3 A4 A5", "0",
	  "as an event that is cut; what was set is forgotten, and nobody knows" },
	{ "reboot:at=%", "qualcomm", "A5A4A3A2A1A0 A0 41376", "A0 A1 A2 A3 A4 A5", "!c",
	  "as an event that is cut; without its patch the controller refuses" },
	{ "unplug:at=%,delay=0", ALL, "- - - -", "", "WARNING: failed to write HCI command !!\n",
	  "the port is gone until somebody says that it came back" },
	{ "wrong-baud", ALL, "- - - -", "", "R",
	  "what is left of the event at half of the rate begins none" },
	{ "refuse-segment:opcode=any", ALL, "R R R R", "", "R",
	  "only the segments of a patch" },
	{ "unasked", ALL, "- - - -", "", "66",
	  "an event that answers nothing ends the wait, and the answer is the next command's" },
	{ "unasked:event=040E0401091000", ALL, "000000000000 0 0 0", "", "66",
	  "any event that may be an answer is the answer, and what it does not have is 0" },
	{ "unasked:when=after", ALL, "R R R R", "", "-",
	  "the event is the next command's" },
	{ "nop-at-start:opcode=any", ALL, "R R R R", "", "R",
	  "only at a power-up" },
	{ "deaf-after-reset:opcode=any", ALL, "R R R R", "", "R",
	  "only after a reset" },
	{ "hardware-error", ALL, "- - - -", "", "-",
	  "the event answers nothing, and the controller does nothing before a reset" },
	{ "write-limit", ALL, "R R R R", "", "R",
	  "no command of these is as long" },
};

/* Wrong from the start: the daemon's status, its values, and the result of a beacon start. */
struct start_row {
	const char *option;
	const char *kinds;
	const char *status; /* after the daemon's start */
	const char *values;
	const char *beacon; /* the status after a beacon start, and whether it is on the air */
	const char *why;
};

static const start_row start_rows[] = {
	{ "--quirk=credit-0", ALL, "2", "R R R R", "3 on",
	  "one command is on its way at a time, whatever the controller allows" },
	{ "--quirk=first-unanswered", ALL, "1", "x x x x", "1 off",
	  "without an answer to the first question there is no controller until an event or a reset" },
	{ "--quirk=late-reset", "ti-06", "2", "R R R R", "3 on",
	  "what stops the beacons afterwards takes two events: the late one, and then its own" },
	{ "--quirk=late-reset", "ti-08", "2", "R R R R", "3 on",
	  "nothing resets this one at a start" },
	{ "--quirk=late-reset", "qualcomm", "2", "000000000000 0 0", "3 on",
	  "each answer is the next command's, and what it does not have is 0" },
	{ "--quirk=swallow", ALL, "1", "x x x x", "1 off",
	  "as when the first command is not answered" },
	{ "--quirk=long-discoverable", ALL, "2", "R R R R", "3 on",
	  "an event is read to the end that it tells itself" },
	{ "--quirk=enable-twice-refused", ALL, "2", "R R R R", "3 on",
	  "nothing is enabled twice" },
	{ "--quirk=segment-event", "ti-06 ti-08", "2", "R R R R", "3 on",
	  "no patch, no segment" },
	{ "--quirk=segment-event", "qualcomm", "2", "000000000000 66 0", "3 on",
	  "the event is the next command's, and each answer the one behind its own" },
	{ "--quirk=lone-status", ALL, "2", "R R R R", "3 on",
	  "nothing is refused" },
	{ "--quirk=stray-bytes-ignored", ALL, "2", "R R R R", "3 on",
	  "every byte is of a command" },
	{ "--fault=second-missing", "ti-06 ti-08", "2", "R R R R", "1 off",
	  "half of an answer does not start a beacon" },
	{ "--fault=second-missing", "qualcomm", "2", "R R R R", "3 on",
	  "every answer is one event" },
	{ "--fault=second-fails", "ti-06 ti-08", "2", "R R R R", "1 off",
	  "the second event decides" },
	{ "--fault=second-fails", "qualcomm", "2", "R R R R", "3 on",
	  "every answer is one event" },
	{ "--fault=refuse-segment", "ti-06 ti-08", "2", "R R R R", "3 on",
	  "no patch, no segment" },
	{ "--fault=refuse-segment", "qualcomm", "1", "x x x x", "1 off",
	  "without its patch it is no controller" },
	{ "--fault=nop-at-start", ALL, "1", "x x x x", "1 off",
	  "taken for the first answer, it has no version in it" },
	{ "--fault=deaf-after-reset", ALL, "2", "R R R R", "3 on",
	  "the daemon is quiet for as long after a reset" },
	{ "--fault=write-limit", "ti-06 ti-08", "2", "R R R R", "3 on",
	  "no command is as long" },
	{ "--fault=write-limit", "qualcomm", "1", "x x x x", "1 off",
	  "segments are longer, and what a bridge left out is missing in the patch" },
};
// clang-format on

static std::vector<std::string> words_of(const std::string &text)
{
	std::istringstream in(text);

	return { std::istream_iterator<std::string>(in), {} };
}

class SimValues : public SimulatorTest, public testing::WithParamInterface<const char *>
{
      protected:
	/* Start both programs, with a patch file if the controller needs one. */
	void start(const std::string &option)
	{
		program maker;

		ASSERT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin",
				"--patch-size", "400" },
			      &maker),
			  0);
		start_both(kind(), { "--address", "11:22:33:44:55:66", "--receiver-count", "4660",
				     "--log", folder + "/log", "--quiet", option });
		set_values();
	}

	/* A daemon within an event handles nothing else. */
	void end()
	{
		stop(daemon, SIGKILL);
		stop(simulator, SIGTERM);
	}

	static std::string kind()
	{
		return GetParam();
	}

	static bool has(size_t i)
	{
		return i != PARAM || kind() != "qualcomm";
	}

	/* Values that differ from all others. */
	void set_values()
	{
		if (has(PARAM))
			ask({ "config", "gap-param", "21", "4660" });
		if (kind() == "ti-06") /* its default, 4, is also an event's first byte */
			ask({ "config", "txpower-index", "0" });
	}

	static std::string right_value(const readout &what)
	{
		if (what.right)
			return what.right;
		return kind() == "ti-06" ? "E9" : kind() == "ti-08" ? "5" : "0";
	}

	/* The printed text as a sign of the tables, or itself if there is none. */
	static std::string value_of(const readout &what, const std::string &printed)
	{
		const std::string failed = what.failed;
		const std::string error = failed + "WARNING: HCI run failed (error code: 0x";
		std::string value;

		if (printed.empty())
			return "x";
		if (printed == no_answer + failed)
			return "-";
		if (printed.starts_with(what.label) && printed.ends_with("\n"))
			value = printed.substr(strlen(what.label));
		else if (printed.starts_with(error) && printed.ends_with(")\n"))
			value = "!" + printed.substr(error.size());
		else
			return printed;
		value.erase(value.find_last_not_of(")\n") + 1);
		return value == right_value(what) ? "R" : value;
	}

	/* A value of the tables, for this kind of controller. */
	static std::string expected(const readout &what, const std::string &value)
	{
		const std::string right = right_value(what);
		char turned[16];

		if (value != "~")
			return value == right ? "R" : value;
		snprintf(turned, sizeof(turned), "%X", std::stoi(right, nullptr, 16) ^ 0x80);
		return turned;
	}

	size_t on_the_line(const readout &what) const
	{
		const std::string log = content_of(folder + "/log");
		size_t count = 0;

		for (const std::string &line : lines_of(log))
			if (line.find("\"what\":\"command\"") != std::string::npos &&
			    line.find(what.line) != std::string::npos)
				count++;
		return count;
	}

	/* The printed value may come from an older event; the command must be on the line too. */
	void expect_on_the_line(const readout &what, size_t count)
	{
		EXPECT_TRUE(comes_true([&] { return on_the_line(what) >= count; }));
		EXPECT_EQ(on_the_line(what), count) << "commands on the line";
	}

	/* Read a value; `rest` ends the wait if the fault leaves the daemon within an event. */
	std::string read_out(const readout &what, const std::string &rest = "")
	{
		printed_now();
		say(daemon, what.words);
		if (!rest.empty()) {
			EXPECT_TRUE(comes_true([&] {
				return control("faults").find("(struck 0)") == std::string::npos;
			}));
			EXPECT_EQ(segment->cmd_doing, 1U) << "it waits for the rest";
			control("send " + rest);
		}
		if (!comes_true([&] { return segment->cmd_doing == 0; }))
			throw std::runtime_error("the daemon hangs");
		return value_of(what, printed_now());
	}

	void hold(const fault_row &row, size_t i, const std::string &value)
	{
		const readout &what = readouts[i];
		std::string fault = row.fault;

		if (const size_t at = fault.find('%'); at != std::string::npos)
			fault.replace(at, 1, std::to_string(what.value_at));
		if (fault.find("opcode=") == std::string::npos)
			fault += std::string(fault.find(':') == std::string::npos ? ":" : ",") +
				 "opcode=" + what.opcode;
		SCOPED_TRACE(fault + ": " + row.why);
		if (i == COUNT)
			ask({ "config", "le-receiver-test", "3" });
		control("fault " + fault);
		const size_t before = on_the_line(what);
		EXPECT_EQ(read_out(what, row.rest), expected(what, value));
		expect_on_the_line(what, before + 1);
		if (i == ADDRESS) {
			EXPECT_EQ(read_out(readouts[POWER]), expected(readouts[POWER], row.next))
				<< "the next value";
		}
		control("clear");
		if (std::string(row.next) != "R") {
			end();
			return start("--seed=1");
		}
		if (i == COUNT)
			ask(what.words); /* a test whose end failed still runs */
		EXPECT_EQ(read_out(readouts[ADDRESS]), "R") << "nothing is left on the line";
	}
};

INSTANTIATE_TEST_SUITE_P(Controllers, SimValues, testing::Values("ti-06", "ti-08", "qualcomm"),
			 [](const auto &kind) {
				 std::string name = kind.param;
				 std::erase(name, '-');
				 return name;
			 });

TEST_P(SimValues, WithEachFaultAreAsTheTableSays)
{
	start("--seed=1");
	for (const fault_row &row : fault_rows) {
		const std::vector<std::string> values = words_of(row.values);
		if (std::string(row.kinds).find(kind()) == std::string::npos)
			continue;
		for (size_t i = 0; i < std::size(readouts); i++)
			if (has(i) && values[i] != ".")
				hold(row, i, values[i]);
	}
}

TEST_P(SimValues, WithEachQuirkAndFaultOfAStartAreAsTheTableSays)
{
	for (const start_row &row : start_rows) {
		if (std::string(row.kinds).find(kind()) == std::string::npos)
			continue;
		SCOPED_TRACE(std::string(row.option) + ": " + row.why);
		start(row.option);
		EXPECT_EQ(std::to_string(segment->config.opt.status), row.status);
		const std::vector<std::string> values = words_of(row.values);
		for (size_t i = 0; i < std::size(readouts); i++) {
			if (!has(i))
				continue;
			if (i == COUNT)
				ask({ "config", "le-receiver-test", "3" });
			const size_t before = on_the_line(readouts[i]);
			EXPECT_EQ(read_out(readouts[i]), expected(readouts[i], values[i]));
			expect_on_the_line(readouts[i], before + (values[i] == "x" ? 0 : 1));
		}
		load_beacon(0, "00112233445566778899AABBCCDDEEFF", "7");
		ask({ "ibeacon", "start" });
		EXPECT_EQ(std::to_string(segment->config.opt.status) +
				  (control("air").find("minor 7") == std::string::npos ? " off"
										       : " on"),
			  row.beacon);
		end();
	}
}

/* The names in the left column of a help text. */
static std::set<std::string> names_of(const std::string &help)
{
	std::set<std::string> names;

	for (const std::string &line : lines_of(help))
		if (line.starts_with("  "))
			names.insert(words_of(line)[0]);
	return names;
}

class SimNames : public SimulatorTest
{
};

TEST_F(SimNames, EveryFaultAndQuirkIsInATable)
{
	std::set<std::string> faults;
	std::set<std::string> quirks;
	program help;

	for (const fault_row &row : fault_rows)
		faults.insert(std::string(row.fault).substr(0, std::string(row.fault).find(':')));
	for (const start_row &row : start_rows)
		if (std::string(row.option).starts_with("--quirk="))
			quirks.insert(row.option + strlen("--quirk="));
	ASSERT_EQ(run({ built("vorlin-sim"), "--help=faults" }, &help), 0);
	EXPECT_EQ(names_of(content_of(help.out)), faults);
	ASSERT_EQ(run({ built("vorlin-sim"), "--help=quirks" }, &help), 0);
	EXPECT_EQ(names_of(content_of(help.out)), quirks);
}
