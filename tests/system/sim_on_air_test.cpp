// SPDX-License-Identifier: Apache-2.0
/* Several simulators on one air: tests count packets, scans hear beacons, none is lost. */
#include "tests/system/sim_program.h"

#include <algorithm>
#include <csignal>
#include <filesystem>

class SimAir : public SimProgram
{
      protected:
	/* Start a simulator with this link name on the shared air. */
	program join(const char *name, std::vector<std::string> more = {})
	{
		more.insert(more.begin(),
			    { "--link", link(name), "--air", link("air"), "--baud", "0" });
		const program sim = start_sim(more);

		EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(link(name)); }));
		return sim;
	}

	/* The list of an outside scan. */
	std::string scanned()
	{
		program scan;

		EXPECT_EQ(run_sim({ "scan", link("air") }, &scan), 0);
		return content_of(scan.out);
	}
};

TEST_F(SimAir, ATransmitterTestIsCountedByAnotherSimulator)
{
	join("one");
	join("two");
	host transmitter(link("one"));
	host receiver(link("two"));

	EXPECT_EQ(receiver.say(receiver_test, 7), std::string("\x04\x0E\x04\x01\x1D\x20\x00", 7));
	EXPECT_EQ(receiver.say(test_end, 9), std::string("\x04\x0E\x06\x01\x1F\x20\x00\x00\x00", 9))
		<< "nobody transmits";
	EXPECT_EQ(transmitter.say(transmitter_test, 7),
		  std::string("\x04\x0E\x04\x01\x1E\x20\x00", 7));
	/* A packet each 625 us, once the other simulator knows of the test. */
	EXPECT_TRUE(comes_true([&] {
		receiver.say(receiver_test, 7);
		usleep(10'000);
		const std::string answer = receiver.say(test_end, 9);
		return answer.size() == 9 && (answer[7] != 0 || answer[8] != 0);
	}));
	EXPECT_EQ(transmitter.say(test_end, 9),
		  std::string("\x04\x0E\x06\x01\x1F\x20\x00\x00\x00", 9));
}

TEST_F(SimAir, ABeaconIsListedByAnotherSimulatorAndByAScan)
{
	const std::string init = std::string("\x01\x00\xFE\x26\x01\x05", 6) + std::string(36, '\0');
	const std::string on("\x01\x06\xFE\x0A\x03\x00\x00\x00\x00\x00\x00\x00\x07\x00", 14);
	const std::string data("\x01\x07\xFE\x20\x01\x1E\x02\x01\x06\x1A\xFF\x4C\x00\x02\x15"
			       "ABCDEFGHIJKLMNOP\x00\x01\x00\x02\xC5",
			       36);
	const std::string beacon =
		"uuid 41424344-4546-4748-494A-4B4C4D4E4F50 major 1 minor 2 power "
		"-59 dBm interval 100 ms address 02:00:00:00:00:01";

	start_sim({ "--link", link("one"), "--air", link("air") });
	EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(link("one")); }));
	join("two", { "--control", folder + "/control" });
	host peer(link("one"));
	peer.say(init, 9 + 47);
	peer.say(data, 9 + 7);
	peer.say(on, 9 + 6);
	EXPECT_TRUE(comes_true([&] { return control("scan").find(beacon) != std::string::npos; }));
	program scan;
	EXPECT_EQ(run_sim({ "scan", link("air") }, &scan), 0);
	EXPECT_NE(content_of(scan.out).find(beacon), std::string::npos) << content_of(scan.out);
}

static int packets_of(const std::string &answer)
{
	EXPECT_EQ(answer.size(), 9u);
	return static_cast<uint8_t>(answer[7]) | static_cast<uint8_t>(answer[8]) << 8;
}

