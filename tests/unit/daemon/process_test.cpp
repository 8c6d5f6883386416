// SPDX-License-Identifier: Apache-2.0
/* Processes by name, from pidof's output, and the two file helpers. */
#include "daemon/process.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

class Process : public DaemonTest
{
      protected:
	void SetUp() override
	{
		DaemonTest::SetUp();
		path_before = getenv("PATH");
		setenv("PATH", (folder + ":" + path_before).c_str(), 1);
	}

	void TearDown() override
	{
		setenv("PATH", path_before.c_str(), 1);
		DaemonTest::TearDown();
	}

	/* Make pidof record its arguments and print this. */
	void pidof_prints(const std::string &text)
	{
		const std::string path = folder + "/pidof";
		std::ofstream(path) << "#!/bin/sh\necho \"$@\" >" << folder << "/asked\nprintf '"
				    << text << "'\n";
		std::filesystem::permissions(path, std::filesystem::perms::owner_all);
	}

	std::string asked()
	{
		std::string line;
		std::ifstream file(folder + "/asked");
		std::getline(file, line);
		return line;
	}

	const std::string own = std::to_string(getpid());

      private:
	std::string path_before;
};

TEST_F(Process, OnlyThisProcessIsZero)
{
	pidof_prints(own + "\\n");
	EXPECT_EQ(is_daemon_exist("vorlind"), 0);
	EXPECT_EQ(asked(), "vorlind");
}

TEST_F(Process, AnyOtherAnswerCountsAsAnotherInstance)
{
	for (const std::string &answer : { std::string(""), own, own + " 1\\n", "1 " + own + "\\n",
					   std::string("1\\n"), " " + own + "\\n", own + " \\n",
					   "00000000000000000000000000000000" + own + "\\n" }) {
		pidof_prints(answer);
		EXPECT_EQ(is_daemon_exist("vorlind"), 1) << answer;
	}
	std::filesystem::remove(folder + "/pidof");
	setenv("PATH", folder.c_str(), 1);
	EXPECT_EQ(is_daemon_exist("vorlind"), 1) << "no pidof, no answer";
}

TEST_F(Process, TheQuestionIsCutTo31Characters)
{
	pidof_prints(own + "\\n");
	EXPECT_EQ(is_daemon_exist("a-name-that-is-longer-than-the-buffer"), 0);
	EXPECT_EQ(asked(), "a-name-that-is-longer-tha");
}

TEST_F(Process, TheCheckIsTraced)
{
	pidof_prints(own + " 77\\n");
	dbg_level = TRACE_FLOW;
	is_daemon_exist("vorlind");
	const std::string text = replaced(console(), "exist\\([0-9]+\\)", "exist(N)");
	EXPECT_EQ(text, "is_daemon_exist(N) buf=pidof vorlind"
			"is_daemon_exist(N) buf_pidof=" +
				own + " 77\n, buf=" + own + "\n")
		<< "texts without a newline run together";
}

TEST_F(Process, TheFirstProcessOfTheAnswerIsSignalled)
{
	const pid_t first = fork();
	if (first == 0) {
		pause();
		_exit(0);
	}
	const pid_t second = fork();
	if (second == 0) {
		pause();
		_exit(0);
	}
	pidof_prints(std::to_string(first) + " " + std::to_string(second) + "\\n");
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(send_signal_to_process("vorlind", SIGTERM), 0);
	int status = 0;
	EXPECT_EQ(waitpid(first, &status, 0), first);
	EXPECT_EQ(WTERMSIG(status), SIGTERM);
	EXPECT_EQ(waitpid(second, &status, WNOHANG), 0);
	kill(second, SIGKILL);
	waitpid(second, &status, 0);
	EXPECT_EQ(without_lines(console()), "send_signal_to_process(N) bin=vorlind, sig_num=15\n"
					    "send_signal_to_process(N) buf=" +
						    std::to_string(first) + " " +
						    std::to_string(second) +
						    "\n"
						    "send_signal_to_process(N) kill(pid=" +
						    std::to_string(first) + ", sig_num=15)\n");
}

TEST_F(Process, AnAnswerWithoutANumberSignalsNobody)
{
	/* In its own process group: a signal to the group reaches no other process. */
	const pid_t child = fork();
	if (child == 0) {
		setpgid(0, 0);
		dbg_level = TRACE_FLOW;
		for (const char *answer : { "", "\\n", "0\\n", "none\\n" }) {
			pidof_prints(answer);
			if (send_signal_to_process("vorlind", SIGTERM) != 0)
				_exit(1);
		}
		_exit(console().find("kill(") == std::string::npos ? 0 : 2);
	}
	int status = -1;
	EXPECT_EQ(waitpid(child, &status, 0), child);
	EXPECT_EQ(status, 0);
}

TEST_F(Process, ANameOfAnyLengthIsAskedForWhole)
{
	const std::string name(5000, 'n');

	pidof_prints("");
	EXPECT_EQ(send_signal_to_process(name.c_str(), 0), 0);
	EXPECT_EQ(asked(), name);
}

TEST_F(Process, WithoutAnotherProcessToRunNothingIsAsked)
{
	fake_refuse("popen", EAGAIN);
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(is_daemon_exist("vorlind"), -1);
	EXPECT_TRUE(matches(console(),
			    "is_daemon_exist\\([0-9]+\\) buf=pidof vorlind"
			    "is_daemon_exist\\([0-9]+\\) Could not run pidof vorlind\n"));
	EXPECT_EQ(send_signal_to_process("vorlind", SIGKILL), -1);
	EXPECT_EQ(without_lines(console()),
		  "send_signal_to_process(N) bin=vorlind, sig_num=9\n"
		  "send_signal_to_process(N) Could not run pidof vorlind\n");
}

TEST_F(Process, NeitherAChildNorADescriptorIsLeft)
{
	const auto open_files = [] {
		return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
	};
	const auto count = open_files();

	pidof_prints(own + "\\n");
	EXPECT_EQ(is_daemon_exist("vorlind"), 0);
	EXPECT_EQ(send_signal_to_process("vorlind", 0), 0);
	EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
	EXPECT_EQ(open_files(), count);
}

TEST_F(Process, ThePidFileHoldsTheIdWithoutNewline)
{
	const std::string path = folder + "/pid";

	EXPECT_EQ(write_pid_file(path.c_str()), 0);
	std::string text((std::istreambuf_iterator<char>(std::ifstream(path).rdbuf())), {});
	EXPECT_EQ(text, own);
	EXPECT_EQ(write_pid_file((folder + "/none/pid").c_str()), -1);
}

TEST_F(Process, FileHasContentTellsThreeCasesApart)
{
	const std::string path = folder + "/file";

	EXPECT_EQ(file_has_content(path.c_str()), -1);
	std::ofstream(path) << "";
	EXPECT_EQ(file_has_content(path.c_str()), 0);
	std::ofstream(path) << "x";
	EXPECT_EQ(file_has_content(path.c_str()), 1);
}
