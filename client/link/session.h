// SPDX-License-Identifier: Apache-2.0
/* A client's dealings with the running daemon: the segment, whose turn it is, the lock. */
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

/* What keeps a session from opening; complains about nothing. */
enum session_state {
	SESSION_OPEN,
	SESSION_NO_DAEMON, /* no segment, or one that a crashed daemon left */
	SESSION_NOT_ALLOWED,
};
session_state session_try(session *s);
const char *session_reason(session_state state); /* a line for the user */

/* The same with a complaint. The daemon has `milliseconds` from now on for whatever follows. */
exit_status session_open(session *s, int64_t milliseconds);
void session_close(session *s); /* also one that did not open */

/* Whether the daemon still runs. */
bool session_alive(const session *s);

/*
 * Wait for the turn among clients, then for the lock. With EXIT_DONE the caller may write to
 * the segment, must not wait for anything, and goes on with session_unlock or session_run.
 */
exit_status session_lock(session *s);
void session_unlock(session *s);

/*
 * With the lock held: leave the words, unlock, signal, and wait until the command was taken,
 * `cmd_doing` is 0 again and `settled`, if given, agrees. The turn is kept, so that the
 * daemon says nothing to another before it is noted how far its messages go: session_give_turn.
 */
struct command_words {
	int count;
	const char *word[BLE_WORDS];
};
exit_status session_run(session *s, const command_words *words,
			bool (*settled)(const ble_segment *segment));
void session_give_turn(session *s);

/*
 * The same without waiting; false if there is no daemon. The turn is kept until the caller gives
 * it, which he best does when the daemon is through with the command.
 */
bool session_send(session *s, const command_words *words);
bool session_is_through(const session *s);
