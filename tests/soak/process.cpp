// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/process.h"

#include "tests/system/stage.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace fs = std::filesystem;

static std::string proc(pid_t pid, const char *file)
{
	return "/proc/" + std::to_string(pid) + "/" + file;
}

/* A number of /proc/PID/status; 0 if the process is gone. */
static uint64_t status_number(const std::string &status, const char *field, int base)
{
	const size_t at = status.find(field);

	return at == std::string::npos
		       ? 0
		       : strtoull(status.c_str() + at + strlen(field), nullptr, base);
}

bool takes_signals(pid_t pid)
{
	const uint64_t caught = status_number(content_of(proc(pid, "status")), "\nSigCgt:", 16);

	return (caught >> (SIGUSR2 - 1) & 1) != 0;
}

process_size size_of(pid_t pid)
{
	const std::string status = content_of(proc(pid, "status"));
	process_size size;
	std::error_code gone;

	size.resident = status_number(status, "\nVmRSS:", 10);
	size.data = status_number(status, "\nVmData:", 10);
	for (fs::directory_iterator one(proc(pid, "fd"), gone), end; !gone && one != end;
	     one.increment(gone))
		size.descriptors++;
	return size;
}

struct pursuit_row {
	long call;
	pursuit what;
};

// clang-format off
static const pursuit_row pursuits[] = {
	{ SYS_clock_nanosleep, pursuit::pausing },
	{ SYS_nanosleep,       pursuit::pausing },
	{ SYS_pselect6,        pursuit::awaiting_event },
#ifdef SYS_select
	{ SYS_select,          pursuit::awaiting_event },
#endif
	{ SYS_read,            pursuit::within_event },
	{ SYS_semop,           pursuit::awaiting_lock },
	{ SYS_semtimedop,      pursuit::awaiting_lock },
};
// clang-format on

pursuit pursuit_of(pid_t pid)
{
	const std::string text = content_of(proc(pid, "syscall"));
	char *end;
	const long call = strtol(text.c_str(), &end, 10);

	if (end != text.c_str()) /* not "running" */
		for (const pursuit_row &row : pursuits)
			if (row.call == call)
				return row.what;
	return pursuit::running;
}

uint64_t waits_of(pid_t pid)
{
	return status_number(content_of(proc(pid, "status")), "\nvoluntary_ctxt_switches:", 10);
}

const char *pursuit_name(pursuit what)
{
	switch (what) {
	case pursuit::running:
		break;
	case pursuit::pausing:
		return "pausing";
	case pursuit::awaiting_event:
		return "awaiting an event";
	case pursuit::within_event:
		return "within an event";
	case pursuit::awaiting_lock:
		return "awaiting the lock";
	}
	return "running";
}

std::vector<process_row> processes()
{
	std::vector<process_row> rows;
	std::error_code gone;

	for (fs::directory_iterator one("/proc", gone), end; !gone && one != end;
	     one.increment(gone)) {
		const pid_t pid = atoi(one->path().filename().c_str());
		const std::string stat = pid > 0 ? content_of(proc(pid, "stat")) : "";
		const size_t open = stat.find('(');
		const size_t close = stat.rfind(')');
		if (open == std::string::npos || close == std::string::npos ||
		    close + 4 > stat.size())
			continue;
		rows.push_back({ pid, atoi(stat.c_str() + close + 4),
				 stat.substr(open + 1, close - open - 1), stat[close + 2] });
	}
	return rows;
}

bool is_private()
{
	const char *sandbox = getenv("VORLIND_SANDBOX");

	return sandbox && strcmp(sandbox, "private") == 0;
}

int segments_in_use()
{
	shm_info info = {};

	shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds *>(&info));
	return info.used_ids;
}

int semaphores_in_use()
{
	seminfo info = {};

	semctl(0, 0, SEM_INFO, &info);
	return info.semusz;
}
