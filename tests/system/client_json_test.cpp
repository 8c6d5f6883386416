// SPDX-License-Identifier: Apache-2.0
/* The JSON of vorlinctl, read by an independent parser and schema checker. */
#include "tests/system/client_stage.h"

#include <csignal>
#include <cstring>

class ClientJson : public ClientTest
{
      protected:
	/* Whether the text is one JSON object that the schema allows, with the reason if not. */
	testing::AssertionResult fits(const std::string &text)
	{
		static const char checker[] =
			"import json, sys, jsonschema\n"
			"schema = json.load(open(sys.argv[1]))\n"
			"jsonschema.Draft202012Validator.check_schema(schema)\n"
			"jsonschema.Draft202012Validator(schema).validate("
			"json.load(open(sys.argv[2])))\n";
		program python;

		write_file("object", text);
		if (run({ "/usr/bin/env", "python3", "-c", checker,
			  source("docs/vorlinctl.schema.json"), folder + "/object" },
			&python) == 0)
			return testing::AssertionSuccess();
		return testing::AssertionFailure() << text << content_of(python.err);
	}

	/* One member of an object, as Python prints it. */
	std::string member(const std::string &text, const std::string &expression)
	{
		program python;

		write_file("object", text);
		EXPECT_EQ(run({ "/usr/bin/env", "python3", "-c",
				"import json, sys\no = json.load(open(sys.argv[1]))\nprint((" +
					expression + "))",
				folder + "/object" },
			      &python),
			  0)
			<< text << content_of(python.err);
		return content_of(python.out);
	}

	void SetUp() override
	{
		program python;

		ClientTest::SetUp();
		if (run({ "/usr/bin/env", "python3", "-c",
			  "import jsonschema; "
			  "jsonschema.Draft202012Validator" },
			&python) != 0)
			GTEST_SKIP() << "there is no python3 with jsonschema here";
	}
};

TEST_F(ClientJson, TheStatusOfEachControllerFitsTheSchema)
{
	for (const char *controller : { "ti-06", "ti-08", "qualcomm" }) {
		SCOPED_TRACE(controller);
		const program daemon = start_with(controller);
		done({ "beacon", "2", "--uuid", an_uuid, "--major", "258", "--power", "-60",
		       "on" });
		done({ "start" });
		const std::string text = done({ "status", "--json" });
		EXPECT_TRUE(fits(text));
		EXPECT_EQ(member(text, "o['controller']['kind']"), std::string(controller) + "\n");
		EXPECT_EQ(member(text, "o['pid']"), std::to_string(daemon.pid) + "\n");
		EXPECT_EQ(member(text, "o['status']['name'], o['action']['name']"),
			  "('advertising', 'start')\n");
		EXPECT_EQ(member(text, "[o['beacons'][1][k] for k in "
				       "('active', 'uuid', 'major', 'minor', 'power')]"),
			  std::string("[True, '") + an_uuid + "', 258, 0, -60]\n");
		EXPECT_EQ(stop(daemon, SIGTERM), 0);
		EXPECT_EQ(stop(simulator, SIGTERM), 0);
	}
}

TEST_F(ClientJson, NoControllerAndNoDaemonFitTheSchema)
{
	const answer none = ctl({ "status", "--json" });
	EXPECT_EQ(none.status, 2);
	EXPECT_EQ(none.err, "");
	EXPECT_TRUE(fits(none.out));
	EXPECT_EQ(member(none.out, "o['running']"), "False\n");

	start_daemon();
	const std::string text = done({ "status", "--json" });
	EXPECT_TRUE(fits(text));
	EXPECT_EQ(member(text, "o['controller'], o['status']['code']"), "(None, 0)\n");
}

TEST_F(ClientJson, ReadOutsFitTheSchema)
{
	start_with("ti-08");
	const std::string mac = done({ "show", "mac", "--json" });
	EXPECT_TRUE(fits(mac));
	EXPECT_EQ("BLE MAC Address: " + member(mac, "o['value']"), done({ "show", "mac" }));
	done({ "config", "gap-param", "20", "4660" });
	const std::string gap = done({ "show", "gap-param", "20", "--json" });
	EXPECT_TRUE(fits(gap));
	EXPECT_EQ(member(gap, "o['id'], o['value']"), "(20, 4660)\n");
	EXPECT_TRUE(fits(done({ "show", "txpower", "--json" })));
	EXPECT_TRUE(fits(done({ "--json", "show", "version" })));
	done({ "test", "rx", "1" });
	const std::string end = done({ "test", "end", "--json" });
	EXPECT_TRUE(fits(end));
	EXPECT_EQ(member(end, "type(o['value']).__name__"), "int\n");
}

