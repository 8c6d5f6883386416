// SPDX-License-Identifier: Apache-2.0
/* One exchange of a command function: what it sends, and its result for the answer. */
#pragma once

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

struct command_row {
	const char *name;
	int32_t (*call)();
	const char *sent;
	const char *answer;
	int32_t result;
	const char *traced; /* by the function itself under TRACE_HCI_TX; line numbers are N */
};

class CommandTest : public DaemonTest
{
      protected:
	/* The traces without line numbers and without those of the exchange. */
	std::string traced()
	{
		return replaced(
			replaced(console(), "\\([0-9]+\\) ", "(N) "),
			"(hci_send_command|ble_select_read|read_hci_event|hci_receive_event)\\(N\\) "
			"[^\n]*\n+",
			"");
	}

	template <size_t count> void hold(const command_row (&rows)[count])
	{
		for (const command_row &row : rows) {
			SCOPED_TRACE(row.name);
			fake_unplug();
			fake_plug();
			fake_answers(row.answer);
			dbg_level = TRACE_HCI_TX;
			int32_t result = 0;
			stderr_of([&] { result = row.call(); });
			EXPECT_EQ(result, row.result);
			EXPECT_EQ(fake_heard(), row.sent);
			EXPECT_EQ(fake_unread(), 0U) << "an event was left in the line";
			EXPECT_EQ(traced(), row.traced);
			if (row.result == 0)
				hold_dump(row);
		}
	}

      private:
	/* Check that the dump shows the whole answer and nothing after it. */
	void hold_dump(const command_row &row)
	{
		fake_answers(row.answer);
		dbg_level = TRACE_HCI_RX;
		const std::string dumped = stderr_of([&] { EXPECT_EQ(row.call(), 0); });
		EXPECT_EQ(bytes_of(dumped), bytes_of(row.answer));
		console(); /* emptied for the next row */
	}

	/* Hexadecimal bytes, without their separators. */
	static std::string bytes_of(const std::string &text)
	{
		return replaced(text, "[^0-9A-F]+", "");
	}
};
