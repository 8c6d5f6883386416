// SPDX-License-Identifier: Apache-2.0
#include "daemon/process.h"

#include "daemon/trace.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

/* Read the first line that `command` prints, which may be empty: 0, or -1 if it cannot run. */
static int32_t first_line(const char *command, char *answer, int size)
{
	answer[0] = '\0';
	FILE *pipe = popen(command, "r");
	if (!pipe)
		return -1;
	if (!fgets(answer, size, pipe))
		answer[0] = '\0';
	pclose(pipe);
	return 0;
}

int32_t is_daemon_exist(const char *name)
{
	char buf[32];
	char buf_pidof[32];

	snprintf(buf, sizeof(buf), "pidof %s", name);
	TRACE(TRACE_FLOW, "buf=%s", buf);
	if (first_line(buf, buf_pidof, sizeof(buf_pidof)) != 0) {
		TRACE(TRACE_FLOW, "Could not run %s\n", buf);
		return -1;
	}
	snprintf(buf, sizeof(buf), "%d\n", getpid());
	TRACE(TRACE_FLOW, "buf_pidof=%s, buf=%s", buf_pidof, buf);
	/* Strict on purpose: any answer but the own id refuses the start. */
	return strcmp(buf_pidof, buf) == 0 ? 0 : 1;
}

int32_t send_signal_to_process(const char *name, int sig_num)
{
	char *command = nullptr;
	char buf[128];

	TRACE(TRACE_FLOW, "bin=%s, sig_num=%d\n", name, sig_num);
	if (asprintf(&command, "pidof %s", name) < 0)
		return -1;
	const int32_t result = first_line(command, buf, sizeof(buf));
	if (result != 0)
		TRACE(TRACE_FLOW, "Could not run %s\n", command);
	free(command);
	if (result != 0)
		return -1;
	TRACE(TRACE_FLOW, "buf=%s", buf);
	const auto pid = static_cast<pid_t>(strtoul(buf, nullptr, 10));
	if (pid <= 0) /* no such process; kill would signal the own group for 0, all for -1 */
		return 0;
	TRACE(TRACE_FLOW, "kill(pid=%d, sig_num=%d)\n", pid, sig_num);
	kill(pid, sig_num);
	return 0;
}

int32_t write_pid_file(const char *path)
{
	FILE *file = fopen(path, "w");

	if (!file)
		return -1;
	fprintf(file, "%d", getpid());
	fclose(file);
	return 0;
}

int32_t file_has_content(const char *path)
{
	struct stat info;

	if (stat(path, &info) != 0)
		return -1;
	return info.st_size > 0 ? 1 : 0;
}
