// SPDX-License-Identifier: Apache-2.0
/* The settings and the folder for a controller's start-up; closes the line afterwards. */
#pragma once

#include "ble/chip.h"
#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"
#include "tests/unit/fakes/fake_pty_controller.h"

#include <filesystem>

class ChipTest : public DaemonTest
{
      protected:
	void SetUp() override
	{
		DaemonTest::SetUp();
		write_field(ble_config->interval, "100");
		write_field(ble_config->power_index, "max");
		write_field(ble_config->mac, "NONE");
		before = std::filesystem::current_path();
		std::filesystem::current_path(folder);
	}

	void TearDown() override
	{
		tty_deinit(); /* before the pty closes */
		std::filesystem::current_path(before);
		DaemonTest::TearDown();
	}

      private:
	std::filesystem::path before;
};
