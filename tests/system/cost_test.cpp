// SPDX-License-Identifier: Apache-2.0
/*
 * The cost of one exchange: the daemon's system calls, exactly, and its instructions, within
 * 5 per cent of the table. Neither depends on the load of the machine.
 */
#include "tests/system/sim_stage.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/ipc.h>
#include <sys/shm.h>

/* strace and valgrind cannot run a program with sanitizers. */
#if defined(__SANITIZE_ADDRESS__)
constexpr bool is_sanitized = true;
#elif defined(__has_feature)
constexpr bool is_sanitized = __has_feature(address_sanitizer);
#else
constexpr bool is_sanitized = false;
#endif

/* False if it is not installed, or may not trace another process. */
static bool works(const std::string &command)
{
	return system((command + " >/dev/null 2>&1").c_str()) == 0;
}

class Cost : public SimulatorTest
{
      protected:
	/* Start simulator, and the daemon inside another program; let two beacons rotate. */
	void rotate_inside(const std::string &controller, const std::vector<std::string> &outer)
	{
		program maker;

		ASSERT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin" },
			      &maker),
			  0);
		simulator =
			start_simulator(controller, { "--baud", "0", "--log", folder + "/log" });
		program around = start(outer);
		ASSERT_TRUE(comes_true([&] { return has_controller(); })) << content_of(around.err);
		load_beacon(0, "00112233445566778899AABBCCDDEEFF", "1");
		load_beacon(1, "F7826DA64FA24E988024BC5B71E0893E", "2");
		strcpy(segment->config.interval, "20");
		shmid_ds status = {};
		shmctl(shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600), IPC_STAT, &status);
		daemon.pid = status.shm_cpid; /* the outer program may be another process */
		say_and_wait(daemon, { "show", "version" });
		say_and_wait(daemon, { "ibeacon", "start" });
		EXPECT_TRUE(comes_true([&] { return exchanges() >= 40; }));
		say_and_wait(daemon, { "ibeacon", "stop" });
		kill(daemon.pid, SIGTERM);
		EXPECT_EQ(wait_for_end(around), 0) << content_of(around.err);
		shmdt(segment);
		segment = nullptr;
		EXPECT_EQ(stop(simulator, SIGTERM), 0);
	}

	bool has_controller()
	{
		if (!segment && segment_exists())
			segment = attach();
		return segment && segment->config.opt.status == BLE_STATUS_AVAILABLE;
	}

	/* How often advertising data was sent. */
	size_t exchanges()
	{
		const std::string log = content_of(folder + "/log");
		size_t count = 0;

		for (const char *packet : { "\"01 07 FE 20", "\"01 08 20 20" })
			for (size_t at = 0; (at = log.find(packet, at)) != std::string::npos; at++)
				count++;
		return count;
	}

	/* The names of the calls between every two sleeps. */
	static std::vector<std::string> steps(const std::string &trace)
	{
		std::istringstream lines(trace);
		std::vector<std::string> all = { "" };

		for (std::string line; std::getline(lines, line);) {
			const std::string name = line.substr(0, line.find('('));
			if (name.find("nanosleep") != std::string::npos)
				all.emplace_back();
			else if (!name.starts_with("---") && name != "rt_sigreturn")
				all.back() += name + " "; /* not a call but a signal */
		}
		return all;
	}

	double instructions_of(const std::string &controller, const std::string &function)
	{
		rotate_inside(controller, counted(function));
		const std::string counts = content_of(folder + "/counts");
		const size_t at = counts.find("totals: ");
		EXPECT_NE(at, std::string::npos) << counts;
		if (at == std::string::npos)
			return 0;
		return strtod(counts.c_str() + at + strlen("totals: "), nullptr) /
		       static_cast<double>(exchanges());
	}

	/*
	 * The command that runs the daemon in valgrind. Its process then has valgrind's name, so
	 * a fake pidof answers the check for another instance.
	 */
	std::vector<std::string> counted(const std::string &function)
	{
		const std::string bin = folder + "/bin";

		std::filesystem::create_directory(bin);
		std::ofstream(bin + "/pidof")
			<< "#!/bin/sh\ncat " << quoted(folder + "/pid") << "\n";
		std::filesystem::permissions(bin + "/pidof", std::filesystem::perms::owner_all);
		/* valgrind cannot read the newest debug information, and needs none. */
		return { "/bin/sh", "-c",
			 "mkdir -p lib && cp " + quoted(built("lib")) + "/*.so lib && cp " +
				 quoted(built("vorlind")) +
				 " . && strip -g vorlind lib/*.so && echo $$ >pid && PATH=" +
				 quoted(bin) +
				 ":$PATH exec valgrind --vgdb=no --tool=callgrind "
				 "--callgrind-out-file=counts --toggle-collect='" +
				 function + "' ./vorlind" };
	}
};

