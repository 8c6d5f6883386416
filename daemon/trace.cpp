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

static void __attribute__((format(printf, 1, 0)))
write_message(const char *format, va_list arguments)
{
	char text[512];

	vsnprintf(text, sizeof(text), format, arguments);

	/* Opened for each message: no descriptor stays open while nothing is traced. */
	const int fd = open(trace_console, O_WRONLY);
	if (fd < 0)
		return;
	/* Not in open, which would then behave differently: only the write must not wait. */
	fcntl(fd, F_SETFL, O_NONBLOCK);
	const ssize_t written = write(fd, text, strlen(text));
	(void)written; /* a full console loses the trace, no more */
	close(fd);
}

void trace_line(const char *format, ...)
{
	const int saved_errno = errno; /* callers trace strerror(errno) next */
	va_list arguments;

	va_start(arguments, format);
	write_message(format, arguments);
	va_end(arguments);
	fflush(nullptr);
	errno = saved_errno;
}

void trace_in_handler(const char *format, ...)
{
	const int saved_errno = errno; /* the interrupted code may read it next */
	va_list arguments;

	va_start(arguments, format);
	write_message(format, arguments);
	va_end(arguments);
	errno = saved_errno;
}
