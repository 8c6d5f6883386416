// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/fake_system.h"

#include "daemon/signals.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

fake_system fake;

static bool signals_held; /* SIGUSR1 and SIGUSR2 are blocked */

void fake_system_clear()
{
	fake = {};
	signals_held = false;
}

static int fails_with(int error)
{
	errno = error;
	return -1;
}

static bool comes_up(uint8_t mask, size_t turn)
{
	return mask >> turn % 8 & 1;
}

static ssize_t read_line(void *buffer, size_t most)
{
	must(!signals_held, "the signals come through again before a byte is read");
	if (fake.line.empty())
		return fake.hung_up ? fails_with(EIO) : 0;
	const size_t wanted = comes_up(fake.single, fake.reads++) ? 1 : most;
	const size_t count = std::min(wanted, fake.line.size());
	memcpy(buffer, fake.line.data(), count);
	fake.line = fake.line.subspan(count);
	return static_cast<ssize_t>(count);
}

static ssize_t read_file(byte_span &file, void *buffer, size_t most)
{
	const size_t count = std::min(most, file.size());

	if (count > 0)
		memcpy(buffer, file.data(), count);
	file = file.subspan(count);
	return static_cast<ssize_t>(count);
}

/* The program's own definitions, used instead of the C library's. */
extern "C" ssize_t read(int fd, void *buffer, size_t most)
{
	switch (fd) {
	case FAKE_LINE:
		return read_line(buffer, most);
	case FAKE_MRD:
		return read_file(fake.mrd, buffer, most);
	case FAKE_PATCH:
		return fake.patch_unreadable ? fails_with(EISDIR)
					     : read_file(fake.patch, buffer, most);
	}
	return syscall(SYS_read, fd, buffer, most);
}

/* The compiler calls it instead of read where it knows the size of the buffer. */
extern "C" ssize_t __read_chk(int fd, void *buffer, size_t most, size_t size);
extern "C" ssize_t __read_chk(int fd, void *buffer, size_t most, size_t size)
{
	must(most <= size, "no read is longer than its buffer");
	return read(fd, buffer, most);
}

static ssize_t write_line(const void *data, size_t size)
{
	if (fake.line_refuses)
		return fails_with(EIO);
	const bool is_short = size > 0 && comes_up(fake.spared, fake.writes++);
	if (fake.heard)
		fake.heard({ static_cast<const uint8_t *>(data), size });
	return static_cast<ssize_t>(is_short ? size - 1 : size);
}

extern "C" ssize_t write(int fd, const void *data, size_t size)
{
	if (fd == FAKE_LINE)
		return write_line(data, size);
	if (fd != FAKE_CONSOLE)
		return syscall(SYS_write, fd, data, size);
	if (fake.traced)
		fake.traced({ static_cast<const uint8_t *>(data), size });
	return static_cast<ssize_t>(size);
}

static int open_file(bool missing, int fd)
{
	if (missing)
		return fails_with(ENOENT);
	fake.open_files++;
	return fd;
}

static int open_line(std::string_view path)
{
	if (fake.line_missing || path != "/dev/ttyMSM1")
		return fails_with(ENOENT);
	must(fake.open_line == 0, "the line is not opened twice");
	fake.open_line++;
	return FAKE_LINE;
}

extern "C" int open(const char *path, int flags, ...)
{
	const std::string_view view = path;
	va_list arguments;
	va_start(arguments, flags);
	const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
	va_end(arguments);

	if (view.starts_with("/dev/tty"))
		return open_line(view);
	if (view == "/dev/console")
		return open_file(false, FAKE_CONSOLE);
	if (view == "/proc/MRD")
		return open_file(fake.mrd_missing, FAKE_MRD);
	if (view.ends_with("mpnv10.bin"))
		return open_file(fake.patch_missing, FAKE_PATCH);
	return openat(AT_FDCWD, path, flags, mode);
}

extern "C" int close(int fd)
{
	switch (fd) {
	case FAKE_LINE:
		must(fake.open_line == 1, "the line is closed once");
		fake.open_line--;
		return 0;
	case FAKE_MRD:
	case FAKE_PATCH:
	case FAKE_CONSOLE:
		must(fake.open_files > 0, "a file is closed once");
		fake.open_files--;
		return 0;
	}
	return static_cast<int>(syscall(SYS_close, fd));
}

extern "C" int stat(const char *path, struct stat *info) noexcept
{
	if (!std::string_view(path).ends_with("mpnv10.bin"))
		return fstatat(AT_FDCWD, path, info, 0);
	if (fake.patch_missing)
		return fails_with(ENOENT);
	*info = {};
	info->st_size = static_cast<off_t>(fake.patch_size);
	return 0;
}

extern "C" int select(int count, fd_set *in, fd_set *out, fd_set *, timeval *timeout)
{
	must(count == FAKE_LINE + 1 && FD_ISSET(FAKE_LINE, in) && !out, "only the line is awaited");
	must(timeout->tv_sec == 5 && timeout->tv_usec == 0, "each wait has its five seconds");
	must(signals_held, "a signal does not cut a wait short");
	if (!fake.line.empty())
		return 1;
	if (fake.at_end <= 0)
		FD_CLR(FAKE_LINE, in);
	errno = EINTR;
	return fake.at_end;
}

extern "C" int sigprocmask(int how, const sigset_t *set, sigset_t *before) noexcept
{
	if (set != &ble_sig_set)
		return static_cast<int>(syscall(SYS_rt_sigprocmask, how, set, before, NSIG / 8));
	must(signals_held == (how == SIG_UNBLOCK), "the signals are held and let go in turn");
	signals_held = how == SIG_BLOCK;
	return 0;
}

extern "C" int semop(int, sembuf *operation, size_t count) noexcept
{
	must(count == 1 && operation->sem_num == 0 && operation->sem_flg == SEM_UNDO,
	     "the kernel can give the lock back");
	fake.locks -= operation->sem_op;
	must(fake.locks == 0 || fake.locks == 1, "the lock is taken and given back in turn");
	return 0;
}

extern "C" int flock(int, int operation) noexcept
{
	return fake.line_locked && operation != LOCK_UN ? fails_with(EWOULDBLOCK) : 0;
}

extern "C" int tcflush(int, int) noexcept
{
	fake.line = {};
	return 0;
}

extern "C" int tcgetattr(int, termios *settings) noexcept
{
	*settings = {};
	return 0;
}

extern "C" int tcsetattr(int, int, const termios *settings) noexcept
{
	must(settings->c_cflag & CRTSCTS, "the line has its flow control");
	return 0;
}
