// SPDX-License-Identifier: Apache-2.0
#include "client/link/messages.h"

#include "client/link/proc.h"

#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

/* The most that a command prints, without traces of the line. */
constexpr long long MESSAGES_ROOM = 4096;

static const char *const result_texts[] = {
	"BLE configuration utility: ",
	"BLE MAC Address: ",
	"BLE TX Power Setting: ",
	"GAP Param ID: ",
	"Num of packets: ",
};

static const char *const refusal_texts[] = {
	"WARNING: ",
	"user_cmd_change() failed.",
	"Not implemented yet",
	"run_daemon_task(",
};

static bool begins_with(const char *line, const char *text)
{
	return strncmp(line, text, strlen(text)) == 0;
}

static int code_after(const char *line, const char *text)
{
	const char *at = strstr(line, text);
	unsigned code;

	return at && sscanf(at + strlen(text), "%x", &code) == 1 ? static_cast<int>(code) : -1;
}

static bool tells_refusal(const char *line, const char *failure)
{
	if (failure)
		return strstr(line, failure);
	for (const char *text : refusal_texts)
		if (begins_with(line, text))
			return true;
	return false;
}

bool judge_message(const char *line, const char *failure, outcome *end)
{
	for (const char *text : result_texts) {
		if (begins_with(line, text)) {
			snprintf(end->result, sizeof(end->result), "%.*s",
				 static_cast<int>(strcspn(line, "\n")), line);
			return true;
		}
	}
	if (tells_refusal(line, failure))
		end->refused = true;
	int code = code_after(line, "(error code: "); /* only in the command's own message */
	if (code < 0 && !failure)
		code = code_after(line, "hci_status=");
	if (code >= 0)
		end->error_code = code;
	return false;
}

/* Where the daemon's next message goes: without append to its own offset, even in a cut file. */
static off_t next_place(const messages *m)
{
	struct stat info;

	if (!m->appends)
		return proc_number(m->daemon, "fdinfo/2", "pos:", 10);
	return fstat(fileno(m->file), &info) == 0 ? info.st_size : 0;
}

/* How many bytes the daemon can still write, by its own limit and the disk's. */
static long long room(const messages *m)
{
	struct statvfs disk;
	const long long limit = proc_number(m->daemon, "limits", "Max file size", 10);
	const long long left = limit < 0 ? LLONG_MAX : limit - next_place(m);
	if (fstatvfs(fileno(m->file), &disk) != 0)
		return left;
	const auto available =
		static_cast<long long>(disk.f_bavail) * static_cast<long long>(disk.f_frsize);
	return available < left ? available : left;
}

/* Not without append: the file would only get a hole. */
static void empty(const messages *m)
{
	char path[48];

	snprintf(path, sizeof(path), "/proc/%d/fd/2", static_cast<int>(m->daemon));
	const int file = m->appends ? open(path, O_WRONLY | O_CLOEXEC) : -1;
	if (file < 0)
		return;
	/* If that fails the file stays full, which is reported. */
	(void)!ftruncate(file, 0);
	close(file);
}

void messages_begin(messages *m, pid_t daemon)
{
	char path[48];
	struct stat info;

	*m = {};
	m->daemon = daemon;
	snprintf(path, sizeof(path), "/proc/%d/fd/2", static_cast<int>(daemon));
	const ssize_t length = readlink(path, m->place, sizeof(m->place) - 1);
	m->place[length > 0 ? length : 0] = '\0';
	/* Never open a terminal or a pipe: reading would take another reader's data. */
	m->is_no_file = stat(path, &info) == 0 && !S_ISREG(info.st_mode);
	if (!m->is_no_file)
		m->file = fopen(path, "re");
	if (!m->file)
		return;
	m->appends = proc_number(daemon, "fdinfo/2", "flags:", 8) & O_APPEND;
	if (room(m) < MESSAGES_ROOM)
		empty(m);
	m->from = next_place(m);
	fseeko(m->file, m->from, SEEK_SET);
}

void messages_stop(messages *m)
{
	if (!m->file)
		return;
	m->until = next_place(m);
	m->may_be_cut = m->until < 0 || m->until < m->from || room(m) <= 0;
}

void messages_take(messages *m, FILE *results, const char *failure, outcome *end)
{
	char line[512];

	*end = {};
	end->error_code = -1;
	if (!m->file)
		return;
	end->heard = !m->may_be_cut;
	clearerr(m->file); /* its end has moved since the last read */
	while (ftello(m->file) < m->until && fgets(line, sizeof(line), m->file)) {
		const bool is_result = judge_message(line, failure, end);
		if (!is_result)
			fputs(line, stderr);
		else if (results)
			fputs(line, results);
	}
}

const char *messages_reason(const messages *m)
{
	if (m->file)
		return "take no more, or were cut";
	return m->is_no_file ? "do not go to a file" : "may not be read";
}

void messages_end(messages *m)
{
	if (m->file)
		fclose(m->file);
	m->file = nullptr;
}
