// SPDX-License-Identifier: Apache-2.0
/* The steps of a rotation, against the interval and the exchange; and a bare process's. */
#include "bench/access_point.h"
#include "bench/line_record.h"
#include "bench/system_figures.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

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
