// SPDX-License-Identifier: Apache-2.0
/* Signals at any instant do not change what the shipped daemon does. */
#include "tests/system/line.h"
#include "tests/system/stage.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <random>
#include <unistd.h>

class Signals : public SystemTest
{
      protected:
	/* Send SIGUSR1 and SIGUSR2, up to 5,000 a second, at random instants. */
	static void storm(const program &daemon, int count)
	{
		std::minstd_rand chance(7);

		for (int i = 0; i < count; i++) {
			kill(daemon.pid, chance() % 2 ? SIGUSR1 : SIGUSR2);
			usleep(static_cast<useconds_t>(chance() % 280));
		}
	}

	/* The dump of a packet: 16 bytes a line, a space before the first and after each. */
	static std::string dumped(const std::string &packet)
	{
		constexpr size_t line = 16 * 3;
		std::string text;

		for (size_t i = 0; i < packet.size(); i += line)
			text += " " + (packet + " ").substr(i, line) + "\n";
		return text;
	}

	/* A few lines of each text from the first difference on; empty if there is none. */
	static std::string difference(const std::string &one, const std::string &other)
	{
		if (one == other)
			return "";
		const auto [at, there] =
			std::mismatch(one.begin(), one.end(), other.begin(), other.end());
		const auto from = std::max<std::ptrdiff_t>(at - one.begin() - 100, 0);
		return "\"" + one.substr(static_cast<size_t>(from), 250) + "\"\nbut not\n\"" +
		       other.substr(static_cast<size_t>(from), 250) + "\"";
	}
};

TEST_F(Signals, WithEverythingTracedHarmNeitherTheExchangesNorTheirDumps)
{
	Line line("ti-08");
	program daemon = start_daemon();

	strcpy(segment->config.mac, "NONE");
	say_and_wait(daemon, { "config", "debug-level", "ffffffff" });
	line.dialogue(); /* drops the exchanges before the dumps */
	daemon.ready = content_of(daemon.err).size();
	/* The command stays in the segment: each SIGUSR1 repeats it. */
	say_and_wait(daemon, { "config", "ble-reset", "soft" });
	do
		storm(daemon, 20000);
	while (printed(daemon).size() <
	       100000); /* a busy machine may not run many exchanges meanwhile */
	say_and_wait(daemon, { "config", "ble-reset", "hard" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(stop(daemon, SIGTERM), 0);

	const std::vector<std::string> packets = line.dialogue();
	EXPECT_GT(packets.size(), 1000U) << "exchanges ran";
	std::string expected;
	for (const std::string &packet : packets)
		expected += dumped(packet);
	EXPECT_EQ(difference(printed(daemon), expected), "");
}

/* A wait that a controller needs: its length, and the commands before and after it. */
static const struct needed_wait {
	const char *name;
	const char *controller;
	std::vector<std::string> words;
	const char *command;
	const char *next;
	int milliseconds;
} needed_waits[] = {
	{ "AfterAReset", "ti-06", { "config", "ble-reset", "soft" }, "01 1D FC", "01 30 FE", 100 },
	{ "AfterAPatch", "qualcomm", { "config", "ble-reset", "soft" }, "01 00 FC", "01 03", 1500 },
	{ "BetweenStopAndStart", "ti-06", { "ibeacon", "restart" }, "01 08 FE", "01 00 FE", 100 },
};

static void PrintTo(const needed_wait &wait, std::ostream *out)
{
	*out << wait.milliseconds << " ms on " << wait.controller;
}

class NeededWaits : public Signals, public testing::WithParamInterface<needed_wait>
{
};

TEST_P(NeededWaits, AreNotCutShortBySignals)
{
	const needed_wait &wait = GetParam();
	Line line(wait.controller);
	std::ofstream(folder + "/mpnv10.bin") << "\x02";
	const program daemon = start_daemon();

	strcpy(segment->config.mac, "NONE");
	strcpy(segment->config.beacon[2].uuid, "E2C56DB5DFFB48D2B060D0F5A71096E0");
	strcpy(segment->config.beacon[2].enable, "1");
	const size_t before = line.pauses(wait.command, wait.next).size();
	say(daemon, wait.words);
	EXPECT_TRUE(comes_true([&] {
		kill(daemon.pid, SIGUSR1);
		return line.pauses(wait.command, wait.next).size() >= before + 2;
	}));
	for (const auto pause : line.pauses(wait.command, wait.next))
		EXPECT_GE(pause.count(), wait.milliseconds);
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}

INSTANTIATE_TEST_SUITE_P(All, NeededWaits, testing::ValuesIn(needed_waits),
			 [](const auto &one) { return std::string(one.param.name); });
