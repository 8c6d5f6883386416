// SPDX-License-Identifier: Apache-2.0
/* The start and the patch download, compared with their bytes and fixed sleeps. */
#include "bench/access_point.h"
#include "bench/line_record.h"
#include "bench/system_figures.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>

constexpr size_t PATCH_SIZE = 128 * 1024;
constexpr size_t PATCH_SEGMENT = 243;
constexpr int64_t PATCH_SETTLES = 1'500'000'000;

struct start_row {
	const char *controller;
	int64_t sleeps;      /* fixed ones of the start-up, nanoseconds */
	uint16_t first;      /* the first command of a beacon start */
	uint16_t advertises; /* the command that puts a beacon on the air: last parameter 1 */
};

// clang-format off
static const start_row start_rows[] = {
	/*              sleeps         first   advertises */
	{ "ti-06",      100'000'000,   0xFE00, 0xFE06 },
	{ "ti-08",      0,             0xFE00, 0xFE06 },
	{ "qualcomm",   PATCH_SETTLES, 0x200A, 0x200A },
};
// clang-format on

/* The times of one start in milliseconds, and the minimum of each. */
struct start_times {
	double segment, identified, loop, advertising;
	double on_the_line, patch; /* from the first byte */
	double least_identified, least_loop, least_advertising, least_patch;
	double segment_extra; /* of a patch segment, beyond its bytes */
	double patch_rate;    /* bytes of the patch a second, without the wait after it */
	double exchanges;     /* from the first byte until the loop */
};

static double least(const std::vector<line_packet> &packets, size_t count, int64_t sleeps)
{
	return static_cast<double>(wire_time(bytes_of(packets, 0, count)) + sleeps) / MS;
}

static size_t find_advertising(const std::vector<line_packet> &packets, const start_row &row,
			       size_t from)
{
	size_t at = find_command(packets, row.advertises, from);

	/* If one command switches on and off, the first one of a start switches off. */
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
	times.segment_extra = (times.patch - times.least_patch) /
			      static_cast<double>((PATCH_SIZE + PATCH_SEGMENT - 1) / PATCH_SEGMENT);
	times.patch_rate = static_cast<double>(PATCH_SIZE) / ((took - double(PATCH_SETTLES)) / 1e9);
}

/* Nothing if the daemon's start was over before it could be watched, on a busy machine. */
static std::optional<start_times> start_once(const bench_settings &settings, const start_row &row)
{
	access_point point(settings.build);
	start_times times = {};
	const bool has_patch = row.sleeps == PATCH_SETTLES;

	if (has_patch)
		point.make_patch("--patch-size " + std::to_string(PATCH_SIZE));
	point.start_simulator(row.controller, { "--capture", point.file("line") });
	const int64_t begin = point.start_daemon();
	const int64_t segment = point.wait_for_segment();
	if (!point.watch_for_loop())
		return std::nullopt;
	const int64_t identified = wait_until(
		[&] { return point.segment().config.opt.status == BLE_STATUS_AVAILABLE; },
		"the controller");
	const int64_t loop = point.wait_for_loop();
	point.load_beacons(1, "100");
	point.say({ "ibeacon", "start" });
	wait_until([&] { return point.segment().cmd_doing == 0; }, "the beacon");
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
	for (size_t i = 0; i < first_of_start; i++)
		times.exchanges += packets[i].to_host ? 0 : 1;
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
			  double bare_exchange, figure_list &figures)
{
	std::vector<start_times> all;

	for (int i = 0; i < runs * 4 && all.size() < static_cast<size_t>(runs); i++)
		if (const auto times = start_once(settings, row))
			all.push_back(*times);
	if (all.empty()) {
		printf("%s, start: not measured, the machine is too busy to watch one\n",
		       row.controller);
		return;
	}
	const start_times &one = all.front();
	figure segment = start_figure(row, "start to segment (process, pidof)", 0, 0);
	figure identified = start_figure(row, "start to status 2", one.least_identified, 1.05);
	figure loop = start_figure(row, "start to ready for commands", one.least_loop, 1.05);
	figure air = start_figure(row, "start to first advertisement", one.least_advertising, 1.05);
	figure line = start_figure(row, "first byte to ready for commands", one.least_loop, 1.05);
	/* Includes the delay that machine and simulator add to each exchange. */
	figure bare = start_figure(row, "the same, beside bare exchanges",
				   one.least_loop + one.exchanges * bare_exchange, 1.05);
	figure patch = start_figure(row, "patch of 128 KiB", one.least_patch, 1.02);
	figure extra = start_figure(row, "a segment of it beyond its bytes", 0, 0);
	figure rate = { .name = "qualcomm, patch bytes a second",
			.unit = "B/s",
			.samples = {},
			.limit = 11520.0 * 243 / 257 };
	bare.judged = judgement::alone;
	patch.judged = judgement::alone;
	for (const start_times &times : all) {
		segment.samples.push_back(times.segment);
		identified.samples.push_back(times.identified);
		loop.samples.push_back(times.loop);
		air.samples.push_back(times.advertising);
		line.samples.push_back(times.on_the_line);
		bare.samples.push_back(times.on_the_line);
		patch.samples.push_back(times.patch);
		extra.samples.push_back(times.segment_extra);
		rate.samples.push_back(times.patch_rate);
	}
	for (const figure *each : { &segment, &identified, &loop, &air, &line, &bare })
		add(figures, *each);
	if (one.patch > 0)
		for (const figure *each : { &patch, &extra, &rate })
			add(figures, *each);
}

/* The time of the check for another instance alone: a shell, and pidof's look at all processes. */
static void measure_pidof(int runs, figure_list &figures)
{
	figure alone = { .name = "pidof through popen, alone", .unit = "ms", .samples = {} };

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

void measure_starts(const bench_settings &settings, double bare_exchange, figure_list &figures)
{
	measure_pidof(settings.is_short ? 5 : 50, figures);
	for (const start_row &row : start_rows) {
		const bool is_long = row.sleeps == PATCH_SETTLES;
		const int runs =
			is_long ? (settings.is_short ? 1 : 3) : (settings.is_short ? 5 : 15);
		measure_start(settings, row, runs, bare_exchange, figures);
	}
}