TEST_F(ClientJson, EveryCommandEndsWithAnObject)
{
	start_with("ti-08");
	write_file("plan", "set interval 200\nbeacon 1 --major 7\n");
	const std::string plan = folder + "/plan";
	const struct {
		std::vector<std::string> words;
		int status;
		const char *object;
	} rows[] = {
		{ { "start" },
		  0,
		  "start 0 ['no beacon is on, so nothing goes on the air: try beacon 1 "
		  "--uuid random on'] None" },
		{ { "stop" }, 0, "stop 0 [] None" },
		{ { "restart", "now" },
		  1,
		  "restart 1 ['restart: \"now\" is too much: it takes no arguments (vorlinctl help "
		  "restart)'] None" },
		{ { "set", "interval", "120" }, 0, "set 0 [] None" },
		{ { "config", "interval", "120" }, 0, "config 0 [] None" },
		{ { "config", "gap-param", "6", "1" },
		  4,
		  "config 4 ['the controller refused: 0x12 Wrong Role or Mode, or Invalid Parameter'] "
		  "None" },
		{ { "wait" }, 0, "wait 0 [] None" },
		{ { "reset", "soft" }, 0, "reset 0 [] None" },
		{ { "trace", "off" }, 0, "trace 0 [] None" },
		{ { "raw", "show", "version" },
		  0,
		  "raw 0 [] ['BLE configuration utility: 0.3.0']" },
		{ { "apply", "--dry-run", plan },
		  0,
		  "apply 0 [] ['interval: 120 -> 200', 'beacon 1 major: 0 -> 7', 'then the controller "
		  "would be set up anew (soft reset)']" },
		{ { "apply", plan }, 0, "apply 0 [] None" },
		{ { "test", "rx", "1" }, 0, "test 0 [] None" },
		{ { "dance" },
		  1,
		  "dance 1 ['there is no command \"dance\" (vorlinctl --help)'] None" },
		{ {}, 1, " 1 ['what shall be done? (vorlinctl --help)'] None" },
		{ { "--version" }, 0, " 0 [] ['vorlinctl 0.3.0']" },
	};
	for (const auto &row : rows) {
		std::vector<std::string> words = row.words;
		words.insert(words.begin(), "--json");
		const answer a = ctl(words);
		EXPECT_EQ(a.status, row.status) << a.out;
		EXPECT_TRUE(fits(a.out));
		EXPECT_EQ(member(a.out, "' '.join(str(o.get(k)) for k in ('command', "
					"'exit_status', 'messages', 'output'))"),
			  std::string(row.object) + "\n");
	}
	const std::string saved = done({ "save", "--json" });
	EXPECT_TRUE(fits(saved));
	EXPECT_EQ(member(saved, "'\\n'.join(o['output'])"), done({ "save" }));
	EXPECT_TRUE(fits(done({ "help", "--json" })));
	const std::string beacon = done({ "beacon", "1", "--major", "8", "--json" });
	EXPECT_TRUE(fits(beacon));
	EXPECT_EQ(member(beacon, "o['major']"), "8\n");
}

TEST_F(ClientJson, FailuresAreObjectsToo)
{
	const std::vector<std::vector<std::string>> rows = {
		{ "start" },
		{ "beacon", "list" },
		{ "save" },
		{ "show", "mac" },
		{ "wait" },
		{ "test", "end" },
		{ "test", "rx", "1", "--seconds", "1" },
	};
	for (std::vector<std::string> words : rows) {
		SCOPED_TRACE(words[0]);
		words.insert(words.begin(), { "--json", "--timeout", "1" });
		const answer a = ctl(words);
		EXPECT_EQ(a.status, 2);
		EXPECT_TRUE(fits(a.out));
		EXPECT_EQ(member(a.out, "o['exit_status']"), "2\n");
	}
}

TEST_F(ClientJson, WhatMayNotBeLookedAtIsNeitherRunningNorNot)
{
	program other;
	if (run({ "/usr/bin/setpriv", "--reuid=65534", "--clear-groups", built("vorlinctl"),
		  "--version" },
		&other) != 0)
		GTEST_SKIP() << "cannot become another user here: " << content_of(other.err);
	start_with("ti-08");
	EXPECT_EQ(run({ "/usr/bin/setpriv", "--reuid=65534", "--clear-groups", built("vorlinctl"),
			"--json", "status" },
		      &other),
		  2);
	EXPECT_TRUE(fits(content_of(other.out)));
	EXPECT_EQ(member(content_of(other.out), "o['running']"), "None\n");
}

