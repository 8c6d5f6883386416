// SPDX-License-Identifier: Apache-2.0
#include "daemon/bleipc.h"

#include "daemon/trace.h"

#include <cerrno>
#include <cstdio>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

bleipc_handle ble_ipc;
ble_record *ble_config;
int32_t bleipc_errno;

union semaphore_argument { /* for semctl; the caller has to define it, not the C library */
	int val;
	semid_ds *buf;
	unsigned short *array;
};

/* Return `result`; a negative one sets bleipc_errno. */
static int32_t checked(int32_t result)
{
	if (result < 0)
		bleipc_errno = BLEIPC_FAILED;
	return result;
}

/* Why a get failed: only an exclusive creation can meet an existing object. */
static int32_t get_failure(int32_t option)
{
	return option == BLEIPC_CREATE && errno == EEXIST ? BLEIPC_EXISTS : BLEIPC_FAILED;
}

static int get_flags(int32_t option)
{
	return option == BLEIPC_CREATE ? IPC_CREAT | IPC_EXCL | BLE_IPC_MODE : BLE_IPC_MODE;
}

int32_t bleipc_setval(bleipc_sem *sem, int32_t value)
{
	semaphore_argument argument = {};

	bleipc_errno = BLEIPC_OK;
	argument.val = value;
	return checked(semctl(sem->id, 0, SETVAL, argument));
}

int32_t bleipc_getval(bleipc_sem *sem)
{
	bleipc_errno = BLEIPC_OK;
	return checked(semctl(sem->id, 0, GETVAL));
}

int32_t bleipc_semget(bleipc_sem *sem, uint32_t key, int32_t value, int32_t option)
{
	TRACE(TRACE_IPC, "buffer=%p, key=0x%x, val=%d, option=%d\n", static_cast<void *>(sem), key,
	      value, option);

	bleipc_errno = BLEIPC_OK;
	const int32_t id = semget(static_cast<key_t>(key), 1, get_flags(option));
	if (id < 0) {
		bleipc_errno = get_failure(option);
	} else {
		sem->id = id;
		sem->key = key;
		if (option == BLEIPC_CREATE)
			bleipc_setval(sem, value);
	}
	TRACE(TRACE_IPC, "bleipc_errno=%d\n", bleipc_errno);
	return id;
}

/* One operation on the semaphore; the kernel undoes it if this process dies. */
static int32_t change_semaphore(const bleipc_sem *sem, short by)
{
	sembuf operation = { 0, by, SEM_UNDO };

	return semop(sem->id, &operation, 1);
}

int32_t bleipc_dolock(bleipc_sem *sem)
{
	int32_t result;

	do {
		bleipc_errno = BLEIPC_OK;
		result = change_semaphore(sem, -1);
		if (result < 0 && errno == EINTR)
			bleipc_errno = EINTR;
		else if (result < 0)
			bleipc_errno = errno == EIDRM ? BLEIPC_REMOVED : BLEIPC_FAILED;
	} while (bleipc_errno == EINTR);
	TRACE(TRACE_IPC, "bleipc_errno=%d\n", bleipc_errno);
	return result;
}

int32_t bleipc_unlock(bleipc_sem *sem)
{
	bleipc_errno = BLEIPC_OK;
	return checked(change_semaphore(sem, 1));
}

int32_t bleipc_semctl(bleipc_sem *sem, int32_t command)
{
	int32_t result = 0;

	bleipc_errno = BLEIPC_OK;
	if (command == IPC_RMID) {
		result = checked(semctl(sem->id, 0, IPC_RMID));
		sem->id = 0;
	}
	TRACE(TRACE_IPC, "bleipc_errno=%d\n", bleipc_errno);
	return result;
}

int32_t bleipc_shmget(bleipc_shm *shm, uint32_t key, uint32_t size, int32_t option)
{
	bleipc_errno = BLEIPC_OK;
	/* Size 0 accepts an existing segment of any size. */
	const int32_t id = shmget(static_cast<key_t>(key), option == BLEIPC_CREATE ? size : 0,
				  get_flags(option));
	if (id < 0) {
		bleipc_errno = get_failure(option);
	} else {
		shm->addr = nullptr;
		shm->id = id;
		shm->key = key;
	}
	TRACE(TRACE_IPC, "bleipc_errno=%d, shmid=%d\n", bleipc_errno, id);
	return id;
}

