// SPDX-License-Identifier: Apache-2.0
/*
 * Tests what the daemon needs from the device's C library and kernel, through the daemon's own
 * functions. Links without a C++ runtime, like the daemon. Run it inside tools/sandbox.
 */
#include "daemon/bleipc.h"
#include "daemon/lifecycle.h"
#include "daemon/signals.h"
#include "hci/exchange.h"
#include "hci/serial.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

static const char *current;
static int failures;

static void expect(bool holds, const char *what)
{
	if (holds)
		return;
	printf("FAILED: %s: not so: %s (errno %d)\n", current, what, errno);
	failures++;
}

static void pause_for(long ms)
{
	const timespec time = { ms / 1000, ms % 1000 * 1000000 };

	nanosleep(&time, nullptr);
}

/* A child that sends its parent a signal after 200 ms, and writes a byte after 400 ms. */
static pid_t start_disturber(int signo, int fd)
{
	const pid_t child = fork();

	if (child != 0)
		return child;
	pause_for(200);
	kill(getppid(), signo);
	pause_for(200);
	_exit(fd < 0 || write(fd, "\x04", 1) == 1 ? 0 : 1);
}

static bool ended_well(pid_t child)
{
	int status;

	return waitpid(child, &status, 0) == child && status == 0;
}

static void signal_restarts_a_read()
{
	int ends[2];
	char byte = 0;

	expect(system_data_init() == 0, "the handlers are installed");
	for (int round = 0; round < 2; round++) {
		flag_cmd_change = 0;
		expect(pipe(ends) == 0, "a pipe");
		const pid_t child = start_disturber(SIGUSR1, ends[1]);
		expect(read(ends[0], &byte, 1) == 1, "the read goes on after the handler");
		expect(flag_cmd_change == 1, "the handler has run");
		expect(ended_well(child), "the child is well");
		close(ends[0]);
		close(ends[1]);
	}
}

static void usleep_is_cut_short()
{
	flag_uevent_change = 0;
	const pid_t child = fork();
	if (child == 0)
		for (;;) { /* a signal before the sleep would not cut it short */
			pause_for(200);
			kill(getppid(), SIGUSR2);
		}
	const int result = usleep(180000000);

	expect(result == -1 && errno == EINTR, "it tells EINTR, at the signal");
	expect(flag_uevent_change == 1, "the handler has run");
	kill(child, SIGKILL);
	waitpid(child, nullptr, 0);
}

/* The wait of the serial reader blocks SIGUSR1; SIGTERM would end it. */
static void select_is_not_cut_short()
{
	int ends[2];
	uint8_t byte = 0;

	flag_cmd_change = 0;
	expect(pipe(ends) == 0, "a pipe");
	const pid_t child = start_disturber(SIGUSR1, ends[1]);
	expect(ble_select_read(ends[0], &byte) == 1 && byte == 4, "the byte is waited for");
	expect(flag_cmd_change == 1, "the handler runs after the wait");
	expect(ended_well(child), "the child is well");
	close(ends[0]);
	close(ends[1]);
}

static void semaphore_is_given_back()
{
	bleipc_sem sem = {};
	bleipc_sem second = {};

	expect(bleipc_semget(&sem, BLE_SEM_KEY, 1, BLEIPC_CREATE) >= 0, "it is created");
	expect(bleipc_semget(&second, BLE_SEM_KEY, 1, BLEIPC_CREATE) == -1 &&
		       bleipc_errno == BLEIPC_EXISTS,
	       "a second creation finds the first");
	expect(bleipc_semget(&second, BLE_SEM_KEY, 0, BLEIPC_ATTACH) == sem.id, "attach by key");
	expect(bleipc_getval(&sem) == 1, "it starts unlocked");

	const pid_t child = fork();
	if (child == 0)
		_exit(bleipc_dolock(&second) == 0 && bleipc_getval(&second) == 0 ? 0 : 1);
	expect(ended_well(child), "a child locks and dies");
	expect(bleipc_getval(&sem) == 1, "the kernel gives the lock back");

	expect(bleipc_dolock(&sem) == 0 && bleipc_getval(&sem) == 0, "it can be locked");
	expect(bleipc_unlock(&sem) == 0 && bleipc_getval(&sem) == 1, "and unlocked");
	expect(bleipc_semctl(&sem, IPC_RMID) == 0, "it is removed");
	expect(bleipc_semget(&second, BLE_SEM_KEY, 0, BLEIPC_ATTACH) == -1, "and is gone");
}

/* A signal interrupts the wait for the lock; it is repeated until the lock is removed. */
static void lock_wait_ends_with_the_lock()
{
	bleipc_sem sem = {};

	expect(bleipc_semget(&sem, BLE_SEM_KEY, 0, BLEIPC_CREATE) >= 0, "it is created, locked");
	flag_cmd_change = 0;
	const pid_t child = fork();
	if (child == 0) {
		pause_for(200);
		kill(getppid(), SIGUSR1);
		pause_for(200);
		_exit(bleipc_semctl(&sem, IPC_RMID) == 0 ? 0 : 1);
	}
	expect(bleipc_dolock(&sem) == -1 && bleipc_errno == BLEIPC_REMOVED, "the removal is told");
	expect(flag_cmd_change == 1, "the handler has run");
	expect(ended_well(child), "the child is well");
}

