// SPDX-License-Identifier: Apache-2.0
/* A soak run: random steps with the shipped programs until the time is over or a rule is broken. */
#include "tests/soak/steps.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstring>
#include <deque>
#include <sys/prctl.h>
#include <unistd.h>

using std::chrono::steady_clock;
using seconds = std::chrono::duration<double>;

constexpr size_t STEPS_SHOWN = 30;
constexpr uint64_t PHASE = 400; /* steps; every second one spares the daemon: leaks add up */

struct soak_options {
	double minutes = 1;
	uint64_t steps = UINT64_MAX;
	uint64_t seed = std::random_device()();
	/* Fewer Qualcomm ones, because each start of one takes 1.5 seconds. */
	std::vector<std::string> kinds = { "ti-06", "ti-06", "ti-06",   "ti-08",
					   "ti-08", "ti-08", "qualcomm" };
	std::string controllers = "all";
	std::string json;
	std::string log;
};

static volatile sig_atomic_t is_interrupted;

static void interrupt(int)
{
	is_interrupted = 1;
}

[[noreturn]] static void bad_usage(const std::string &problem)
{
	fprintf(stderr,
		"soak: %s\n"
		"usage: soak [--minutes N] [--steps N] [--seed S]\n"
		"            [--controller ti-06|ti-08|qualcomm|all] [--json FILE] [--log FILE]\n",
		problem.c_str());
	_exit(2);
}

template <typename T> static T number_of(const std::string &name, const std::string &text)
{
	const char *const end = text.data() + text.size();
	T value = 0;
	const auto [stop, error] = std::from_chars(text.data(), end, value);

	if (error != std::errc() || stop != end || !(value >= 0))
		bad_usage(name + " takes a number, not " + text);
	return value;
}

static void take_option(soak_options &o, const std::string &name, const std::string &value)
{
	if (name == "--minutes") {
		o.minutes = number_of<double>(name, value);
	} else if (name == "--steps") {
		o.steps = number_of<uint64_t>(name, value);
	} else if (name == "--seed") {
		o.seed = number_of<uint64_t>(name, value);
	} else if (name == "--json") {
		o.json = value;
	} else if (name == "--log") {
		o.log = value;
	} else if (name == "--controller") {
		if (value != "all" && value != "ti-06" && value != "ti-08" && value != "qualcomm")
			bad_usage("there is no controller " + value);
		o.controllers = value;
		if (value != "all")
			o.kinds = { value };
	} else {
		bad_usage("unknown option " + name);
	}
}

static soak_options options_of(int argc, char **argv)
{
	soak_options o;

	for (int i = 1; i < argc; i += 2) {
		if (i + 1 == argc)
			bad_usage(std::string(argv[i]) + " needs a value");
		take_option(o, argv[i], argv[i + 1]);
	}
	return o;
}

/* One line: every two seconds on a terminal, else every minute. */
static void show_progress(const tally &t, steady_clock::time_point start)
{
	static auto shown = start;
	const bool is_terminal = isatty(STDOUT_FILENO) != 0;
	const auto now = steady_clock::now();

	if (now - shown < std::chrono::seconds(is_terminal ? 2 : 60))
		return;
	shown = now;
	printf("%s%5.0f s: %llu steps, %llu crashes, %llu faults, %llu healings, %llu KiB%s",
	       is_terminal ? "\r" : "", seconds(now - start).count(),
	       static_cast<unsigned long long>(t.steps),
	       static_cast<unsigned long long>(sum_of(t.crashes)),
	       static_cast<unsigned long long>(sum_of(t.faults)),
	       static_cast<unsigned long long>(t.healings),
	       static_cast<unsigned long long>(t.most_resident), is_terminal ? "  " : "\n");
	fflush(stdout);
}

class diary
{
      public:
	explicit diary(const std::string &path)
	    : m_file(path.empty() ? nullptr : fopen(path.c_str(), "we"))
	{
	}
	~diary()
	{
		if (m_file)
			fclose(m_file);
	}
	diary(const diary &) = delete;

