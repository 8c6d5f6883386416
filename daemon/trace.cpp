// SPDX-License-Identifier: Apache-2.0
#include "daemon/trace.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

uint32_t dbg_level = 0;
const char *trace_console = "/dev/console";

void trace_line(const char *format, ...)
{
	const int saved_errno = errno; /* an interrupted call may read it next */
	char text[512];

	va_list arguments;
	va_start(arguments, format);
	vsnprintf(text, sizeof(text), format, arguments);
	va_end(arguments);

	/* Opened for each message: nothing is held while nothing is traced. */
	const int fd = open(trace_console, O_WRONLY);
	if (fd >= 0) {
		const ssize_t written = write(fd, text, strlen(text));
		(void)written; /* a console that refuses costs the trace and nothing else */
		close(fd);
	}
	fflush(nullptr);
	errno = saved_errno;
}
