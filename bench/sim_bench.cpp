// SPDX-License-Identifier: Apache-2.0
/* How many commands a second the simulator answers, and its memory. */
#include "sim/line/line.h"
#include "sim/output/timeline.h"
#include "sim/program/session.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <string>
#include <thread>
#include <unistd.h>

static const sim::bytes version = { 0x01, 0x01, 0x10, 0x00 };

/* The command that a rotation repeats, with other advertising data each time. */
static sim::bytes advertising_data(uint8_t minor)
{
	sim::bytes command = { 0x01, 0x07, 0xFE, 0x20, 0x01, 0x1E };

	command.resize(36, minor);
	return command;
}

static sim::session_settings unpaced()
{
	sim::session_settings settings;

	settings.baud = 0;
	return settings;
}

/* KiB of the process in memory. */
static double resident()
{
	std::ifstream status("/proc/self/statm");
	double pages = 0;

	status >> pages >> pages;
	return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

static void read_version(benchmark::State &state)
{
	sim::session session(unpaced(), [](const sim::record &) {});
	size_t answered = 0;

	for (auto _ : state) {
		session.receive(version, {});
		answered += session.advance({}).size();
	}
	if (answered != 15 * static_cast<size_t>(state.iterations()))
		state.SkipWithError("not every command was answered");
	state.SetItemsProcessed(state.iterations());
}
BENCHMARK(read_version);

/* Every command changes the air, and the timeline records it. */
static void rotate_beacons(benchmark::State &state)
{
	sim::timeline times;
	sim::session session(unpaced(), [&](const sim::record &what) {
		if (what.what == sim::happened::air)
			times.change(what.air, what.at);
	});
	sim::bytes init = { 0x01, 0x00, 0xFE, 0x26, 0x01, 0x05 };
	const sim::bytes on = { 0x01, 0x06, 0xFE, 0x0A, 3, 0, 0, 0, 0, 0, 0, 0, 7, 0 };
	uint8_t minor = 0;
	int64_t now = 0;

	init.resize(42);
	for (const sim::bytes &command : { init, on })
		session.receive(command, {});
	session.advance({});
	for (auto _ : state) {
		session.receive(advertising_data(minor++ % 3), sim::moment(++now));
		benchmark::DoNotOptimize(session.advance(sim::moment(now)));
	}
	state.SetItemsProcessed(state.iterations());
}
BENCHMARK(rotate_beacons);

/* How much the process's memory grows in a million commands. */
static void hold_memory(benchmark::State &state)
{
	for (auto _ : state) {
		sim::session session(unpaced(), [](const sim::record &) {});
		const auto ask = [&] {
			session.receive(version, {});
			benchmark::DoNotOptimize(session.advance({}));
		};
		for (int i = 0; i < 1000; i++)
			ask();
		const double before = resident();
		for (int i = 0; i < 1'000'000; i++)
			ask();
		state.counters["more_KiB"] = resident() - before;
	}
}
BENCHMARK(hold_memory)->Iterations(1)->Repetitions(2)->Unit(benchmark::kMillisecond);

/*
 * Through a pty and back, for a host that has several commands under way at once. With one it
 * mostly measures how the system wakes up the two ends.
 */
static void through_the_pty(benchmark::State &state)
{
	const auto window = static_cast<size_t>(state.range(0));
	sim::line line;
	sim::bytes commands;
	sim::bytes answers(15 * window);

	if (!line.open("").empty()) {
		state.SkipWithError("no pty");
		return;
	}
	for (size_t i = 0; i < window; i++)
		sim::append(commands, version);
	const int host = open(line.port().c_str(), O_RDWR | O_NOCTTY);
	std::jthread controller([&](const std::stop_token &stop) {
		sim::session session(unpaced(), [](const sim::record &) {});
		pollfd watched = { line.descriptor(), POLLIN, 0 };
		while (!stop.stop_requested()) {
			if (poll(&watched, 1, 10) <= 0)
				continue;
			session.receive(line.read(4096), {});
			sim::bytes answer = session.advance({});
			line.write(answer);
		}
	});

	for (auto _ : state) {
		size_t count = 0;
		if (write(host, commands.data(), commands.size()) !=
		    static_cast<ssize_t>(commands.size()))
			state.SkipWithError("the line is closed");
		while (count < answers.size()) {
			const ssize_t got = read(host, answers.data(), answers.size() - count);
			if (got <= 0)
				break;
			count += static_cast<size_t>(got);
		}
	}
	state.SetItemsProcessed(state.iterations() * state.range(0));
	controller.request_stop();
	controller.join();
	close(host);
}
BENCHMARK(through_the_pty)->Arg(1)->Arg(16)->UseRealTime();

BENCHMARK_MAIN();