	/* A step's line may have any byte; an unprintable one becomes a dot. */
	void note(uint64_t number, const std::string &text)
	{
		std::string line = std::to_string(number) + " " + text;
		for (char &byte : line)
			if (byte < ' ' || byte > '~')
				byte = '.';
		m_last.push_back(line);
		if (m_last.size() > STEPS_SHOWN)
			m_last.pop_front();
		if (m_file) {
			fprintf(m_file, "%s\n", line.c_str());
			fflush(m_file);
		}
	}
	const std::deque<std::string> &last() const
	{
		return m_last;
	}

      private:
	FILE *m_file;
	std::deque<std::string> m_last;
};

static void run_step(world &w, uint64_t number, const soak_options &o, diary &steps)
{
	chance dice(o.seed, number);
	const step &one = any_step(dice, number / PHASE % 2 == 1);
	const bool settles = !dice.one_in(4);

	const auto start = steady_clock::now();
	w.log = one.name + std::string(":");
	w.counted.by_step[one.name]++;
	try {
		one.run(w, dice);
		if (settles)
			w.settle(dice);
		w.check(settles);
	} catch (const violation &) {
		steps.note(number, w.log);
		throw;
	}
	const double milliseconds = seconds(steady_clock::now() - start).count() * 1000;
	steps.note(number, w.log + " | " + w.state() + ", " +
				   std::to_string(static_cast<int>(milliseconds)) + " ms");
}

static void tell_violation(const world &w, const diary &steps, const char *what)
{
	printf("\nVIOLATION in step %llu of seed %llu: %s\n",
	       static_cast<unsigned long long>(w.counted.steps),
	       static_cast<unsigned long long>(w.counted.seed), what);
	printf("%s\nthe last steps:\n", w.state().c_str());
	for (const std::string &line : steps.last())
		printf("  %s\n", line.c_str());
	printf("the daemon's last words:\n%s\n", w.last_words().c_str());
}

static void write_file(const std::string &path, const std::string &text)
{
	FILE *file = fopen(path.c_str(), "we");

	if (!file || fputs(text.c_str(), file) == EOF || fclose(file) != 0)
		fprintf(stderr, "soak: cannot write %s\n", path.c_str());
}

int main(int argc, char **argv)
{
	close_range(3, ~0U, 0); /* the daemon would inherit open descriptors */
	const soak_options o = options_of(argc, argv);
	tally counted;
	diary steps(o.log);
	world w(o.kinds, counted);
	const auto start = steady_clock::now();

	counted.seed = o.seed;
	counted.controllers = o.controllers;
	printf("soak: seed %llu\n", static_cast<unsigned long long>(o.seed));
	fflush(stdout);
	signal(SIGINT, interrupt);
	signal(SIGTERM, interrupt);
	signal(SIGPIPE, SIG_IGN);
	prctl(PR_SET_CHILD_SUBREAPER, 1); /* to notice children of a killed daemon */
	try {
		chance dice(o.seed, 0);
		if (!w.open(dice))
			return 1;
		while (counted.steps < o.steps && !is_interrupted &&
		       seconds(steady_clock::now() - start).count() < o.minutes * 60) {
			run_step(w, ++counted.steps, o, steps);
			show_progress(counted, start);
		}
		w.close(dice);
	} catch (const violation &broken) {
		/* Ctrl-C also reaches the daemon, which rightly ends. */
		if (!is_interrupted) {
			counted.violations++;
			tell_violation(w, steps, broken.what());
		}
	}
	w.clean_up();
	counted.seconds = seconds(steady_clock::now() - start).count();
	printf("%s%s", isatty(STDOUT_FILENO) ? "\n" : "", as_text(counted).c_str());
	if (!o.json.empty())
		write_file(o.json, as_json(counted));
	if (is_interrupted)
		return 130;
	return counted.violations == 0 ? 0 : 1;
}
