// SPDX-License-Identifier: Apache-2.0
/* The shared segment and its lock: System V calls, creation, recovery, removal. */
#pragma once

#include "daemon/segment.h"

struct bleipc_sem {
	int32_t id; /* 0 after removal */
	uint32_t key;
};

struct bleipc_shm {
	int32_t id; /* 0 after removal */
	uint32_t key;
	void *addr; /* null while not attached */
};

struct bleipc_handle {
	bleipc_sem sem;
	bleipc_shm shm;
	ble_segment *buf;      /* the attached segment; the next two point into it */
	uint8_t *info;         /* controller information area */
	ble_command_area *cmd; /* the client's command */
};

extern bleipc_handle ble_ipc;
extern ble_record *ble_config; /* settings and status, in the segment */
extern int32_t bleipc_errno;   /* of the last bleipc call; while a lock is retried: EINTR */

// clang-format off
enum : int32_t { /* bleipc_errno */
	BLEIPC_OK      = 0,
	BLEIPC_FAILED  = 1,
	BLEIPC_EXISTS  = 2, /* exclusive creation found one */
	BLEIPC_REMOVED = 3, /* removed under a waiting lock */
};

enum : int32_t { /* the option of bleipc_semget and bleipc_shmget */
	BLEIPC_CREATE = 1, /* exclusive */
	BLEIPC_ATTACH = 2, /* any other value does the same */
};
// clang-format on

/*
 * All of these set `bleipc_errno`, and all but shmat return -1 when the kernel refuses. A get
 * returns the identifier and stores it in the handle with the key. A new semaphore gets `value`,
 * an existing one keeps its own.
 */
int32_t bleipc_semget(bleipc_sem *sem, uint32_t key, int32_t value, int32_t option);
int32_t bleipc_setval(bleipc_sem *sem, int32_t value); /* 0 or -1 */
int32_t bleipc_getval(bleipc_sem *sem);                /* the value, or -1 */

/* Take the lock, without a time limit: 0 or -1. The kernel releases the lock of a dead owner. */
int32_t bleipc_dolock(bleipc_sem *sem);
int32_t bleipc_unlock(bleipc_sem *sem); /* 0 or -1; does not ask who holds it */

/* IPC_RMID removes the semaphore and clears `id`: 0 or -1. Any other command does nothing: 0. */
int32_t bleipc_semctl(bleipc_sem *sem, int32_t command);

/* The identifier, or -1. A new segment has `size` zeroed bytes, an existing one keeps its own. */
int32_t bleipc_shmget(bleipc_shm *shm, uint32_t key, uint32_t size, int32_t option);
int32_t bleipc_shmat(bleipc_shm *shm); /* 1, or -1 for a null address */
int32_t bleipc_shmdt(bleipc_shm *shm); /* 0 or -1; `addr` is null after both */

/* As bleipc_semctl. The kernel frees the segment when the last process has detached it. */
int32_t bleipc_shmctl(bleipc_shm *shm, int32_t command);

/*
 * Create the semaphore and the segment, or take over those of a crashed daemon, and set
 * `ble_ipc` and `ble_config`. 0, or -1 after a message to stderr; then nothing is left behind.
 */
int32_t ipc_init();

/* Detach and remove both; after that `ble_ipc` and `ble_config` must not be used. */
void ipc_deinit();
