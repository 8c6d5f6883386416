// SPDX-License-Identifier: Apache-2.0
#include "client/link/proc.h"

#include <cstdlib>
#include <cstring>

FILE *open_proc(pid_t pid, const char *file)
{
	char path[48];

	snprintf(path, sizeof(path), "/proc/%d/%s", static_cast<int>(pid), file);
	return fopen(path, "re");
}

bool proc_line(pid_t pid, const char *file, char *text, int size)
{
	FILE *info = open_proc(pid, file);

	text[0] = '\0';
	if (!info)
		return false;
	const bool is_read = fgets(text, size, info) != nullptr;
	fclose(info);
	text[strcspn(text, "\n")] = '\0';
	return is_read;
}

long long proc_number(pid_t pid, const char *file, const char *name, int base)
{
	char line[256];
	const size_t length = strlen(name);
	long long number = -1;
	FILE *info = open_proc(pid, file);

	if (!info)
		return -1;
	while (fgets(line, sizeof(line), info)) {
		if (strncmp(line, name, length) != 0)
			continue;
		char *end;
		const long long value = strtoll(line + length, &end, base);
		number = end == line + length ? -1 : value;
		break;
	}
	fclose(info);
	return number;
}
