// SPDX-License-Identifier: Apache-2.0
/*
 * Loaded before the C library (LD_PRELOAD): opens the file in VORLIND_TEST_MRD instead of
 * /proc/MRD, which no test machine has.
 */
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

extern "C" int open(const char *path, int flags, ...)
{
	va_list arguments;
	va_start(arguments, flags);
	const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
	va_end(arguments);

	const char *mrd = getenv("VORLIND_TEST_MRD");
	return openat(AT_FDCWD, mrd && strcmp(path, "/proc/MRD") == 0 ? mrd : path, flags, mode);
}
