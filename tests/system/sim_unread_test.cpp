// SPDX-License-Identifier: Apache-2.0
/*
 * A host that never reads: the simulator does not grow, can still be ended, and answers again
 * when the host reads.
 */
#include "tests/system/sim_program.h"

#include <csignal>
#include <filesystem>

constexpr size_t VERSION_ANSWER = 15; /* bytes */

/* Bytes: far more than line, pty and controller hold together; and an upper bound of that. */
constexpr size_t ENDLESS = size_t{ 8 } << 20;
constexpr size_t LINE_HOLDS = size_t{ 64 } << 10;
#ifdef VORLIND_SANITIZED /* sanitizers keep freed memory */
constexpr size_t GROWTH_KIB = 65536;
#else
constexpr size_t GROWTH_KIB = 1024;
#endif

static size_t resident_kib(pid_t pid)
{
	const std::string status = content_of("/proc/" + std::to_string(pid) + "/status");
	const size_t at = status.find("VmRSS:");

	return at == std::string::npos ? 0 : std::stoul(status.substr(at + 6));
}

class SimUnread : public SimProgram
{
      protected:
	program join(const char *name, std::vector<std::string> more = {})
	{
		more.insert(more.begin(), { "--link", link(name), "--baud", "0", "--quiet" });
		const program sim = start_sim(more);

		EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(link(name)); }));
		return sim;
	}

	/* Open a port for reads and writes that do not wait. */
	int open_port(const char *name) const
	{
		const int port = open(link(name).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);

		EXPECT_GE(port, 0);
		return port;
	}

	/* Send version commands until no more are taken; return how many bytes were taken. */
	static size_t feed(int port)
	{
		std::string commands;
		size_t taken = 0;
		pollfd room = { port, POLLOUT, 0 };

		for (int i = 0; i < 256; i++)
			commands += version;
		while (taken < ENDLESS && poll(&room, 1, 500) == 1) {
			/* Continue in the command that the last write cut. */
			const size_t from = taken % version.size();
			const ssize_t count =
				write(port, commands.data() + from, commands.size() - from);
			taken += count > 0 ? static_cast<size_t>(count) : 0;
		}
		return taken;
	}

	/* Send the rest of the last command. */
	static void end_cut_command(int port, size_t taken)
	{
		const std::string rest = version.substr(taken % version.size());

		EXPECT_EQ(write(port, rest.data(), rest.size()), static_cast<ssize_t>(rest.size()));
	}

	/* Read `length` bytes, or fewer if no more come. */
	static std::string read_all(int port, size_t length)
	{
		std::string all;
		pollfd ready = { port, POLLIN, 0 };

		while (all.size() < length && poll(&ready, 1, PATIENCE_MS) == 1) {
			char data[4096];
			const ssize_t count = read(port, data, sizeof(data));
			if (count <= 0)
				break;
			all.append(data, static_cast<size_t>(count));
		}
		return all;
	}
};

TEST_F(SimUnread, WhatAHostSendsWaitsUntilItReads)
{
	const program sim = join("tty");
	const int port = open_port("tty");
	const std::string answer = host::from_hex("04 0E 0C 01 01 10 00 08 10 00 08 0D 00 10 01");
	const size_t before = resident_kib(sim.pid);
	const size_t taken = feed(port);

	EXPECT_LT(taken, LINE_HOLDS);
	EXPECT_LE(resident_kib(sim.pid), before + GROWTH_KIB);

	/* Every command is answered, the cut one last. */
	const size_t commands = taken / version.size();
	const std::string answers = read_all(port, commands * answer.size());
	EXPECT_EQ(count_of(answers, answer), commands);
	end_cut_command(port, taken);
	EXPECT_EQ(read_all(port, answer.size()), answer);
	close(port);
	EXPECT_EQ(stop(sim, SIGTERM), 0);
}

TEST_F(SimUnread, AHostThatDoesNotReadKeepsNobodyFromEndingIt)
{
	const program sim = join("tty", { "--control", folder + "/control" });
	const int port = open_port("tty");

	EXPECT_LT(feed(port), LINE_HOLDS);
	EXPECT_EQ(control("air"), "off\n");
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	EXPECT_FALSE(std::filesystem::exists(link("tty")));
	close(port);
}

/* One host reads 300 reports; none of them is kept for another host that does not read. */
TEST_F(SimUnread, WhatIsHeardIsLost)
{
	std::vector<program> all;

	for (const char *name : { "deaf", "reader", "one", "two" })
		all.push_back(join(name, { "--air", link("air"), "--controller", "qualcomm" }));
	host deaf(link("deaf"));
	host reader(link("reader"));
	host one(link("one"));
	host two(link("two"));

	for (host *peer : { &deaf, &reader, &one, &two })
		load_patch(*peer);
	for (host *listener : { &deaf, &reader }) {
		listener->ask("01 01 0C 08 FF FF FF FF FF FF FF 3F");
		listener->ask("01 0B 20 07 00 10 00 10 00 00 00");
		EXPECT_EQ(listener->ask("01 0C 20 02 01 00"), "04 0E 04 01 0C 20 00");
	}
	const int port = open_port("deaf");
	const size_t taken = feed(port);
	for (host *sender : { &one, &two }) {
		sender->ask("01 06 20 0F 20 00 20 00 00 00 00 00 00 00 00 00 00 07 00");
		EXPECT_EQ(sender->ask("01 0A 20 01 01"), "04 0E 04 01 0A 20 00");
	}
	for (int i = 0; i < 300; i++)
		EXPECT_EQ(reader.next_event().substr(0, 5), "04 3E");
	for (host *sender : { &one, &two })
		EXPECT_EQ(sender->ask("01 0A 20 01 00"), "04 0E 04 01 0A 20 00");

	const size_t answers = taken / version.size() * VERSION_ANSWER;
	const std::string kept = read_all(port, answers);
	EXPECT_EQ(kept.size(), answers);
	EXPECT_EQ(count_of(kept, "\x04\x3E"), 0u);
	end_cut_command(port, taken);
	EXPECT_EQ(read_all(port, VERSION_ANSWER).substr(0, 2), "\x04\x0E") << "the next answer";
	close(port);
	for (const program &sim : all)
		EXPECT_EQ(stop(sim, SIGTERM), 0);
}
