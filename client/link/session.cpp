// SPDX-License-Identifier: Apache-2.0
#include "client/link/session.h"

#include "client/cli/output.h"
#include "client/link/daemon_process.h"
#include "client/link/proc.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

/* How long to wait for a `cmd_doing` of an unknown client before that counts as dead. */
constexpr int64_t FOREIGN_COMMAND = 1000;
constexpr int64_t ALIVE_CHECK = 100;

int64_t now()
{
	timespec time;

	clock_gettime(CLOCK_MONOTONIC, &time);
	return int64_t{ time.tv_sec } * 1000 + time.tv_nsec / 1000000;
}

void pause_for(int milliseconds)
{
	timespec time = { milliseconds / 1000, milliseconds % 1000 * 1000000L };

	nanosleep(&time, nullptr);
}

static session_state state_of_errno()
{
	return errno == EACCES || errno == EPERM ? SESSION_NOT_ALLOWED : SESSION_NO_DAEMON;
}

session_state session_try(session *s)
{
	s->segment = nullptr;
	s->shm_id = shmget(static_cast<key_t>(BLE_SHM_KEY), 0, BLE_IPC_MODE);
	if (s->shm_id < 0 || shmctl(s->shm_id, IPC_STAT, &s->info) != 0)
		return state_of_errno();
	/* Any size: the daemon accepts it too, because the kernel maps whole pages. */
	s->daemon = find_daemon(s->shm_id, &s->info);
	if (s->daemon == 0)
		return SESSION_NO_DAEMON;
	s->sem_id = semget(static_cast<key_t>(BLE_SEM_KEY), 1, BLE_IPC_MODE);
	if (s->sem_id < 0)
		return state_of_errno();
	void *address = shmat(s->shm_id, nullptr, 0);
	if (reinterpret_cast<intptr_t>(address) == -1)
		return state_of_errno();
	s->segment = static_cast<ble_segment *>(address);
	return SESSION_OPEN;
}

const char *session_reason(session_state state)
{
	switch (state) {
	case SESSION_OPEN:
		break;
	case SESSION_NO_DAEMON:
		return "vorlind is not running (no daemon serves the shared memory)";
	case SESSION_NOT_ALLOWED:
		return "permission denied: run as the user of vorlind, or as root";
	}
	return "vorlind is running";
}

exit_status session_open(session *s, int64_t milliseconds)
{
	const session_state state = session_try(s);

	s->deadline = now() + milliseconds;
	if (state == SESSION_OPEN)
		return EXIT_DONE;
	complain("%s", session_reason(state));
	return EXIT_NO_DAEMON;
}

void session_close(session *s)
{
	if (s->segment)
		shmdt(s->segment);
	s->segment = nullptr;
}

bool session_alive(const session *s)
{
	return is_daemon(s->daemon, s->shm_id, &s->info);
}

static exit_status ended()
{
	complain("vorlind ended before the command was done");
	return EXIT_NO_DAEMON;
}

/*
 * The segment's first word, which belongs to the clients, has the process id of the client whose
 * turn it is. It is changed atomically, without the lock. So only that client and the daemon use
 * the lock, and the next client can take the turn of a dead one.
 */
static exit_status take_turn(session *s, uint32_t *previous)
{
	const auto own = static_cast<uint32_t>(getpid());

	while (true) {
		*previous = __atomic_load_n(&s->segment->unused, __ATOMIC_SEQ_CST);
		const bool is_free = *previous == 0 || *previous == own ||
				     !may_have_attached(static_cast<pid_t>(*previous), s->shm_id);
		uint32_t expected = *previous;
		if (is_free &&
		    __atomic_compare_exchange_n(&s->segment->unused, &expected, own, false,
						__ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST))
			return EXIT_DONE;
		if (!session_alive(s))
			return ended();
		if (now() >= s->deadline) {
			complain("busy: the client with process id %u has not finished", *previous);
			return EXIT_TIMEOUT;
		}
		pause_for(3);
	}
}

void session_give_turn(session *s)
{
	auto own = static_cast<uint32_t>(getpid());

	__atomic_compare_exchange_n(&s->segment->unused, &own, 0, false, __ATOMIC_SEQ_CST,
				    __ATOMIC_SEQ_CST);
}

/* Wait for a command that may be another program's; not for a dead client's. */
static void wait_for_foreign_command(const session *s, uint32_t previous)
{
	const int64_t end = now() + FOREIGN_COMMAND;

	while (true) {
		const uint32_t doing = load_acquire(&s->segment->cmd_doing);
		if (doing == 0 || doing == previous || now() >= end || now() >= s->deadline)
			return;
		pause_for(3);
	}
}

/* One operation on the semaphore; the kernel undoes it if this process dies. */
static int change_semaphore(const session *s, short by)
{
	sembuf operation = { 0, by, SEM_UNDO };
	int result;

	do {
		const int64_t left = s->deadline > now() ? s->deadline - now() : 0;
		const timespec limit = { static_cast<time_t>(left / 1000),
					 static_cast<long>(left % 1000 * 1000000) };
		result = semtimedop(s->sem_id, &operation, 1, &limit);
	} while (result != 0 && errno == EINTR);
	return result;
}

