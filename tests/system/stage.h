// SPDX-License-Identifier: Apache-2.0
/*
 * The stage of the system tests: the shipped programs, started as a device would start them,
 * and the segment as a client sees it. Runs inside tools/sandbox, which keeps the global
 * names (segment keys, device paths, process name) to itself.
 */
#pragma once

#include "daemon/segment.h"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

/* Whether this test is a program of another processor, in an emulator. */
#ifdef VORLIND_EMULATED
constexpr bool is_emulated = true;
#else
constexpr bool is_emulated = false;
#endif

/* A started program; what it prints goes to files of its own. */
struct program {
	pid_t pid = -1;
	std::string out;  /* path of its standard output */
	std::string err;  /* path of its standard error */
	size_t ready = 0; /* bytes on standard error when it was ready */
};

/* What a file holds, empty if there is none. */
std::string content_of(const std::string &path);

/*
 * How long anything may take. Only what hangs takes so long, on a machine however busy and under
 * valgrind or an emulator: no verdict hangs on how fast one is.
 */
constexpr std::chrono::seconds PATIENCE(180);

/* True when a child has ended; it stays a zombie for whoever waits for it. */
bool has_ended(pid_t child);

/* The same for poll. */
constexpr int PATIENCE_MS = std::chrono::milliseconds(PATIENCE).count();

/* True as soon as `condition` holds; false if it does not for as long as PATIENCE. */
bool comes_true(const std::function<bool()> &condition);

class SystemTest : public testing::Test
{
      protected:
	void SetUp() override;
	void TearDown() override;

	/* The path of a program of the build under test. */
	static std::string built(const std::string &name);

	/* A path as a shell takes it for one word, whatever folder it is in. */
	static std::string quoted(const std::string &path);

	/* Start a program in the test's folder; it is killed at the end if it still runs. */
	program start(const std::vector<std::string> &words);

	/* Start vorlind and wait until it has answered a "show version"; ends the test if not. */
	program start_daemon();

	/* What the daemon has printed to standard error since it was ready. */
	static std::string printed(const program &daemon);

	/* Start vorlin-sim behind /dev/ttyMSM1 and wait until it can be opened, or end the test. */
	program start_simulator(const std::string &controller,
				const std::vector<std::string> &options = {});

	/* Send a signal and wait for the end: the exit status, 128 + number if a signal ended it.
	 */
	int stop(const program &of, int signo);
	int wait_for_end(const program &of);

	/* Run a program to its end: its exit status; what it printed is in `of`. */
	int run(const std::vector<std::string> &words, program *of);

	/* Attach to the daemon's segment; null if there is none. */
	ble_segment *attach();

	/* What a client does: lock, words, cmd_doing, unlock, SIGUSR1. */
	void say(const program &daemon, const std::vector<std::string> &words);

	/*
	 * The same with the lock kept until the daemon asks for it, so that no round is under way
	 * but the command's own; then wait until that has cleared cmd_doing.
	 */
	void say_and_wait(const program &daemon, const std::vector<std::string> &words);

	/* How many processes wait for the lock. */
	static int waiting_for_lock();

	static bool semaphore_exists();
	static bool segment_exists();

	std::string folder;             /* of the test's own, and where the programs start */
	ble_segment *segment = nullptr; /* once a daemon was started */

      private:
	void write_words(const std::vector<std::string> &words);

	std::vector<pid_t> running;
	int files = 0;
};
