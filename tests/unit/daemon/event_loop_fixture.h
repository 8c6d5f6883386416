// SPDX-License-Identifier: Apache-2.0
/* Runs the event loop; the test says what happens in each of its sleeps. */
#pragma once

#include "daemon/event_loop.h"
#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <map>

class EventLoop : public DaemonTest
{
      protected:
	/* Actions for the n-th sleep of the loop; 1 is the first. */
	std::map<size_t, std::function<void()>> in_sleep;
	size_t last_sleep = 3; /* flag_daemon_quit is set in it */

	void SetUp() override
	{
		DaemonTest::SetUp();
		fake_during_sleep = [this] {
			const size_t n = fake_sleeps.size();
			if (in_sleep.contains(n))
				in_sleep[n]();
			if (n >= last_sleep)
				flag_daemon_quit = 1;
		};
	}

	std::string run_loop()
	{
		return stderr_of([] { run_daemon_task(); });
	}

	std::string traced()
	{
		return replaced(console(), "\\([0-9]+\\) ", "(N) ");
	}

	void enable_entry(size_t i)
	{
		write_field(ble_config->beacon[i].enable, "1");
		write_field(ble_config->beacon[i].uuid, std::string(32, 'A'));
		write_field(ble_config->interval, "100");
	}

	/* Queue a Qualcomm controller's answers to this many advertising commands. */
	void answer_advertising(int commands)
	{
		for (int i = 0; i < commands; i++)
			fake_answers("04 0E 04 01 0A 20 00");
	}
};
