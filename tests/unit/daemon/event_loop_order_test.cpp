// SPDX-License-Identifier: Apache-2.0
/* What a client on another core may see at a task's end: checked after each instruction. */
#include "tests/unit/daemon/event_loop_fixture.h"

#include <csignal>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

struct instant {
	uint32_t action;
	uint32_t status;
	uint32_t cmd_doing;

	bool operator==(const instant &) const = default;
};

static void PrintTo(const instant &one, std::ostream *out)
{
	*out << "action " << one.action << " status " << one.status << " doing " << one.cmd_doing;
}

/* A Qualcomm controller: one event answers each command. */
class EventLoopOrder : public EventLoop
{
      protected:
	static constexpr int NOT_TRACED = 77;

	void SetUp() override
	{
		EventLoop::SetUp();
		hci_ver_index = 2;
		last_sleep = 2;
	}

	/* In the loop's first sleep a client writes this command. */
	void say(const std::vector<std::string> &words)
	{
		in_sleep[1] = [words] {
			client_says(words);
			ble_ipc.buf->cmd_doing = 1;
			flag_cmd_change = 1;
		};
	}

	/*
	 * Run the loop in a child, an instruction at a time: the values of the three words in
	 * their order, from the command on. Empty where no process may trace another.
	 */
	static std::vector<instant> seen()
	{
		std::vector<instant> instants;
		const pid_t child = fork();

		if (child == 0) {
			dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
			if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
				_exit(NOT_TRACED);
			raise(SIGSTOP);
			run_daemon_task();
			_exit(0);
		}
		int status = 0;
		while (waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
			const instant now = { peek(child, &ble_config->opt.action),
					      peek(child, &ble_config->opt.status),
					      peek(child, &ble_ipc.buf->cmd_doing) };
			if (instants.empty() ? now.cmd_doing != 0 : now != instants.back())
				instants.push_back(now);
			ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr);
		}
		EXPECT_TRUE(status == 0 || WEXITSTATUS(status) == NOT_TRACED) << status;
		return instants;
	}

	static void expect_seen(const std::vector<instant> &expected)
	{
		const std::vector<instant> found = seen();

		if (found.empty())
			GTEST_SKIP() << "no process may be traced here";
		EXPECT_EQ(found, expected);
	}

      private:
	static uint32_t peek(pid_t of, volatile uint32_t *word)
	{
		return static_cast<uint32_t>(
			ptrace(PTRACE_PEEKDATA, of, const_cast<uint32_t *>(word), nullptr));
	}
};

TEST_F(EventLoopOrder, AStopHasItsStatusBeforeItsActionIsGone)
{
	ble_config->opt.status = BLE_STATUS_ADVERTISING;
	answer_advertising(1);
	say({ "ibeacon", "stop" });
	expect_seen({ { 0, 3, 1 }, { 1, 3, 1 }, { 1, 2, 1 }, { 0, 2, 1 }, { 0, 2, 0 } });
}

TEST_F(EventLoopOrder, SoHasAStopThatFails)
{
	ble_config->opt.status = BLE_STATUS_ADVERTISING;
	fake_answers("04 0E 04 01 0A 20 0C");
	say({ "ibeacon", "stop" });
	expect_seen({ { 0, 3, 1 }, { 1, 3, 1 }, { 1, 1, 1 }, { 0, 1, 1 }, { 0, 1, 0 } });
}

TEST_F(EventLoopOrder, BeaconsAreOnTheAirBeforeTheirCommandIsDone)
{
	last_sleep = 3; /* the second is the dwell */
	enable_entry(0);
	answer_advertising(3);
	say({ "ibeacon", "start" });
	expect_seen({ { 0, 2, 1 }, { 2, 2, 1 }, { 2, 3, 1 }, { 2, 3, 0 } });
}
