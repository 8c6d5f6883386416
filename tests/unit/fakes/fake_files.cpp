// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_files.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>

std::vector<std::string> fake_file_uses;

static std::map<std::string, std::string> &redirections()
{
	static std::map<std::string, std::string> map;
	return map;
}

void fake_file(const std::string &path, const std::string &to)
{
	redirections()[path] = to;
}

void fake_files_clear()
{
	redirections().clear();
	fake_file_uses.clear();
}

/* The target of a path; null for a device path that is not redirected. */
static const char *follow(const char *path)
{
	const std::string_view view = path;
	const bool ours = view == "/proc/MRD" || view.starts_with("/dev/tty") ||
			  view.starts_with("/lib/firmware/");

	if (!ours)
		return path;
	fake_file_uses.emplace_back(path);
	const auto found = redirections().find(path);
	return found == redirections().end() ? nullptr : found->second.c_str();
}

/* The program's own definitions, used instead of the C library's. */
extern "C" int open(const char *path, int flags, ...)
{
	va_list arguments;
	va_start(arguments, flags);
	const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
	va_end(arguments);

	const char *target = follow(path);
	if (!target) {
		errno = ENOENT;
		return -1;
	}
	return openat(AT_FDCWD, target, flags, mode);
}

extern "C" int stat(const char *path, struct stat *info) noexcept
{
	const char *target = follow(path);

	if (!target) {
		errno = ENOENT;
		return -1;
	}
	return fstatat(AT_FDCWD, target, info, 0);
}
