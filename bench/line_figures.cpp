// SPDX-License-Identifier: Apache-2.0
/* Figures that have the line as their limit: starts, the patch, the rotation, the response. */
#include "bench/access_point.h"
#include "bench/line_record.h"
#include "bench/system_figures.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

constexpr double MS = 1e6; /* nanoseconds */
constexpr size_t PATCH_SIZE = 128 * 1024;
constexpr int64_t PATCH_SETTLES = 1'500'000'000;

struct start_row {
	const char *controller;
	int64_t sleeps;      /* fixed ones of the bring-up, nanoseconds */
	uint16_t first;      /* command of a start of the beacons */
	uint16_t advertises; /* command that puts the first on the air: the last parameter is 1 */
};

// clang-format off
static const start_row start_rows[] = {
	/*              sleeps         first   advertises */
	{ "ti-06",      100'000'000,   0xFE00, 0xFE06 },
	{ "ti-08",      0,             0xFE00, 0xFE06 },
	{ "qualcomm",   PATCH_SETTLES, 0x200A, 0x200A },
};
// clang-format on

/* The times of one start, in milliseconds, and the least that each could take. */
struct start_times {
	double segment, identified, loop, advertising;
	double on_the_line, patch; /* from the first byte */
	double least_identified, least_loop, least_advertising, least_patch;
	double patch_rate; /* bytes of the patch a second, without the wait behind it */
};

static size_t find_command(const std::vector<line_packet> &packets, uint16_t opcode, size_t from)
{
	for (size_t i = from; i < packets.size(); i++)
		if (packets[i].is_command(opcode))
			return i;
	throw std::runtime_error("a command is missing in the record of the line");
}

static double least(const std::vector<line_packet> &packets, size_t count, int64_t sleeps)
{
	return static_cast<double>(wire_time(bytes_of(packets, 0, count)) + sleeps) / MS;
}

static size_t find_advertising(const std::vector<line_packet> &packets, const start_row &row,
			       size_t from)
{
	size_t at = find_command(packets, row.advertises, from);

	/* Where switching on and off is one command, the first of a start is off. */
	if (row.advertises == row.first)
		at = find_command(packets, row.advertises, at + 1);
	return at;
}

static void fill_patch_times(const std::vector<line_packet> &packets, start_times &times)
{
	const size_t first = find_command(packets, 0xFC00, 0);
	const size_t reset = find_command(packets, 0x0C03, first);
	const auto took = static_cast<double>(begin_of(packets[reset]) - begin_of(packets[first]));
	const int64_t wire = wire_time(bytes_of(packets, first, reset));

	times.patch = took / MS;
	times.least_patch = static_cast<double>(wire + PATCH_SETTLES) / MS;
	times.patch_rate = static_cast<double>(PATCH_SIZE) / ((took - double(PATCH_SETTLES)) / 1e9);
}

static start_times start_once(const bench_settings &settings, const start_row &row)
{
	access_point point(settings.build);
	start_times times = {};
	const bool has_patch = row.sleeps == PATCH_SETTLES;

	if (has_patch &&
	    system((point.program("vorlin-sim") + " --patch-size " + std::to_string(PATCH_SIZE) +
		    " --make-patch " + point.file("mpnv10.bin"))
			   .c_str()) != 0)
		throw std::runtime_error("no patch file");
	point.start_simulator(row.controller, { "--capture", point.file("line") });
	const int64_t begin = point.start_daemon();
	const int64_t segment = point.wait_for_segment();
	const int64_t identified = wait_until(
		[&] { return point.segment().config.opt.status == BLE_STATUS_AVAILABLE; },
		"the controller");
	const int64_t loop = point.wait_for_loop();
	point.load_beacons(1, "100");
	point.say_and_wait({ "ibeacon", "start" });
	point.stop_daemon();
	point.stop_simulator();

	const std::vector<line_packet> packets = read_line_record(point.file("line"));
	const size_t first_of_start = find_command(packets, row.first, 0);
	const size_t on_air = find_advertising(packets, row, first_of_start);
	times.segment = static_cast<double>(segment - begin) / MS;
	times.identified = static_cast<double>(identified - begin) / MS;
	times.loop = static_cast<double>(loop - begin) / MS;
	times.advertising = static_cast<double>(packets[on_air].at - begin) / MS;
	times.on_the_line = static_cast<double>(loop - begin_of(packets[0])) / MS;
	times.least_identified = least(packets, 2, 0);
	times.least_loop = least(packets, first_of_start, row.sleeps);
	times.least_advertising = least(packets, on_air + 1, row.sleeps);
	if (has_patch)
		fill_patch_times(packets, times);
	return times;
}

