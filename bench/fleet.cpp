// SPDX-License-Identifier: Apache-2.0
/*
 * Many access points on one machine, each a daemon, a simulator and a client in its own
 * namespaces: their use of the machine, and late steps. Started by ./run fleet.
 */
#include "bench/access_point.h"
#include "bench/line_record.h"
#include "bench/usage.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

constexpr double INTERVAL_MS = 100;
constexpr double LATE_MS = 10;
constexpr int STARTED_AT_ONCE = 10;

/* The figures of one access point, or the sum of many. */
struct tally {
	double daemon_cpu, simulator_cpu; /* seconds on a processor */
	double daemon_kib, simulator_kib; /* with shared pages divided */
	double private_kib;               /* of the daemon */
	double steps, late, lost;
	double greatest; /* the greatest delay of a step in milliseconds */
};

static const char tally_format[] = "%lf %lf %lf %lf %lf %lf %lf %lf %lf";

/* Compare the steps between two times with the interval: here the line takes no time. */
static void count_steps(const std::vector<line_packet> &packets, int64_t begin, int64_t end,
			tally &result)
{
	int64_t before = 0;

	for (const line_packet &packet : packets) {
		if (!packet.is_command(0xFE07) || packet.at < begin || packet.at > end)
			continue;
		if (before != 0) {
			const double extra =
				static_cast<double>(packet.at - before) / MS - INTERVAL_MS;
			result.steps++;
			result.late += extra > LATE_MS ? 1 : 0;
			result.lost += extra > INTERVAL_MS ? std::floor(extra / INTERVAL_MS) : 0;
			result.greatest = std::max(result.greatest, extra);
		}
		before = packet.at;
	}
}

/* One access point: reports when it is ready, and counts on request. */
static int be_member(const std::string &build, double seconds)
{
	access_point point(build);
	tally result = {};
	char go[8];

	point.start_simulator("ti-08", { "--baud", "0", "--capture", point.file("line") });
	point.start_and_wait();
	point.load_beacons(3, "100");
	point.say_and_wait({ "ibeacon", "start" });
	puts("ready");
	fflush(stdout);
	if (!fgets(go, sizeof(go), stdin))
		return 1;
	const int64_t begin = wall_clock();
	const usage daemon = usage_of(point.daemon());
	const usage simulator = usage_of(point.simulator());
	sleep_for(seconds);
	const usage daemon_after = usage_of(point.daemon());
	const usage simulator_after = usage_of(point.simulator());
	const int64_t end = wall_clock();
	point.say_and_wait({ "ibeacon", "stop" });
	point.stop_daemon();
	point.stop_simulator();
	count_steps(read_line_record(point.file("line")), begin, end, result);
	printf("%f %f %f %f %f %f %f %f %f\n", daemon_after.cpu_seconds - daemon.cpu_seconds,
	       simulator_after.cpu_seconds - simulator.cpu_seconds, daemon_after.share_kib,
	       simulator_after.share_kib, daemon_after.private_kib, result.steps, result.late,
	       result.lost, result.greatest);
	return 0;
}

struct member {
	pid_t pid;
	FILE *to;
	FILE *from;
};

static member start_member(const std::string &program, const std::string &build, double seconds)
{
	int to[2];
	int from[2];
	const std::string time = std::to_string(seconds);

	if (pipe2(to, O_CLOEXEC) != 0 || pipe2(from, O_CLOEXEC) != 0)
		throw std::runtime_error("no more pipes");
	const pid_t pid = fork();
	if (pid == 0) {
		if (dup2(to[0], 0) != 0 || dup2(from[1], 1) != 1)
			_exit(126);
		setenv("VORLIND_SANDBOX", "private", 1);
		execl("tools/sandbox", "tools/sandbox", program.c_str(), "--member", build.c_str(),
		      time.c_str(), nullptr);
		_exit(127);
	}
	close(to[0]);
	close(from[1]);
	return { pid, fdopen(to[1], "w"), fdopen(from[0], "r") };
}

static void wait_until_ready(const member &one)
{
	char line[16];

	if (!fgets(line, sizeof(line), one.from) || strcmp(line, "ready\n") != 0)
		throw std::runtime_error("an access point does not start");
}

static void add_tally(const member &one, tally &sum)
{
	tally own;

	if (fscanf(one.from, tally_format, &own.daemon_cpu, &own.simulator_cpu, &own.daemon_kib,
		   &own.simulator_kib, &own.private_kib, &own.steps, &own.late, &own.lost,
		   &own.greatest) != 9)
		throw std::runtime_error("an access point has failed");
	sum.daemon_cpu += own.daemon_cpu;
	sum.simulator_cpu += own.simulator_cpu;
	sum.daemon_kib += own.daemon_kib;
	sum.simulator_kib += own.simulator_kib;
	sum.private_kib += own.private_kib;
	sum.steps += own.steps;
	sum.late += own.late;
	sum.lost += own.lost;
	sum.greatest = std::max(sum.greatest, own.greatest);
}

