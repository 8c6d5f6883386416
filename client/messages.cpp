// SPDX-License-Identifier: Apache-2.0
#include "client/messages.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

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
	int code = code_after(line, "(error code: "); /* said only of the command itself */
	if (code < 0 && !failure)
		code = code_after(line, "hci_status=");
	if (code >= 0)
		end->error_code = code;
	return false;
}

void messages_begin(messages *m, pid_t daemon)
{
	char path[48];
	struct stat info;

	m->file = nullptr;
	snprintf(path, sizeof(path), "/proc/%d/fd/2", static_cast<int>(daemon));
	const ssize_t length = readlink(path, m->place, sizeof(m->place) - 1);
	m->place[length > 0 ? length : 0] = '\0';
	/* A terminal or a pipe must not be opened: reading would take what is another's. */
	if (stat(path, &info) == 0 && S_ISREG(info.st_mode))
		m->file = fopen(path, "re");
	if (m->file)
		fseek(m->file, 0, SEEK_END);
}

void messages_stop(messages *m)
{
	struct stat info;

	m->until = m->file && fstat(fileno(m->file), &info) == 0 ? info.st_size : 0;
}

void messages_take(messages *m, FILE *results, const char *failure, outcome *end)
{
	char line[512];

	*end = {};
	end->error_code = -1;
	if (!m->file)
		return;
	end->heard = true;
	clearerr(m->file); /* its end has moved since it was seen */
	while (ftello(m->file) < m->until && fgets(line, sizeof(line), m->file)) {
		const bool is_result = judge_message(line, failure, end);
		if (!is_result)
			fputs(line, stderr);
		else if (results)
			fputs(line, results);
	}
}

void messages_end(messages *m)
{
	if (m->file)
		fclose(m->file);
	m->file = nullptr;
}