static figure start_figure(const start_row &row, const char *what, double limit, double allowed)
{
	return { .name = std::string(row.controller) + ", " + what,
		 .unit = "ms",
		 .samples = {},
		 .limit = limit,
		 .allowed = limit * allowed };
}

static void measure_start(const bench_settings &settings, const start_row &row, int runs,
			  figure_list &figures)
{
	std::vector<start_times> all;

	for (int i = 0; i < runs; i++)
		all.push_back(start_once(settings, row));
	const start_times &one = all.front();
	figure segment = start_figure(row, "start to segment (process, pidof)", 0, 0);
	figure identified = start_figure(row, "start to status 2", one.least_identified, 1.05);
	figure loop = start_figure(row, "start to ready for commands", one.least_loop, 1.05);
	figure air = start_figure(row, "start to first advertisement", one.least_advertising, 1.05);
	figure line = start_figure(row, "first byte to ready for commands", one.least_loop, 1.05);
	figure patch = start_figure(row, "patch of 128 KiB", one.least_patch, 1.02);
	figure rate = { .name = "qualcomm, patch bytes a second",
			.unit = "B/s",
			.samples = {},
			.limit = 11520.0 * 243 / 257 };
	for (const start_times &times : all) {
		segment.samples.push_back(times.segment);
		identified.samples.push_back(times.identified);
		loop.samples.push_back(times.loop);
		air.samples.push_back(times.advertising);
		line.samples.push_back(times.on_the_line);
		patch.samples.push_back(times.patch);
		rate.samples.push_back(times.patch_rate);
	}
	for (const figure *each : { &segment, &identified, &loop, &air, &line })
		add(figures, *each);
	if (one.patch > 0)
		for (const figure *each : { &patch, &rate })
			add(figures, *each);
}

/* What the check for another instance takes by itself: a shell and a look at every process. */
static void measure_pidof(int runs, figure_list &figures)
{
	figure alone = { .name = "popen(\"pidof vorlind\") alone", .unit = "ms", .samples = {} };

	for (int i = 0; i < runs; i++) {
		const int64_t begin = wall_clock();
		FILE *const pipe = popen("pidof vorlind", "r");
		if (!pipe)
			throw std::runtime_error("cannot run pidof");
		while (fgetc(pipe) != EOF)
			;
		pclose(pipe);
		alone.samples.push_back(static_cast<double>(wall_clock() - begin) / MS);
	}
	add(figures, alone);
}

void measure_starts(const bench_settings &settings, figure_list &figures)
{
	measure_pidof(settings.is_short ? 5 : 50, figures);
	for (const start_row &row : start_rows) {
		const bool is_long = row.sleeps == PATCH_SETTLES;
		measure_start(settings, row, settings.is_short ? 1 : is_long ? 3 : 15, figures);
	}
}

/* How much later than the interval and the exchange each step came, and what that is. */
struct rotation {
	std::vector<double> extra;
	std::vector<double> due;
};