static tally run_fleet(int count, const std::string &program, const std::string &build,
		       double seconds)
{
	std::vector<member> members;
	tally sum = {};

	/* A few at a time, so that none starts late. */
	while (static_cast<int>(members.size()) < count) {
		const size_t first = members.size();
		for (int i = 0; i < STARTED_AT_ONCE && static_cast<int>(members.size()) < count;
		     i++)
			members.push_back(start_member(program, build, seconds));
		for (size_t i = first; i < members.size(); i++)
			wait_until_ready(members[i]);
	}
	for (const member &one : members) {
		fputs("go\n", one.to);
		fflush(one.to);
	}
	for (const member &one : members)
		add_tally(one, sum);
	for (const member &one : members) {
		fclose(one.to);
		fclose(one.from);
		waitpid(one.pid, nullptr, 0);
	}
	return sum;
}

/* What stands against the number of access points in the picture. */
struct fleet_point {
	double count;
	double daemon_cpu, simulator_cpu; /* per cent of one core */
	double daemon_mib, simulator_mib;
};

static fleet_point point_of(int count, const tally &sum, double seconds)
{
	return { static_cast<double>(count), sum.daemon_cpu / seconds * 100,
		 sum.simulator_cpu / seconds * 100, sum.daemon_kib / 1024,
		 sum.simulator_kib / 1024 };
}

static void print_row(const fleet_point &point, const tally &sum)
{
	printf("%5.0f %9.3f %9.4f %9.3f %9.2f %9.3f %9.2f %8.0f %6.0f %6.0f %10.2f\n", point.count,
	       point.daemon_cpu, point.daemon_cpu / point.count, point.simulator_cpu,
	       point.daemon_mib, sum.private_kib / point.count, point.simulator_mib, sum.steps,
	       sum.late, sum.lost, sum.greatest);
	fflush(stdout);
}

/* A row of data for bench/fleet.gnuplot. */
static void write_row(const fleet_point &point, std::ostream &out)
{
	out << point.count << ' ' << point.daemon_cpu << ' ' << point.simulator_cpu << ' '
	    << point.daemon_mib << ' ' << point.simulator_mib << '\n';
}

/* How well `value` follows a straight line over the number of access points: 1 is perfect. */
static double straightness(const std::vector<fleet_point> &points, double fleet_point::*value)
{
	double n = 0, x = 0, y = 0, xx = 0, yy = 0, xy = 0;

	for (const fleet_point &point : points) {
		n++;
		x += point.count;
		y += point.*value;
		xx += point.count * point.count;
		yy += point.*value * point.*value;
		xy += point.count * point.*value;
	}
	const double both = n * xy - x * y;
	return both * both / ((n * xx - x * x) * (n * yy - y * y));
}

static int run_fleets(const std::string &program, const std::string &build,
		      const std::vector<int> &counts, double seconds, const std::string &data)
{
	std::vector<fleet_point> points;
	std::ofstream out(data);

	printf("%5s %9s %9s %9s %9s %9s %9s %8s %6s %6s %10s\n", "APs", "daemons", "each", "sims",
	       "daemons", "private", "sims", "steps", "late", "lost", "greatest");
	printf("%5s %9s %9s %9s %9s %9s %9s %8s %6s %6s %10s\n", "", "% core", "% core", "% core",
	       "MiB", "KiB each", "MiB", "", ">10 ms", "", "ms late");
	for (const int count : counts) {
		const tally sum = run_fleet(count, program, build, seconds);
		points.push_back(point_of(count, sum, seconds));
		print_row(points.back(), sum);
		write_row(points.back(), out);
	}
	if (!out.flush())
		throw std::runtime_error("cannot write " + data);
	if (points.size() >= 3) /* any two are on a line */
		printf("A straight line explains %.4f of the daemons' processor time and %.4f of "
		       "their memory.\n",
		       straightness(points, &fleet_point::daemon_cpu),
		       straightness(points, &fleet_point::daemon_mib));
	return 0;
}

static int parse_and_run(int argc, char **argv)
{
	std::vector<int> counts;
	const double seconds = argc > 4 ? atof(argv[2]) : 0;

	for (int i = 4; i < argc; i++)
		counts.push_back(atoi(argv[i]));
	const bool is_sensible =
		std::ranges::all_of(counts, [](int count) { return count > 0 && count <= 1000; });
	if (!is_sensible || !(seconds > 0)) {
		fputs("usage: fleet BUILD-FOLDER SECONDS DATA-FILE N..., each N from 1 to 1000\n",
		      stderr);
		return 2;
	}
	return run_fleets(argv[0], argv[1], counts, seconds, argv[3]);
}

int main(int argc, char **argv)
{
	signal(SIGPIPE, SIG_IGN);
	try {
		if (argc == 4 && strcmp(argv[1], "--member") == 0)
			return be_member(argv[2], atof(argv[3]));
		return parse_and_run(argc, argv);
	} catch (const std::exception &problem) {
		fprintf(stderr, "fleet: %s\n", problem.what());
		return 1;
	}
}
