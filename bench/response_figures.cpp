// SPDX-License-Identifier: Apache-2.0
/* The time until a command's first byte is sent, compared with the time of a signal alone. */
#include "bench/access_point.h"
#include "bench/line_record.h"
#include "bench/system_figures.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

static volatile sig_atomic_t is_signalled;

static void note_signal(int)
{
	is_signalled = 1;
}

/* A process that sleeps like the daemon, and only writes one byte at a signal. */
static pid_t start_idler(const char *port)
{
	const pid_t pid = fork();

	if (pid != 0)
		return pid;
	const int line = be_bare_process(port);
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

	if (poll(&watched, 1, 180'000) != 1 || read(line, &byte, 1) != 1)
		throw std::runtime_error("no byte from the idle process");
}

/* To a random moment in the sleep of 100 ms. */
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
		       1,
		       judgement::alone });
}