/* The first step also switches advertising on, the last is followed by no other. */
static rotation steps_of(const std::vector<line_packet> &packets, uint16_t opcode)
{
	constexpr int64_t INTERVAL = 100'000'000;
	rotation steps;
	size_t at = find_command(packets, opcode, find_command(packets, opcode, 0) + 1);

	for (size_t next = at + 1; next < packets.size(); next++) {
		if (!packets[next].is_command(opcode))
			continue;
		const int64_t least = INTERVAL + wire_time(bytes_of(packets, at, next));
		const int64_t took = begin_of(packets[next]) - begin_of(packets[at]);
		steps.extra.push_back(static_cast<double>(took - least) / MS);
		steps.due.push_back(static_cast<double>(least) / MS);
		at = next;
	}
	return steps;
}

static void add_rotation(figure_list &figures, const std::string &name, const rotation &steps,
			 bool is_bound)
{
	const double drift = mean(steps.extra) / mean(steps.due) * 100;

	printf("%s: %zu steps, each of %.3f ms\n", name.c_str(), steps.extra.size(),
	       mean(steps.due));
	add(figures, { name + ", dwell error p50", "ms", { percentile(steps.extra, 50) } });
	add(figures, { name + ", dwell error p99",
		       "ms",
		       { percentile(steps.extra, 99) },
		       0,
		       is_bound ? 3.0 : 0 });
	add(figures, { name + ", dwell error, greatest", "ms", { percentile(steps.extra, 100) } });
	add(figures, { name + ", drift of the mean", "%", { drift }, 0, is_bound ? 0.5 : 0 });
}

static double rotation_seconds(const bench_settings &settings)
{
	return settings.is_short ? 3 : 40;
}

static void measure_rotation_of(const bench_settings &settings, int beacons, figure_list &figures)
{
	access_point point(settings.build);

	point.start_simulator("ti-08", { "--capture", point.file("line") });
	point.start_and_wait();
	point.load_beacons(beacons, "100");
	point.say_and_wait({ "ibeacon", "start" });
	sleep_for(rotation_seconds(settings));
	point.say_and_wait({ "ibeacon", "stop" });
	point.stop_daemon();
	point.stop_simulator();
	add_rotation(figures, "rotation of " + std::to_string(beacons),
		     steps_of(read_line_record(point.file("line")), 0xFE07), true);
}

static bool make_raw(int line)
{
	struct termios raw;

	if (tcgetattr(line, &raw) != 0)
		return false;
	cfmakeraw(&raw);
	raw.c_cflag |= CRTSCTS;
	return tcsetattr(line, TCSANOW, &raw) == 0;
}

