// SPDX-License-Identifier: Apache-2.0
/* Signals at any instant: what the shipped daemon does goes on as if none had come. */
#include "tests/system/line.h"
#include "tests/system/stage.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <random>
#include <unistd.h>

class Signals : public SystemTest
{
      protected:
	/* SIGUSR1 and SIGUSR2, up to 5,000 a second, at instants that nobody has chosen. */
	static void storm(const program &daemon, int count)
	{
		std::minstd_rand chance(7);

		for (int i = 0; i < count; i++) {
			kill(daemon.pid, chance() % 2 ? SIGUSR1 : SIGUSR2);
			usleep(static_cast<useconds_t>(chance() % 280));
		}
	}

	/* A packet as it is dumped: 16 bytes a line, a blank before the first and behind each. */
	static std::string dumped(const std::string &packet)
	{
		constexpr size_t line = 16 * 3;
		std::string text;

		for (size_t i = 0; i < packet.size(); i += line)
			text += " " + (packet + " ").substr(i, line) + "\n";
		return text;
	}

	/* The two texts from where they part, a few lines of each; empty when they are the same. */
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
	line.dialogue(); /* what came before has no dumps */
	daemon.ready = content_of(daemon.err).size();
	/* It stays in the segment: each SIGUSR1 asks for it once more. */
	say_and_wait(daemon, { "config", "ble-reset", "soft" });
	storm(daemon, 20000);
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
