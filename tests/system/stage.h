// SPDX-License-Identifier: Apache-2.0
/*
 * The set-up of the system tests: starts the shipped programs as a device does, and attaches to
 * the segment as a client does. Runs inside tools/sandbox, which has its own global names
 * (segment keys, device paths, process name).
 */
#pragma once

#include "daemon/segment.h"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

/* True if this test was built for another processor and runs in an emulator. */
#ifdef VORLIND_EMULATED
constexpr bool is_emulated = true;
#else
constexpr bool is_emulated = false;
#endif

/* A started program; its output goes to two files. */
struct program {
	pid_t pid = -1;
	std::string out;  /* path of its standard output */
	std::string err;  /* path of its standard error */
	size_t ready = 0; /* bytes on its standard error when it was ready */
};

/* The content of a file; empty if there is none. */
std::string content_of(const std::string &path);

/*
 * The limit for every wait. Only a hang takes so long, even on a busy machine, under valgrind or
 * in an emulator: no result depends on speed.
 */
constexpr std::chrono::seconds PATIENCE(180);

/* True when a child has ended; leaves the zombie to a later wait. */
bool has_ended(pid_t child);

/* The same for poll. */
constexpr int PATIENCE_MS = std::chrono::milliseconds(PATIENCE).count();

/* Wait until `condition` is true; false if it is not within PATIENCE. */
bool comes_true(const std::function<bool()> &condition);

class SystemTest : public testing::Test
{
      protected:
	void SetUp() override;
	void TearDown() override;

	/* The path of a program of the build under test. */
	static std::string built(const std::string &name);

	/* A path quoted as one word for the shell. */
	static std::string quoted(const std::string &path);

	/* Start a program in the test's folder; TearDown kills it if it still runs. */
	program start(const std::vector<std::string> &words);

	/* Start vorlind and wait until it has answered "show version"; if not, end the test. */
	program start_daemon();

	/* The daemon's standard error since it was ready. */
	static std::string printed(const program &daemon);

	/* Start vorlin-sim at /dev/ttyMSM1 and wait until that opens; if not, end the test. */
	program start_simulator(const std::string &controller,
				const std::vector<std::string> &options = {});

	/* Send a signal and wait for the end: the exit status, 128 + number if killed by a signal.
	 */
	int stop(const program &of, int signo);
	int wait_for_end(const program &of);

	/* Run a program to its end: its exit status; `of` has its output. */
	int run(const std::vector<std::string> &words, program *of);

	/* Attach to the daemon's segment; null if there is none. */
	ble_segment *attach();

	/* Do what a client does: lock, words, cmd_doing, unlock, SIGUSR1. */
	void say(const program &daemon, const std::vector<std::string> &words);

	/*
	 * The same, but keep the lock until the daemon waits for it: then the daemon's current
	 * round is that of this command. Then wait until the daemon has cleared cmd_doing.
	 */
	void say_and_wait(const program &daemon, const std::vector<std::string> &words);

	/* The number of processes that wait for the lock. */
	static int waiting_for_lock();

	static bool semaphore_exists();
	static bool segment_exists();

	std::string folder;             /* the test's own; the programs start in it */
	ble_segment *segment = nullptr; /* set when a daemon was started */

      private:
	void write_words(const std::vector<std::string> &words);

	std::vector<pid_t> running;
	int files = 0;
};
