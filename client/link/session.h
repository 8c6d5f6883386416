// SPDX-License-Identifier: Apache-2.0
/* A client's session with the running daemon: the segment, the turn, the lock. */
#pragma once

#include "client/cli/exit_status.h"
#include "daemon/segment.h"

#include <sys/shm.h>
#include <sys/types.h>

struct session {
	ble_segment *segment;
	int shm_id;
	int sem_id;
	shmid_ds info;
	pid_t daemon;
	int64_t deadline; /* milliseconds of the monotonic clock */
};

/* Milliseconds of the monotonic clock. */
int64_t now();
void pause_for(int milliseconds);

/* Whether a session can open; session_try prints nothing. */
enum session_state {
	SESSION_OPEN,
	SESSION_NO_DAEMON, /* no segment, or that of a crashed daemon */
	SESSION_NOT_ALLOWED,
};
session_state session_try(session *s);
const char *session_reason(session_state state); /* a line for the user */

/* The same with a complaint. `milliseconds` is the time limit for all that follows. */
exit_status session_open(session *s, int64_t milliseconds);
void session_close(session *s); /* also one that did not open */

/* Whether the daemon still runs. */
bool session_alive(const session *s);

/*
 * Wait for the turn among clients, then for the lock. After EXIT_DONE the caller may write to
 * the segment, must not wait, and calls session_unlock or session_run next.
 */
exit_status session_lock(session *s);
void session_unlock(session *s);

/*
 * With the lock held: write the words, unlock, signal, and wait until the command was taken,
 * `cmd_doing` is 0 again and `settled`, if given, is true. Keeps the turn until
 * session_give_turn: first the caller notes the end of the messages for this command.
 */
struct command_words {
	int count;
	const char *word[BLE_WORDS];
};
exit_status session_run(session *s, const command_words *words,
			bool (*settled)(const ble_segment *segment));
void session_give_turn(session *s);

/*
 * The same without waiting; false if there is no daemon. The caller gives the turn back, best
 * when the daemon has carried out the command.
 */
bool session_send(session *s, const command_words *words);
bool session_is_through(const session *s);