TEST_F(SimAir, ATransmitterTestThatEndsFirstIsCountedAllTheSame)
{
	join("one");
	join("two");
	host transmitter(link("one"));
	host receiver(link("two"));

	/* Repeated if the other simulator joined too late to hear of the end. */
	EXPECT_TRUE(comes_true([&] {
		receiver.say(receiver_test, 7);
		transmitter.say(transmitter_test, 7);
		usleep(200'000);
		transmitter.say(test_end, 9);
		usleep(50'000);
		return packets_of(receiver.say(test_end, 9)) >= 300;
	})) << "one each 625 us for 200 ms";
}

static const std::string beacon = "02 01 06 1A FF 4C 00 02 15 00 11 22 33 44 55 66 77 88 99 AA BB "
				  "CC DD EE FF 00 01 02 03 C5";

/* Puts beacon `minor` on the air, every 100 ms. */
static void advertise(host &peer, const std::string &minor)
{
	peer.ask("01 0A 20 01 00");
	peer.ask("01 08 20 20 1E " + beacon.substr(0, beacon.size() - 5) + minor + " C5 00");
	peer.ask("01 0A 20 01 01");
}

/* Starts a Qualcomm controller, with non-connectable advertising every 100 ms. */
static void prepare(host &peer)
{
	load_patch(peer);
	peer.ask("01 06 20 0F A0 00 A0 00 03 00 00 00 00 00 00 00 00 07 00");
}

static void begin_to_listen(host &peer, const std::string &drop_duplicates)
{
	peer.ask("01 01 0C 08 FF FF FF FF FF FF FF 3F");
	peer.ask("01 0B 20 07 00 10 00 10 00 00 00");
	EXPECT_EQ(peer.ask("01 0C 20 02 01 " + drop_duplicates), "04 0E 04 01 0C 20 00");
}

TEST_F(SimAir, ASecondHostHearsEachBeaconOfARotation)
{
	join("one", { "--controller", "qualcomm" });
	join("two", { "--rssi", "-71" });
	host sender(link("one"));
	host listener(link("two"));

	prepare(sender);
	begin_to_listen(listener, "00");
	std::string before;
	for (const std::string minor : { "01", "02", "03" }) {
		const std::string report = "04 3E 2A 02 01 03 00 01 00 00 00 00 02 1E " +
					   beacon.substr(0, beacon.size() - 5) + minor + " C5 B9";
		advertise(sender, minor);
		std::string heard = listener.next_event();
		while (!before.empty() && heard == before) /* still the old report */
			heard = listener.next_event();
		for (int i = 0; i < 3; i++, heard = listener.next_event())
			EXPECT_EQ(heard, report);
		before = report;
	}
	sender.ask("01 0A 20 01 00");
}

TEST_F(SimAir, AScanHearsABeaconThatWasThereBeforeItWithoutPaceToo)
{
	join("one", { "--controller", "qualcomm" });
	join("two", { "--baud", "0" });
	host sender(link("one"));
	host listener(link("two"));

	prepare(sender);
	advertise(sender, "01");
	usleep(200'000);
	begin_to_listen(listener, "00");
	EXPECT_EQ(listener.next_event().substr(0, 14), "04 3E 2A 02 01");
}

TEST_F(SimAir, ADuplicateIsToldOnce)
{
	join("one", { "--controller", "qualcomm" });
	join("two");
	host sender(link("one"));
	host listener(link("two"));

	prepare(sender);
	begin_to_listen(listener, "01");
	advertise(sender, "01");
	EXPECT_EQ(listener.next_event().substr(0, 14), "04 3E 2A 02 01");
	usleep(400'000);
	EXPECT_EQ(listener.ask("01 0C 20 02 00 00"), "04 0E 04 01 0C 20 00");
}

TEST_F(SimAir, WhoWasKilledIsNotOnTheAirAnyMore)
{
	join("one");
	const program killed = join("two", { "--controller", "qualcomm" });
	{
		host sender(link("two"));
		prepare(sender);
		advertise(sender, "01");
		EXPECT_NE(scanned().find("minor 513 "), std::string::npos);
	}
	stop(killed, SIGKILL);
	EXPECT_EQ(scanned(), "");
}

TEST_F(SimAir, TwoSandboxesHaveTwoNames)
{
	/* Separate PID namespaces, so that both simulators have the same process id. */
	const auto boxed = [&](const char *name) {
		start({ "/usr/bin/unshare", "--pid", "--fork", "--kill-child", built("vorlin-sim"),
			"--controller", "qualcomm", "--link", link(name), "--air", link("air"),
			"--baud", "0" });
		EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(link(name)); }));
	};

	program probe;
	if (run({ "/usr/bin/unshare", "--pid", "--fork", "/bin/true" }, &probe) != 0)
		GTEST_SKIP() << "no process of its own: " << content_of(probe.err);
	boxed("one");
	boxed("two");
	host first(link("one"));
	host second(link("two"));
	prepare(first);
	prepare(second);
	advertise(first, "01");
	advertise(second, "02");
	const std::string all = scanned();
	EXPECT_NE(all.find("minor 513 "), std::string::npos) << all;
	EXPECT_NE(all.find("minor 514 "), std::string::npos) << all;
}