static exit_status busy()
{
	complain("busy: vorlind is still starting, or carrying out another command");
	return EXIT_TIMEOUT;
}

static exit_status take_lock(const session *s)
{
	/* A starting daemon has no handler yet: the signal would end it. */
	while (!takes_commands(s->daemon)) {
		if (!session_alive(s))
			return ended();
		if (now() >= s->deadline)
			return busy();
		pause_for(3);
	}
	if (change_semaphore(s, -1) == 0)
		return EXIT_DONE;
	return errno == EAGAIN && session_alive(s) ? busy() : ended();
}

exit_status session_lock(session *s)
{
	uint32_t previous;
	exit_status status = take_turn(s, &previous);

	if (status != EXIT_DONE)
		return status;
	wait_for_foreign_command(s, previous);
	status = take_lock(s);
	if (status != EXIT_DONE)
		session_give_turn(s);
	return status;
}

/* Only an emulator's: this program creates none. */
static bool has_threads()
{
	return proc_number(getpid(), "status", "Threads:", 10) > 1;
}

/*
 * Release the lock like the end of this process: the kernel applies its undo value, which is 0 if
 * a new daemon has released the lock meanwhile. An operation of +1 would then let two in. It is
 * only used where a container forbids unshare, or threads share the undo value.
 */
static void give_back_lock(const session *s)
{
	if (has_threads() || unshare(CLONE_SYSVSEM) != 0)
		change_semaphore(s, 1);
}

void session_unlock(session *s)
{
	give_back_lock(s);
	session_give_turn(s);
}

/* Makes the compiler keep the order of writes: this process may be killed between them. */
static void written()
{
	__atomic_signal_fence(__ATOMIC_SEQ_CST);
}

/* Clears the first character first and writes it last: the daemon refuses a half command. */
static void write_words(ble_segment *segment, const command_words *words)
{
	char *const first = segment->cmd.argv[0];

	first[0] = '\0';
	written();
	memset(segment->cmd.argv, 0, sizeof(segment->cmd.argv));
	for (int i = 1; i < words->count; i++)
		memcpy(segment->cmd.argv[i], words->word[i], strlen(words->word[i]));
	if (words->word[0][0])
		memcpy(first + 1, words->word[0] + 1, strlen(words->word[0]) - 1);
	segment->cmd.argc = words->count;
	segment->cmd_doing = static_cast<uint32_t>(getpid());
	written();
	first[0] = words->word[0][0];
}

/* Whether no other program has overwritten the command. */
static bool words_stand(const ble_segment *segment, const command_words *words)
{
	for (int i = 0; i < words->count; i++)
		if (strncmp(segment->cmd.argv[i], words->word[i], BLE_WORD_SIZE) != 0)
			return false;
	return segment->cmd.argc == words->count;
}

/*
 * The daemon interprets the command under the lock: if it had the lock last, after this client,
 * it has begun. A client that ignores turns may have had the lock between.
 */
static bool is_taken(const session *s)
{
	return semctl(s->sem_id, 0, GETPID) == s->daemon;
}

/*
 * Whether the daemon has carried out the command. `cmd_doing` alone is no proof: the end of an
 * earlier round or of an attach event clears it too.
 */
static bool is_done(const session *s)
{
	return load_acquire(&s->segment->cmd_doing) == 0 && is_taken(s) &&
	       semctl(s->sem_id, 0, GETVAL) > 0;
}

static exit_status overwritten()
{
	complain("outcome unknown: another program's command came over this one");
	return EXIT_UNKNOWN;
}

static exit_status wait_for_end(const session *s, const command_words *words,
				bool (*settled)(const ble_segment *))
{
	int64_t next_check = now() + ALIVE_CHECK;
	int polls = 0;

	while (!is_done(s) || (settled && !settled(s->segment))) {
		if (now() >= next_check) {
			if (!session_alive(s))
				return ended();
			if (!words_stand(s->segment, words))
				return overwritten();
			next_check = now() + ALIVE_CHECK;
		}
		if (now() >= s->deadline) {
			complain("timeout: vorlind has not finished; it may still do so");
			return EXIT_TIMEOUT;
		}
		pause_for(polls++ < 100 ? 1 : 10);
	}
	/* A new daemon after a crash, or another client's command, looks the same. */
	if (!session_alive(s))
		return ended();
	return words_stand(s->segment, words) ? EXIT_DONE : overwritten();
}

bool session_send(session *s, const command_words *words)
{
	write_words(s->segment, words);
	give_back_lock(s);
	/* Checked again: another process may have got its process id. */
	return session_alive(s) && kill(s->daemon, SIGUSR1) == 0;
}

exit_status session_run(session *s, const command_words *words,
			bool (*settled)(const ble_segment *))
{
	if (session_send(s, words))
		return wait_for_end(s, words, settled);
	return ended();
}

bool session_is_through(const session *s)
{
	return is_done(s);
}
