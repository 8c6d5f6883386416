// SPDX-License-Identifier: Apache-2.0
/* The steps of a rotation, compared with interval and exchange, and with a bare process. */
#include "bench/access_point.h"
#include "bench/line_record.h"
#include "bench/system_figures.h"

#include <csignal>
#include <cstdio>
#include <iterator>
#include <sched.h>
#include <span>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

constexpr int64_t INTERVAL = 100'000'000;
constexpr int AS_STARTED = -100; /* scheduled like the process that starts the bench */

/* Exchanges of the daemon, or of a bare process that does nothing else. */
struct rotation_row {
	const char *name;
	int beacons; /* 0: the bare process */
	int64_t interval;
	uint16_t opcode;
	bool is_bound; /* more than the allowed value is a fault */
	int niceness = AS_STARTED;
};

// clang-format off
static const rotation_row rotation_rows[] = {
	/* name                       beacons interval  opcode  bound */
	{ "bare exchange",               0,   0,        0x1001, false },
	{ "bare sleep and exchange",     0,   INTERVAL, 0x1001, false },
	{ "rotation of 2",               2,   INTERVAL, 0xFE07, true },
	{ "rotation of 5",               5,   INTERVAL, 0xFE07, true },
};

static const rotation_row busy_rows[] = {
	/* name                                   beacons interval  opcode  bound  niceness */
	{ "busy, bare sleep and exchange, nice 0",   0,   INTERVAL, 0x1001, false,   0 },
	{ "busy, rotation of 2, nice 0",             2,   INTERVAL, 0xFE07, false,   0 },
	{ "busy, bare sleep and exchange, nice -10", 0,   INTERVAL, 0x1001, false, -10 },
	{ "busy, rotation of 2, nice -10",           2,   INTERVAL, 0xFE07, false, -10 },
};
// clang-format on

/* How late each step was, after its interval and its bytes; and the length of these. */
struct rotation {
	std::vector<double> extra;
	std::vector<double> due;
};

/* Without the first step, which also switches advertising on, and the last. */
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

/* The command that runs the daemon at a niceness, outside the bench's real-time class. */
static words scheduled(int niceness)
{
	if (niceness == AS_STARTED)
		return {};
	/* nice adds to the current value: the bench is at -20 then. */
	return { "/usr/bin/env", "chrt", "-o", "0", "nice", "-n", std::to_string(niceness + 20) };
}

static void schedule_self(int niceness)
{
	const sched_param usual = {};

	if (niceness != AS_STARTED && (sched_setscheduler(0, SCHED_OTHER, &usual) != 0 ||
				       setpriority(PRIO_PROCESS, 0, niceness) != 0))
		_exit(1);
}

static rotation rotate(const bench_settings &settings, const rotation_row &row, double seconds)
{
	access_point point(settings.build);

	point.start_simulator("ti-08", { "--capture", point.file("line") });
	point.start_and_wait(scheduled(row.niceness));
	point.load_beacons(row.beacons, "100");
	point.say_and_wait({ "ibeacon", "start" });
	sleep_for(seconds);
	point.say_and_wait({ "ibeacon", "stop" });
	point.stop_daemon();
	point.stop_simulator();
	return steps_of(read_line_record(point.file("line")), row);
}

/* Repeats: ask for the version, read the answer with as few calls as possible, sleep. */
static pid_t start_asker(const char *port, useconds_t interval, int niceness)
{
	constexpr size_t ANSWER = 15;
	const pid_t pid = fork();
	char answer[ANSWER];

	if (pid != 0)
		return pid;
	schedule_self(niceness);
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

/* The delay that machine and simulator add to the sleep and exchange of any process. */
static rotation ask(const bench_settings &settings, const rotation_row &row, double seconds)
{
	access_point point(settings.build);

	point.start_simulator("ti-08", { "--capture", point.file("line") });
	const pid_t asker = start_asker("/dev/ttyMSM1",
					static_cast<useconds_t>(row.interval / 1000), row.niceness);
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

/* In turns: a disturbance of the machine affects each of them. */
static std::vector<std::vector<rotation>> take_turns(const bench_settings &settings,
						     std::span<const rotation_row> rows)
{
	std::vector<std::vector<rotation>> runs(rows.size());

	for (int i = 0; i < (settings.is_short ? 1 : 5); i++)
		for (size_t j = 0; j < rows.size(); j++) {
			const rotation_row &row = rows[j];
			const double seconds = settings.is_short || row.interval == 0 ? 2 : 12;
			runs[j].push_back(row.beacons == 0 ? ask(settings, row, seconds)
							   : rotate(settings, row, seconds));
		}
	return runs;
}

double measure_rotation(const bench_settings &settings, figure_list &figures)
{
	const auto runs = take_turns(settings, rotation_rows);

	for (size_t j = 0; j < runs.size(); j++)
		add_rotation(figures, rotation_rows[j], runs[j]);

	std::vector<double> bare; /* the first row */
	for (const rotation &run : runs[0])
		bare.push_back(percentile(run.extra, 50));
	return percentile(bare, 50);
}

/* Keeps four busy processes on each processor during its lifetime. */
class busy_machine
{
      public:
	busy_machine()
	{
		const long count = 4 * sysconf(_SC_NPROCESSORS_ONLN);

		for (long i = 0; i < count; i++) {
			const pid_t pid = fork();
			if (pid == 0) {
				schedule_self(0);
				for (;;)
					asm volatile("");
			}
			m_pids.push_back(pid);
		}
	}
	~busy_machine()
	{
		for (const pid_t pid : m_pids) {
			kill(pid, SIGKILL);
			waitpid(pid, nullptr, 0);
		}
	}
	busy_machine(const busy_machine &) = delete;

      private:
	std::vector<pid_t> m_pids;
};

void measure_busy_rotation(const bench_settings &settings, figure_list &figures)
{
	const int before = getpriority(PRIO_PROCESS, 0);

	/* The simulator is no part of the access point: it shall answer at once. */
	if (setpriority(PRIO_PROCESS, 0, -20) != 0) {
		puts("not measured: a busy machine, for who may not raise a priority");
		return;
	}
	std::vector<std::vector<rotation>> runs;
	{
		const busy_machine load;
		runs = take_turns(settings, busy_rows);
	}
	setpriority(PRIO_PROCESS, 0, before);
	for (size_t j = 0; j < runs.size(); j++)
		add_rotation(figures, busy_rows[j], runs[j]);
}