/* Asks for the version, reads the answer with as few calls as can be, sleeps, again. */
static pid_t start_asker(const char *port)
{
	constexpr size_t ANSWER = 15;
	const pid_t pid = fork();
	char answer[ANSWER];

	if (pid != 0)
		return pid;
	prctl(PR_SET_TIMERSLACK, 50'000); /* as the daemon has it */
	const int line = open(port, O_RDWR | O_NOCTTY);
	if (!make_raw(line))
		_exit(1);
	for (;;) {
		if (write(line, "\x01\x01\x10\x00", 4) != 4)
			_exit(1);
		for (size_t left = ANSWER; left > 0;) {
			const ssize_t count = read(line, answer, left);
			if (count <= 0)
				_exit(1);
			left -= static_cast<size_t>(count);
		}
		usleep(100000);
	}
}

/* What machine and simulator add to a sleep and an exchange, whoever makes them. */
static void measure_bare_rotation(const bench_settings &settings, figure_list &figures)
{
	access_point point(settings.build);

	point.start_simulator("ti-08", { "--capture", point.file("line") });
	const pid_t asker = start_asker("/dev/ttyMSM1");
	sleep_for(rotation_seconds(settings));
	kill(asker, SIGKILL);
	waitpid(asker, nullptr, 0);
	point.stop_simulator();
	add_rotation(figures, "bare sleep and exchange",
		     steps_of(read_line_record(point.file("line")), 0x1001), false);
}

void measure_rotation(const bench_settings &settings, figure_list &figures)
{
	measure_bare_rotation(settings, figures);
	for (const int beacons : { 2, 5 })
		measure_rotation_of(settings, beacons, figures);
}

static volatile sig_atomic_t is_signalled;

static void note_signal(int)
{
	is_signalled = 1;
}

/* A process that sleeps like the daemon and at a signal does nothing but write one byte. */
static pid_t start_idler(const char *port)
{
	const pid_t pid = fork();

	if (pid != 0)
		return pid;
	prctl(PR_SET_TIMERSLACK, 50'000); /* as the daemon has it */
	const int line = open(port, O_RDWR | O_NOCTTY);
	if (!make_raw(line))
		_exit(1);
	signal(SIGUSR1, note_signal);
	for (is_signalled = 1;; usleep(100000))
		if (is_signalled) {
			is_signalled = 0;
			if (write(line, "x", 1) != 1)
				_exit(1);
		}
}

static void wait_for_byte(int line)
{
	pollfd watched = { line, POLLIN, 0 };
	char byte;

	if (poll(&watched, 1, 5000) != 1 || read(line, &byte, 1) != 1)
		throw std::runtime_error("no byte from the idle process");
}

/* Somewhere in the sleep of 100 ms. */
static void sleep_a_while(std::mt19937 &chance)
{
	sleep_for(std::uniform_real_distribution<>(0.005, 0.095)(chance));
}

static std::vector<double> signal_deliveries(int count, std::mt19937 &chance)
{
	const int line = posix_openpt(O_RDWR | O_NOCTTY);
	std::vector<double> samples;

	if (line < 0 || grantpt(line) != 0 || unlockpt(line) != 0)
		throw std::runtime_error("no pty");
	const pid_t idler = start_idler(ptsname(line));
	wait_for_byte(line);
	for (int i = 0; i < count; i++) {
		sleep_a_while(chance);
		const int64_t begin = wall_clock();
		kill(idler, SIGUSR1);
		wait_for_byte(line);
		samples.push_back(static_cast<double>(wall_clock() - begin) / MS);
	}
	kill(idler, SIGKILL);
	waitpid(idler, nullptr, 0);
	close(line);
	return samples;
}

static std::vector<double> responses(const bench_settings &settings, int count,
				     std::mt19937 &chance)
{
	access_point point(settings.build);
	std::vector<int64_t> said;
	std::vector<double> samples;

	point.start_simulator("ti-08", { "--baud", "0", "--capture", point.file("line") });
	point.start_and_wait();
	for (int i = 0; i < count; i++) {
		sleep_a_while(chance);
		said.push_back(point.say({ "show", "mac" }));
		wait_until([&] { return point.segment().cmd_doing == 0; }, "the address");
	}
	point.stop_daemon();
	point.stop_simulator();
	for (const line_packet &packet : read_line_record(point.file("line")))
		if (packet.is_command(0x1009) && samples.size() < said.size())
			samples.push_back(static_cast<double>(packet.at - said[samples.size()]) /
					  MS);
	if (samples.size() != said.size())
		throw std::runtime_error("not every command reached the controller");
	return samples;
}

void measure_response(const bench_settings &settings, figure_list &figures)
{
	const int count = settings.is_short ? 30 : 500;
	std::mt19937 chance(1);
	const std::vector<double> bare = signal_deliveries(count, chance);
	const std::vector<double> daemon = responses(settings, count, chance);

	add(figures, { "signal alone, to a byte, p50", "ms", { percentile(bare, 50) } });
	add(figures, { "signal alone, to a byte, p99", "ms", { percentile(bare, 99) } });
	add(figures, { "command to the first byte, p50", "ms", { percentile(daemon, 50) } });
	add(figures, { "command to the first byte, p99", "ms", { percentile(daemon, 99) } });
	add(figures, { "command to the first byte, p99 beyond the signal",
		       "ms",
		       { percentile(daemon, 99) - percentile(bare, 99) },
		       0,
		       1 });
}