int32_t bleipc_shmat(bleipc_shm *shm)
{
	bleipc_errno = BLEIPC_OK;
	shm->addr = shmat(shm->id, nullptr, 0);
	/* Null on purpose, though shmat fails with all bits set: start-up then goes on. */
	return shm->addr ? 1 : checked(-1);
}

int32_t bleipc_shmdt(bleipc_shm *shm)
{
	bleipc_errno = BLEIPC_OK;
	const int32_t result = checked(shmdt(shm->addr));
	shm->addr = nullptr;
	return result;
}

int32_t bleipc_shmctl(bleipc_shm *shm, int32_t command)
{
	bleipc_errno = BLEIPC_OK;
	if (command != IPC_RMID)
		return 0;
	const int32_t result = checked(shmctl(shm->id, IPC_RMID, nullptr));
	shm->id = 0;
	shm->addr = nullptr;
	return result;
}

/* Create the semaphore, or take over a crashed daemon's and release its lock. */
static int32_t init_semaphore()
{
	if (bleipc_semget(&ble_ipc.sem, BLE_SEM_KEY, 1, BLEIPC_CREATE) >= 0)
		return 0;
	if (bleipc_errno != BLEIPC_EXISTS)
		return -1;
	fprintf(stderr, "Previous %s may not shutdown cleanly. Try to init SEM lock again.\n",
		"vorlind");
	if (bleipc_semget(&ble_ipc.sem, BLE_SEM_KEY, 0, BLEIPC_ATTACH) < 0)
		return -1;
	bleipc_setval(&ble_ipc.sem, 1);
	return 0;
}

/* Create the segment, or take over a crashed daemon's with its content. */
static int32_t init_segment()
{
	if (bleipc_shmget(&ble_ipc.shm, BLE_SHM_KEY, sizeof(ble_segment), BLEIPC_CREATE) >= 0)
		return 0;
	if (bleipc_errno != BLEIPC_EXISTS)
		return -1;
	fputs("Previous vorlind may not shutdown cleanly. Try to init SHM buffer again.\n", stderr);
	return bleipc_shmget(&ble_ipc.shm, BLE_SHM_KEY, 0, BLEIPC_ATTACH) < 0 ? -1 : 0;
}

int32_t ipc_init()
{
	TRACE(TRACE_IPC, "Start...\n");

	if (init_semaphore() != 0) {
		fputs("ipc_init() failed\n", stderr);
		return -1;
	}

	int32_t retval = 0;
	if (init_segment() != 0) {
		retval = 6;
	} else if (bleipc_shmat(&ble_ipc.shm) < 0) {
		TRACE(TRACE_IPC, "bleipc_shmctl()\n");
		bleipc_shmctl(&ble_ipc.shm, IPC_RMID);
		retval = 7;
	}
	if (retval != 0) {
		TRACE(TRACE_IPC, "bleipc_semctl()\n");
		bleipc_semctl(&ble_ipc.sem, IPC_RMID);
		TRACE(TRACE_IPC, "retval=%d\n", retval);
		fputs("ipc_init() failed\n", stderr);
		return -1;
	}

	ble_ipc.buf = static_cast<ble_segment *>(ble_ipc.shm.addr);
	ble_ipc.buf->config.opt.status = BLE_STATUS_NONE;
	ble_config = &ble_ipc.buf->config;
	ble_ipc.info = ble_ipc.buf->info;
	ble_ipc.cmd = &ble_ipc.buf->cmd;
	return 0;
}

void ipc_deinit()
{
	TRACE(TRACE_IPC, "Start...\n");

	bleipc_shmdt(&ble_ipc.shm);
	bleipc_shmctl(&ble_ipc.shm, IPC_RMID);
	bleipc_semctl(&ble_ipc.sem, IPC_RMID);
}
