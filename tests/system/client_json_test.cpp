// SPDX-License-Identifier: Apache-2.0
/* What vorlinctl writes for programs, read by a parser and a schema checker of others. */
#include "tests/system/client_stage.h"

#include <csignal>
#include <cstring>

class ClientJson : public ClientTest
{
      protected:
	/* Whether the text is one JSON object that the schema allows; what is wrong goes along. */
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

TEST_F(ClientJson, BeaconsFitTheSchemaWhateverTheirFieldsHold)
{
	start_with("ti-08");
	EXPECT_TRUE(fits(done({ "beacon", "list", "--json" })));
	EXPECT_TRUE(fits(done({ "beacon", "show", "5", "--json" })));
	/* A client that misbehaves: no ends, no text. */
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
	start_with("ti-08");
	std::string text = done({ "beacon", "show", "1", "--json" });
	EXPECT_TRUE(fits(text));
	EXPECT_FALSE(fits(text.replace(text.find("\"minor\""), 7, "\"minus\"")));
}
