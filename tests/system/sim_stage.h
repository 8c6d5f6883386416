// SPDX-License-Identifier: Apache-2.0
/* Shared by the tests of the simulator: its control socket, and the daemon that uses it. */
#pragma once

#include "tests/system/stage.h"

#include <cstring>
#include <filesystem>
#include <sstream>

static const char simulated_address[] = "BLE MAC Address: 020000000001\n";
static const char no_answer[] = "WARNING: failed to read HCI response.\n";

inline bool is_installed(const std::string &name)
{
	return std::filesystem::exists("/usr/bin/" + name);
}

inline size_t count_of(const std::string &text, const std::string &part)
{
	size_t count = 0;

	for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
		count++;
	return count;
}

inline std::vector<std::string> lines_of(const std::string &text)
{
	std::istringstream stream(text);
	std::vector<std::string> lines;

	for (std::string line; std::getline(stream, line);)
		lines.push_back(line);
	return lines;
}

class SimulatorTest : public SystemTest
{
      protected:
	/* Send a command to the running simulator; returns its reply. */
	std::string control(const std::string &command)
	{
		program client;
		const int status = run(
			{ built("vorlin-sim"), "control", folder + "/control", command }, &client);

		EXPECT_EQ(status, 0) << command << ": " << content_of(client.err);
		return content_of(client.out);
	}

	/* Start simulator and daemon; `more` are further options of the simulator. */
	void start_both(const std::string &controller, std::vector<std::string> more = {})
	{
		const std::vector<std::string> always = { "--baud", "0", "--control",
							  folder + "/control" };

		more.insert(more.begin(), always.begin(), always.end());
		simulator = start_simulator(controller, more);
		daemon = start_daemon();
		read_up_to = daemon.ready;
	}

	/* What the daemon has printed since the last call. */
	std::string printed_now()
	{
		const std::string all = content_of(daemon.err);
		const std::string fresh = all.substr(read_up_to);

		read_up_to = all.size();
		return fresh;
	}

	/* Give the daemon a command and wait; returns what it prints. */
	std::string ask(const std::vector<std::string> &words)
	{
		printed_now();
		say_and_wait(daemon, words);
		return printed_now();
	}

	/* Rotate two loaded beacons, run both production tests, end both programs. */
	void rotate_test_and_end()
	{
		ask({ "ibeacon", "start" });
		EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
		EXPECT_TRUE(comes_true(
			[&] { return control("air").find("minor 2 ") != std::string::npos; }));
		ask({ "ibeacon", "stop" });
		ask({ "config", "le-receiver-test", "5" });
		ask({ "config", "le-test-end" });
		ask({ "config", "le-transmitter-test", "0", "37", "0" });
		ask({ "config", "le-test-end" });
		EXPECT_EQ(stop(daemon, SIGTERM), 0);
		EXPECT_EQ(stop(simulator, SIGTERM), 0);
	}

	/* Set a fault and ask the daemon for the address; returns what it prints. */
	std::string address_with(const std::string &fault)
	{
		control("fault " + fault);
		return ask({ "show", "mac" });
	}

	/* Check that the daemon has a controller, and that an exchange with it works. */
	void expect_health(const char *after)
	{
		EXPECT_EQ(control("faults").find("(struck 0)"), std::string::npos)
			<< after << " has not struck";
		control("clear");
		EXPECT_EQ(ask({ "show", "mac" }), simulated_address) << "after " << after;
		EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE) << "after " << after;
	}

	/* Make the daemon reopen the line: bytes still on the way are dropped. */
	void reset_link()
	{
		ask({ "config", "ble-reset", "hard" });
	}

	void load_beacon(size_t index, const std::string &uuid, const std::string &minor_number)
	{
		beacon_entry &entry = segment->config.beacon[index];

		strcpy(entry.uuid, uuid.c_str());
		strcpy(entry.major, "1");
		strcpy(entry.minor, minor_number.c_str());
		strcpy(entry.enable, "1");
	}

	program simulator;
	program daemon;
	size_t read_up_to = 0;
};
