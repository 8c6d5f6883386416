// SPDX-License-Identifier: Apache-2.0
#include "tests/system/traced.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

traced::traced(const std::vector<std::string> &words, const std::string &output)
{
	std::vector<char *> arguments;

	for (const std::string &word : words)
		arguments.push_back(const_cast<char *>(word.c_str()));
	arguments.push_back(nullptr);
	pid = fork();
	if (pid == 0) {
		const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
		dup2(out, STDOUT_FILENO);
		dup2(out, STDERR_FILENO);
		ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
		execv(arguments[0], arguments.data());
		_exit(127);
	}
	waitpid(pid, &status, 0);
	ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
}

traced::~traced()
{
	kills();
}

/* Continue until it stops again; passes other signals on. */
bool traced::goes_on(int request)
{
	if (!WIFSTOPPED(status))
		return false;
	const int stopped = WSTOPSIG(status);
	const bool is_ours = stopped == SIGTRAP || stopped == (SIGTRAP | 0x80);
	ptrace(static_cast<__ptrace_request>(request), pid, nullptr, is_ours ? 0 : stopped);
	waitpid(pid, &status, 0);
	return WIFSTOPPED(status);
}

long traced::call() const
{
	__ptrace_syscall_info info = {};

	if (ptrace(static_cast<__ptrace_request>(PTRACE_GET_SYSCALL_INFO), pid, sizeof(info),
		   &info) <= 0 ||
	    info.op != PTRACE_SYSCALL_INFO_ENTRY)
		return -1;
	return static_cast<long>(info.entry.nr);
}

bool traced::enters(const std::vector<long> &calls)
{
	while (goes_on(PTRACE_SYSCALL))
		if (std::find(calls.begin(), calls.end(), call()) != calls.end())
			return true;
	return false;
}

bool traced::leaves()
{
	return goes_on(PTRACE_SYSCALL);
}

bool traced::steps()
{
	return goes_on(PTRACE_SINGLESTEP);
}

void traced::kills()
{
	if (!WIFSTOPPED(status))
		return;
	kill(pid, SIGKILL);
	waitpid(pid, &status, 0);
}

int traced::ends()
{
	ptrace(PTRACE_DETACH, pid, nullptr, nullptr);
	waitpid(pid, &status, 0);
	return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
