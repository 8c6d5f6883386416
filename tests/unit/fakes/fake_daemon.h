// SPDX-License-Identifier: Apache-2.0
/* The fixture of all daemon tests, with its own segment, controller, console and clock. */
#pragma once

#include "daemon/bleipc.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/command_tables.h"
#include "hci/serial.h"
#include "tests/unit/fakes/fake_clock.h"
#include "tests/unit/fakes/fake_controller.h"
#include "tests/unit/fakes/fake_device_libs.h"
#include "tests/unit/fakes/fake_files.h"
#include "tests/unit/fakes/fake_refusals.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

/*
 * Each test starts with: an unlocked private semaphore, a zeroed segment between two guard
 * areas, opt.status 2, a connected controller without queued answers, slot 0, an empty
 * console, trace mask 0, no flag set. At its end the guard areas must be unchanged.
 */
class DaemonTest : public testing::Test
{
      protected:
	void SetUp() override;
	void TearDown() override;

	/* The traces since the last call. */
	std::string console();

	/* What `action` prints to a descriptor; in memory, so that a crash leaves no file. */
	static std::string printed_to(int fd, const std::function<void()> &action);
	static std::string stderr_of(const std::function<void()> &action)
	{
		return printed_to(STDERR_FILENO, action);
	}

	/* Write argc and the words as a client does. */
	static void client_says(const std::vector<std::string> &words);

	/* Write a text field as a client does: cut at the width, without a NUL if full. */
	template <size_t width>
	static void write_field(char (&field)[width], const std::string &text)
	{
		for (size_t i = 0; i < width; i++)
			field[i] = i < text.size() ? text[i] : '\0';
	}

	/* The test's own folder, empty at its start. */
	std::string folder;

	/* From now on the process has its IPC objects to itself: the real keys, which no other
	 * process may lose, can be used. False where that is not allowed. */
	static bool has_own_ipc_objects();

      private:
	int console_fd = -1;
};
