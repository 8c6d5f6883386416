// SPDX-License-Identifier: Apache-2.0
/* The steps of a rotation, against the interval and the exchange; and a bare process's. */
#include "bench/access_point.h"
#include "bench/line_record.h"
#include "bench/system_figures.h"

#include <csignal>
#include <cstdio>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

constexpr int64_t INTERVAL = 100'000'000;

/* Who exchanges: the daemon, or a process that does nothing else. */
struct rotation_row {
	const char *name;
	int beacons; /* 0: the bare process */
	int64_t interval;
	uint16_t opcode;
	bool is_bound; /* its figures have to be kept */
};

// clang-format off
static const rotation_row rotation_rows[] = {
	/* name                       beacons interval  opcode  bound */
	{ "bare exchange",               0,   0,        0x1001, false },
	{ "bare sleep and exchange",     0,   INTERVAL, 0x1001, false },
	{ "rotation of 2",               2,   INTERVAL, 0xFE07, true },
	{ "rotation of 5",               5,   INTERVAL, 0xFE07, true },
};
// clang-format on

/* How much later than its interval and its bytes each step came; and how long that is. */
struct rotation {
	std::vector<double> extra;
	std::vector<double> due;
};

/* The first step also switches advertising on, the last is followed by no other. */
static rotation steps_of(const std::vector<line_packet> &packets, const rotation_row &row)
{
	rotation steps;
	size_t at = find_command(packets, row.opcode, find_command(packets, row.opcode, 0) + 1);

	for (size_t next = at + 1; next < packets.size(); next++) {
		if (!packets[next].is_command(row.opcode))
			continue;
		const int64_t least = row.interval + wire_time(bytes_of(packets, at, next));
		const int64_t took = begin_of(packets[next]) - begin_of(packets[at]);
		steps.extra.push_back(static_cast<double>(took - least) / MS);
		steps.due.push_back(static_cast<double>(least) / MS);
		at = next;
	}
	return steps;
}

static rotation rotate(const bench_settings &settings, const rotation_row &row, double seconds)
{
	access_point point(settings.build);

	point.start_simulator("ti-08", { "--capture", point.file("line") });
	point.start_and_wait();
	point.load_beacons(row.beacons, "100");
	point.say_and_wait({ "ibeacon", "start" });
	sleep_for(seconds);
	point.say_and_wait({ "ibeacon", "stop" });
	point.stop_daemon();
	point.stop_simulator();
	return steps_of(read_line_record(point.file("line")), row);
}

/* Asks for the version, reads the answer with as few calls as can be, sleeps, again. */
static pid_t start_asker(const char *port, useconds_t interval)
{
	constexpr size_t ANSWER = 15;
	const pid_t pid = fork();
	char answer[ANSWER];

	if (pid != 0)
		return pid;
	const int line = be_bare_process(port);
	for (;;) {
		if (write(line, "\x01\x01\x10\x00", 4) != 4)
			_exit(1);
		for (size_t left = ANSWER; left > 0;) {
			const ssize_t count = read(line, answer, left);
			if (count <= 0)
				_exit(1);
			left -= static_cast<size_t>(count);
		}
		if (interval > 0)
			usleep(interval);
	}
}

/* What machine and simulator add to a sleep and an exchange, whoever makes them. */
static rotation ask(const bench_settings &settings, const rotation_row &row, double seconds)
{
	access_point point(settings.build);

	point.start_simulator("ti-08", { "--capture", point.file("line") });
	const pid_t asker =
		start_asker("/dev/ttyMSM1", static_cast<useconds_t>(row.interval / 1000));
	sleep_for(seconds);
	kill(asker, SIGKILL);
	waitpid(asker, nullptr, 0);
	point.stop_simulator();
	return steps_of(read_line_record(point.file("line")), row);
}

static void add_rotation(figure_list &figures, const rotation_row &row,
			 const std::vector<rotation> &runs)
{
	const std::string name = std::string(row.name) + ", ";
	figure half = { .name = name + "late by p50", .unit = "ms", .samples = {} };
	figure most = { .name = name + "late by p99", .unit = "ms", .samples = {} };
	figure worst = { .name = name + "late by, greatest", .unit = "ms", .samples = {} };
	figure drift = { .name = name + "drift of the mean", .unit = "%", .samples = {} };

	for (const rotation &run : runs) {
		half.samples.push_back(percentile(run.extra, 50));
		most.samples.push_back(percentile(run.extra, 99));
		worst.samples.push_back(percentile(run.extra, 100));
		drift.samples.push_back(mean(run.extra) / mean(run.due) * 100);
	}
	if (row.is_bound) {
		most.allowed = 3;
		most.judged = judgement::alone;
		drift.allowed = 0.5;
		drift.judged = judgement::alone;
	}
	printf("%s%zu times %zu steps, each due after %.3f ms\n", name.c_str(), runs.size(),
	       runs.front().extra.size(), mean(runs.front().due));
	for (const figure *each : { &half, &most, &worst, &drift })
		add(figures, *each);
}

/* In turns: what disturbs the machine meanwhile meets each of them. */
double measure_rotation(const bench_settings &settings, figure_list &figures)
{
	std::vector<rotation> runs[std::size(rotation_rows)];

	for (int i = 0; i < (settings.is_short ? 1 : 5); i++)
		for (size_t j = 0; j < std::size(rotation_rows); j++) {
			const rotation_row &row = rotation_rows[j];
			const double seconds = settings.is_short || row.interval == 0 ? 2 : 12;
			runs[j].push_back(row.beacons == 0 ? ask(settings, row, seconds)
							   : rotate(settings, row, seconds));
		}
	for (size_t j = 0; j < std::size(rotation_rows); j++)
		add_rotation(figures, rotation_rows[j], runs[j]);

	std::vector<double> bare; /* the first row */
	for (const rotation &run : runs[0])
		bare.push_back(percentile(run.extra, 50));
	return percentile(bare, 50);
}
