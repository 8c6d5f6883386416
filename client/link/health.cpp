// SPDX-License-Identifier: Apache-2.0
#include "client/link/health.h"

#include "client/link/proc.h"
#include "client/link/session.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

/* A packet's header has at most two bytes for the length. */
constexpr size_t LONGEST_PACKET = 0x10000 + 8;
constexpr int64_t RESETS_TIME = 8000;
constexpr int LOOKS_APART = 50;

struct pursuit_row {
	long call;
	pursuit what;
};

// clang-format off
static const pursuit_row pursuits[] = { /* by the daemon's blocking system call */
	{ SYS_clock_nanosleep, PURSUIT_PAUSE },
	{ SYS_nanosleep,       PURSUIT_PAUSE },
	{ SYS_pselect6,        PURSUIT_EXCHANGE },
#ifdef SYS_select
	{ SYS_select,          PURSUIT_EXCHANGE },
#endif
#ifdef SYS__newselect
	{ SYS__newselect,      PURSUIT_EXCHANGE },
#endif
#ifdef SYS_clock_nanosleep_time64
	{ SYS_clock_nanosleep_time64, PURSUIT_PAUSE },
#endif
#ifdef SYS_pselect6_time64
	{ SYS_pselect6_time64, PURSUIT_EXCHANGE },
#endif
	{ SYS_read,            PURSUIT_EVENT },
	{ SYS_write,           PURSUIT_LINE },
	{ SYS_writev,          PURSUIT_LINE },
#ifdef SYS_semop
	{ SYS_semop,           PURSUIT_LOCK },
#endif
#ifdef SYS_semtimedop
	{ SYS_semtimedop,      PURSUIT_LOCK },
#endif
#ifdef SYS_semtimedop_time64
	{ SYS_semtimedop_time64, PURSUIT_LOCK },
#endif
#ifdef SYS_ipc
	{ SYS_ipc,             PURSUIT_LOCK },
#endif
};

static const char *const serial_lines[] = { /* in the daemon's order */
	"/dev/ttyMSM1",
	"/dev/ttyBT0",
	"/dev/ttyACM0",
	"/dev/ttyS1",
	"/dev/ttyUSB0",
};
// clang-format on

static bool is_stopped(pid_t pid)
{
	char text[256];
	const bool is_read = proc_line(pid, "stat", text, sizeof(text));
	const char *state = is_read ? strrchr(text, ')') : nullptr;

	return state && strncmp(state, ") T", 3) == 0;
}

/* Messages go to descriptor 2; other reads and writes are on the serial line. */
static pursuit pursuit_of(long call, unsigned long descriptor)
{
	for (const pursuit_row &row : pursuits) {
		if (row.call != call)
			continue;
		if (row.what == PURSUIT_LINE && descriptor == STDERR_FILENO)
			return PURSUIT_MESSAGES;
		return row.what;
	}
	return PURSUIT_UNKNOWN; /* its duration is unknown */
}

static pursuit read_pursuit(pid_t pid)
{
	char text[160];
	char *end;

	if (!proc_line(pid, "syscall", text, sizeof(text)))
		return PURSUIT_UNKNOWN;
	const long call = strtol(text, &end, 10);
	if (end == text || call < 0) /* "running" */
		return PURSUIT_RUN;
	return pursuit_of(call, strtoul(end, nullptr, 16));
}

glance glance_at(pid_t daemon)
{
	glance g = { PURSUIT_STOPPED,
		     proc_number(daemon, "status", "voluntary_ctxt_switches:", 10) };

	if (!is_stopped(daemon))
		g.what = read_pursuit(daemon);
	return g;
}

bool may_last(pursuit what)
{
	switch (what) {
	case PURSUIT_UNKNOWN:
	case PURSUIT_PAUSE:
	case PURSUIT_RUN:
	case PURSUIT_EXCHANGE:
		return false;
	case PURSUIT_EVENT:
	case PURSUIT_LINE:
	case PURSUIT_MESSAGES:
	case PURSUIT_LOCK:
	case PURSUIT_STOPPED:
		break;
	}
	return true;
}

bool is_stuck(const glance *before, const glance *now)
{
	return may_last(now->what) && before->what == now->what &&
	       before->switches == now->switches;
}

bool stays_stuck(pid_t daemon, int64_t time, pursuit *what)
{
	const glance first = glance_at(daemon);
	const int64_t end = now() + time;
	glance seen = first;

	while (is_stuck(&first, &seen) && now() < end) {
		pause_for(LOOKS_APART);
		seen = glance_at(daemon);
	}
	*what = seen.what;
	return is_stuck(&first, &seen);
}

const char *pursuit_text(pursuit what)
{
	switch (what) {
	case PURSUIT_UNKNOWN:
	case PURSUIT_PAUSE:
	case PURSUIT_RUN:
		break;
	case PURSUIT_EXCHANGE:
		return "an answer of the controller";
	case PURSUIT_EVENT:
		return "the rest of an event from the controller";
	case PURSUIT_LINE:
		return "the controller to take a command";
	case PURSUIT_MESSAGES:
		return "a reader of its messages";
	case PURSUIT_LOCK:
		return "the lock, which a client keeps";
	case PURSUIT_STOPPED:
		return "a signal to go on: it is stopped";
	}
	return "nothing";
}

const char *find_line()
{
	for (const char *path : serial_lines)
		if (access(path, F_OK) == 0)
			return path;
	return nullptr;
}

/* Opens the daemon's serial line; -1 if it has none. */
static int open_line(pid_t daemon)
{
	char path[48];

	for (int descriptor = STDERR_FILENO + 1; descriptor < 16; descriptor++) {
		snprintf(path, sizeof(path), "/proc/%d/fd/%d", static_cast<int>(daemon),
			 descriptor);
		const int line = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
		if (line < 0)
			continue;
		if (isatty(line))
			return line;
		close(line);
	}
	return -1;
}

static bool has_answered(int line)
{
	int waiting = 0;

	return ioctl(line, FIONREAD, &waiting) != 0 || waiting > 0;
}

bool send_resets(pid_t daemon)
{
	static const uint8_t reset[] = { 0x01, 0x03, 0x0C, 0x00 };
	uint8_t packets[256];
	size_t sent = 0;
	const int64_t end = now() + RESETS_TIME;
	const int line = open_line(daemon);

	if (line < 0)
		return false;
	for (size_t i = 0; i < sizeof(packets); i++)
		packets[i] = reset[i % sizeof(reset)];
	tcflush(line, TCIFLUSH);
	while (sent < LONGEST_PACKET && !has_answered(line) && now() < end) {
		const size_t from = sent % sizeof(reset); /* after a partial write */
		const ssize_t written = write(line, packets + from, sizeof(packets) - from);
		if (written > 0)
			sent += static_cast<size_t>(written);
		pause_for(20);
	}
	close(line);
	return true;
}
