// SPDX-License-Identifier: Apache-2.0
/* The fixture of all daemon tests: a segment, a controller, a console and a clock of its own. */
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
 * Each test starts with: an unlocked private semaphore and a zeroed segment between two guard
 * areas, opt.status 2, a controller plugged in that has no answers queued, slot 0, an empty
 * console, trace mask 0, no flag raised. At its end the guards must be untouched.
 */
class DaemonTest : public testing::Test
{
      protected:
	void SetUp() override;
	void TearDown() override;

	/* What went to the console since the last call. */
	std::string console();

	/* What `action` prints to a descriptor; kept in memory, so that no crash leaves a file. */
	static std::string printed_to(int fd, const std::function<void()> &action);
	static std::string stderr_of(const std::function<void()> &action)
	{
		return printed_to(STDERR_FILENO, action);
	}

	/* Write a command as a client would: argc and the words. */
	static void client_says(const std::vector<std::string> &words);

	/* A text field as a client writes it: cut at the width, without a NUL if it fills it. */
	template <size_t width>
	static void write_field(char (&field)[width], const std::string &text)
	{
		for (size_t i = 0; i < width; i++)
			field[i] = i < text.size() ? text[i] : '\0';
	}

	/* A folder of the test's own, empty at its start. */
	std::string folder;

      private:
	int console_fd = -1;
};