TEST_F(ClientJson, TimedTestsAndSweepsFitTheSchema)
{
	start_with("ti-08", { "--receiver-count", "1500" });
	const std::string passed =
		done({ "--json", "test", "rx", "19", "--seconds", "1", "--min", "1" });
	EXPECT_TRUE(fits(passed));
	EXPECT_EQ(member(passed, "o['command'], o['channel'], o['seconds'], o['packets'], "
				 "o['min'], o['passed'], o['interrupted']"),
		  "('test rx', 19, 1, 1500, 1, True, False)\n");
	const answer failed = ctl({ "--json", "test", "sweep", "--channels", "1,2", "--seconds",
				    "1", "--min", "65535" });
	EXPECT_EQ(failed.status, 7);
	EXPECT_TRUE(fits(failed.out));
	EXPECT_EQ(member(failed.out, "o['passed'], [(c['channel'], c['passed']) for c in "
				     "o['channels']]"),
		  "(False, [(1, False), (2, False)])\n");
	const std::string free = done({ "--json", "test", "tx", "1", "37", "0", "--seconds", "1" });
	EXPECT_TRUE(fits(free));
	EXPECT_EQ(member(free, "o['packets'], o['min'], o['passed']"), "(0, None, None)\n");
}

TEST_F(ClientJson, BeaconsFitTheSchemaWhateverTheirFieldsHold)
{
	start_with("ti-08");
	EXPECT_TRUE(fits(done({ "beacon", "list", "--json" })));
	EXPECT_TRUE(fits(done({ "beacon", "show", "5", "--json" })));
	/* A faulty client: fields without a NUL, bytes that are no text. */
	for (size_t i = 0; i < sizeof(beacon_entry); i++)
		reinterpret_cast<char *>(&segment->config.beacon[3])[i] =
			static_cast<char>(i * 37 + 0x80);
	memset(segment->config.interval, '"', sizeof(segment->config.interval));
	segment->config.opt.action = 4000000000U;
	EXPECT_TRUE(fits(done({ "status", "--json" })));
	EXPECT_TRUE(fits(done({ "beacon", "list", "--json" })));
	EXPECT_TRUE(fits(done({ "beacon", "show", "4", "--json" })));
	segment->config.opt.action = ACTION_NONE;
}

TEST_F(ClientJson, AWatchedStatusIsOneObjectALine)
{
	const program daemon = start_with("ti-08");
	const program watching = start({ built("vorlinctl"), "status", "--watch", "--json" });

	EXPECT_TRUE(comes_true([&] { return contains(content_of(watching.out), "\n"); }));
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_EQ(wait_for_end(watching), 2);
	std::istringstream lines(content_of(watching.out));
	int count = 0;
	for (std::string line; std::getline(lines, line); count++)
		EXPECT_TRUE(fits(line));
	EXPECT_GE(count, 2) << "running, and then not";
}

TEST_F(ClientJson, TheSchemaRefusesWhatIsNotWritten)
{
	EXPECT_FALSE(fits("{\"command\": \"status\", \"running\": false}"));
	EXPECT_FALSE(fits("{\"command\": \"show mac\", \"value\": 5}"));
	EXPECT_FALSE(fits("{\"command\": \"show mac\", \"value\": null, \"more\": 1}"));
	EXPECT_FALSE(fits("{\"command\": \"beacon list\", \"beacons\": []}"));
	EXPECT_FALSE(fits("{\"command\": \"show mac\", \"value\": }"));
	EXPECT_FALSE(fits("{\"command\": \"start\", \"exit_status\": 8, \"messages\": []}"));
	EXPECT_FALSE(fits("{\"command\": \"start\", \"exit_status\": 0}"));
	start_with("ti-08");
	std::string text = done({ "beacon", "show", "1", "--json" });
	EXPECT_TRUE(fits(text));
	EXPECT_FALSE(fits(text.replace(text.find("\"minor\""), 7, "\"minus\"")));
}

TEST_F(ClientJson, TheCheckFitsTheSchemaWhateverItFinds)
{
	const answer none = ctl({ "--json", "check" });
	EXPECT_EQ(none.status, 2);
	EXPECT_TRUE(fits(none.out));
	const program daemon = start_with("ti-08");
	const answer idle = ctl({ "--json", "check" });
	EXPECT_EQ(idle.status, 4);
	EXPECT_TRUE(fits(idle.out));
	EXPECT_EQ(member(idle.out, "o['pid'], o['takes_commands'], o['holder']['name'], "
				   "o['line'], o['beacons']"),
		  "(" + std::to_string(daemon.pid) + ", True, 'vorlind', '/dev/ttyMSM1', 0)\n");
	EXPECT_EQ(kill(daemon.pid, SIGSTOP), 0);
	const answer stopped = ctl({ "--json", "check" });
	EXPECT_EQ(stopped.status, 5);
	EXPECT_TRUE(fits(stopped.out));
	EXPECT_EQ(member(stopped.out, "o['hangs']"), "True\n");
	EXPECT_EQ(kill(daemon.pid, SIGCONT), 0);
}