static void segment_is_shared()
{
	bleipc_shm shm = {};
	bleipc_shm second = {};

	expect(bleipc_shmget(&shm, BLE_SHM_KEY, sizeof(ble_segment), BLEIPC_CREATE) >= 0,
	       "it is created");
	expect(bleipc_shmget(&second, BLE_SHM_KEY, sizeof(ble_segment), BLEIPC_CREATE) == -1 &&
		       bleipc_errno == BLEIPC_EXISTS,
	       "a second creation finds the first");
	const pid_t child = fork();
	if (child == 0) {
		if (bleipc_shmget(&second, BLE_SHM_KEY, 0, BLEIPC_ATTACH) < 0 ||
		    bleipc_shmat(&second) != 1)
			_exit(1);
		static_cast<ble_segment *>(second.addr)->config.opt.status = 3;
		_exit(0);
	}
	expect(ended_well(child), "a child writes into it and dies");
	expect(bleipc_shmat(&shm) == 1, "it can be attached");
	expect(static_cast<ble_segment *>(shm.addr)->config.opt.status == 3,
	       "what it wrote is there");
	shmid_ds info = {};
	expect(shmctl(shm.id, IPC_STAT, &info) == 0 && info.shm_segsz == sizeof(ble_segment) &&
		       (info.shm_perm.mode & 0777) == 0600 && info.shm_nattch == 1,
	       "its size, mode and count of users are told");
	expect(bleipc_shmdt(&shm) == 0 && bleipc_shmctl(&shm, IPC_RMID) == 0, "it is removed");
	expect(bleipc_shmget(&second, BLE_SHM_KEY, 0, BLEIPC_ATTACH) == -1, "and is gone");
}

/* The whole of tty_init on a pseudo-terminal: lock, raw mode, flow control, speed. */
static void serial_line_is_raw()
{
	static const char device[] = "/dev/ttyMSM1";
	const int master = posix_openpt(O_RDWR | O_NOCTTY);
	termios line = {};

	expect(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0, "a pseudo-terminal");
	expect(symlink(ptsname(master), device) == 0, "the device is free");
	expect(ipc_init() == 0, "the segment for the status");

	expect(tty_init() == 0 && ble_fd > 0, "the line opens");
	expect(tcgetattr(ble_fd, &line) == 0, "its settings are told");
	expect((line.c_cflag & CRTSCTS) && (line.c_cflag & CLOCAL), "RTS/CTS, no modem lines");
	expect((line.c_cflag & CSIZE) == CS8 && !(line.c_cflag & PARENB), "8 bits, no parity");
	expect(!(line.c_lflag & (ICANON | ECHO | ISIG)) && !(line.c_oflag & OPOST), "raw");
	expect(cfgetospeed(&line) == B115200 && cfgetispeed(&line) == B115200, "115200 baud");
	expect(line.c_cc[VMIN] == 1 && line.c_cc[VTIME] == 0, "a read waits for one byte");

	const int second = open(device, O_RDWR | O_NOCTTY);
	expect(second > 0 && flock(second, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK,
	       "nobody else gets the lock");
	expect(write(master, "\x04\x0d", 2) == 2, "the controller says two bytes");
	uint8_t bytes[2] = {};
	expect(ble_select_read(ble_fd, bytes) == 1 && ble_select_read(ble_fd, bytes + 1) == 1 &&
		       bytes[0] == 4 && bytes[1] == 13,
	       "they come through unchanged");
	tty_deinit();
	expect(second > 0 && flock(second, LOCK_EX | LOCK_NB) == 0, "the lock is given back");
	close(second);
	close(master);
	unlink(device);
	ipc_deinit();
}

/* The daemon's way to find processes of its name: a shell, a pipe, the end of the child. */
static void popen_reads_an_answer()
{
	char answer[16] = "";
	FILE *pipe = popen("echo 12; exit 3", "r");

	expect(pipe && fgets(answer, sizeof(answer), pipe) && atoi(answer) == 12, "its line");
	expect(pipe && WEXITSTATUS(pclose(pipe)) == 3, "its exit status");
}

struct check {
	const char *name;
	void (*run)();
};

// clang-format off
static const check checks[] = {
	{ "signal restarts a read and stays installed",           signal_restarts_a_read },
	{ "usleep is cut short by a signal",                      usleep_is_cut_short },
	{ "select is not cut short by a held back signal",        select_is_not_cut_short },
	{ "a semaphore is created once, given back by the dead",  semaphore_is_given_back },
	{ "a wait for the lock survives a signal, not removal",   lock_wait_ends_with_the_lock },
	{ "a segment is shared and survives its users",           segment_is_shared },
	{ "the serial line is locked and raw",                    serial_line_is_raw },
	{ "popen reads the answer of a shell",                    popen_reads_an_answer },
};
// clang-format on

int main()
{
	setvbuf(stdout, nullptr, _IONBF, 0);
	for (const check &c : checks) {
		const int before = failures;
		current = c.name;
		c.run();
		printf("%s: %s\n", failures == before ? "ok" : "FAILED", c.name);
	}
	return failures > 0;
}