static const char one_event[] = "rt_sigprocmask pselect6 rt_sigprocmask read read read ";

static const struct {
	const char *controller;
	int events; /* that answer one exchange */
} exchange_rows[] = {
	{ "ti-06", 2 },
	{ "ti-08", 2 },
	{ "qualcomm", 1 },
};

class SystemCalls : public Cost, public testing::WithParamInterface<size_t>
{
};

TEST_P(SystemCalls, OfAnExchangeAreOneWriteAndSixForEachEvent)
{
	if (is_sanitized)
		GTEST_SKIP() << "a program with sanitizers does not run under strace";
	if (!works("strace -o /dev/null true"))
		GTEST_SKIP() << "strace is not installed or not allowed";
	const auto &row = exchange_rows[GetParam()];
	std::string expected = "write ";
	for (int i = 0; i < row.events; i++)
		expected += one_event;
	rotate_inside(row.controller,
		      { "/usr/bin/strace", "-o", folder + "/calls", built("vorlind") });
	const std::vector<std::string> all = steps(content_of(folder + "/calls"));
	const auto first = std::ranges::find(all, expected);
	ASSERT_NE(first, all.end());
	const auto last = std::find(all.rbegin(), all.rend(), expected).base();
	EXPECT_GE(last - first, 35);
	for (auto step = first; step != last; step++)
		EXPECT_EQ(*step, expected);
}
INSTANTIATE_TEST_SUITE_P(OfEachController, SystemCalls, testing::Range<size_t>(0, 3));

/* Instructions of one exchange, including those in the C library. */
static const struct {
	const char *compiler; /* __VERSION__ */
	const char *controller;
	const char *function; /* it makes the exchange */
	double instructions;
} instruction_rows[] = {
	{ "12.2.0", "ti-08", "_hci_func_gap_update_advertising_data", 1118 },
	{ "12.2.0", "qualcomm", "_hci_func_le_set_advertising_data", 640 },
	{ "Debian Clang 14.0.6", "ti-08", "_hci_func_gap_update_advertising_data", 1116 },
	{ "Debian Clang 14.0.6", "qualcomm", "_hci_func_le_set_advertising_data", 649 },
};

/* The table is for the shipped build. */
static bool is_as_shipped()
{
#if !defined(NDEBUG) || !defined(__x86_64__)
	return false;
#else
	return !is_sanitized;
#endif
}

TEST_F(Cost, AnExchangeTakesAsManyInstructionsAsItDid)
{
	size_t counted = 0;

	if (!is_as_shipped())
		GTEST_SKIP() << "the numbers are those of an optimised build for x86-64";
	if (!works("valgrind --version") || !works("strip --version"))
		GTEST_SKIP() << "valgrind or strip is not installed";
	for (const auto &row : instruction_rows) {
		if (strcmp(row.compiler, __VERSION__) != 0)
			continue;
		SCOPED_TRACE(row.controller);
		const double each = instructions_of(
			row.controller, std::string(row.function) + "(unsigned char const*)");
		printf("%s: %.1f instructions an exchange\n", row.controller, each);
		EXPECT_NEAR(each, row.instructions, row.instructions * 0.05);
		counted++;
	}
	if (counted == 0)
		GTEST_SKIP() << "nobody has counted with the compiler " << __VERSION__;
}
