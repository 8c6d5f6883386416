// SPDX-License-Identifier: Apache-2.0
/* The System V wrappers, the layout of the segment, and creation and recovery. */
#include "daemon/bleipc.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

/* Keys of this test only: with the process id, because tests run in parallel. */
static uint32_t own_key()
{
	return 0x0BADC000U + static_cast<uint32_t>(getpid());
}

class Ipc : public DaemonTest
{
      protected:
	bleipc_sem sem = {};
	bleipc_shm shm = {};

	void TearDown() override
	{
		if (sem.id > 0)
			semctl(sem.id, 0, IPC_RMID);
		if (shm.id > 0)
			shmctl(shm.id, IPC_RMID, nullptr);
		DaemonTest::TearDown();
	}
};

TEST(Segment, TheLayoutIsTheContract)
{
	ble_segment segment;
	const auto offset = [&](const volatile void *member) {
		return static_cast<const volatile char *>(member) -
		       reinterpret_cast<const volatile char *>(&segment);
	};

	EXPECT_EQ(sizeof(segment), 2100U);
	EXPECT_EQ(offset(&segment.cmd_doing), 4);
	EXPECT_EQ(offset(&segment.cmd.argc), 8);
	EXPECT_EQ(offset(&segment.cmd.argv[0]), 12);
	EXPECT_EQ(offset(&segment.cmd.argv[1]), 76);
	EXPECT_EQ(offset(&segment.cmd.argv[2]), 140);
	EXPECT_EQ(offset(&segment.cmd.argv[3]), 204);
	EXPECT_EQ(offset(&segment.cmd.argv[4]), 268);
	EXPECT_EQ(offset(&segment.info), 1380);
	EXPECT_EQ(offset(&segment.config), 1420);
	EXPECT_EQ(offset(&segment.config.opt.action), 1420);
	EXPECT_EQ(offset(&segment.config.opt.status), 1428);
	EXPECT_EQ(offset(&segment.config.interval), 1432);
	EXPECT_EQ(offset(&segment.config.mac), 1438);
	EXPECT_EQ(offset(&segment.config.measured_power), 1451);
	EXPECT_EQ(offset(&segment.config.power_index), 1455);
	for (int i = 0; i < 5; i++) {
		const auto entry = offset(&segment.config.beacon[i]);
		EXPECT_EQ(entry, 1459 + 128 * i);
		EXPECT_EQ(offset(&segment.config.beacon[i].enable) - entry, 3);
		EXPECT_EQ(offset(&segment.config.beacon[i].option) - entry, 5);
		EXPECT_EQ(offset(&segment.config.beacon[i].type) - entry, 8);
		EXPECT_EQ(offset(&segment.config.beacon[i].interval) - entry, 41);
		EXPECT_EQ(offset(&segment.config.beacon[i].mac) - entry, 47);
		EXPECT_EQ(offset(&segment.config.beacon[i].prefix) - entry, 60);
		EXPECT_EQ(offset(&segment.config.beacon[i].uuid) - entry, 79);
		EXPECT_EQ(offset(&segment.config.beacon[i].major) - entry, 112);
		EXPECT_EQ(offset(&segment.config.beacon[i].minor) - entry, 118);
		EXPECT_EQ(offset(&segment.config.beacon[i].measured_power) - entry, 124);
	}
	EXPECT_EQ(BLE_SEM_KEY, 180146177U);
	EXPECT_EQ(BLE_SHM_KEY, 180146178U);
}

TEST_F(Ipc, ACreatedSemaphoreHasItsValueAndMode)
{
	EXPECT_EQ(bleipc_semget(&sem, own_key(), 1, 1), sem.id);
	EXPECT_EQ(bleipc_errno, 0);
	EXPECT_EQ(sem.key, own_key());
	EXPECT_EQ(bleipc_getval(&sem), 1);
	semid_ds info;
	semctl(sem.id, 0, IPC_STAT, &info);
	EXPECT_EQ(info.sem_perm.mode & 0777, 0600U);
	EXPECT_EQ(info.sem_nsems, 1U);
}

TEST_F(Ipc, CreatingASecondOneSaysThatItExists)
{
	bleipc_sem second = {};

	ASSERT_GE(bleipc_semget(&sem, own_key(), 1, 1), 0);
	EXPECT_EQ(bleipc_semget(&second, own_key(), 1, 1), -1);
	EXPECT_EQ(bleipc_errno, 2);
	EXPECT_EQ(second.id, 0);
}

TEST_F(Ipc, AttachingLeavesTheValueAndStoresIdAndKey)
{
	bleipc_sem second = {};

	ASSERT_GE(bleipc_semget(&sem, own_key(), 7, 1), 0);
	for (const int32_t option : { 2, 0, 3 }) {
		EXPECT_EQ(bleipc_semget(&second, own_key(), 0, option), sem.id);
		EXPECT_EQ(second.id, sem.id);
		EXPECT_EQ(second.key, own_key());
		EXPECT_EQ(bleipc_getval(&second), 7);
	}
	EXPECT_EQ(bleipc_semget(&second, own_key() + 100000, 0, 2), -1);
	EXPECT_EQ(bleipc_errno, 1);
}

TEST_F(Ipc, SetvalAndGetvalReportFailures)
{
	sem.id = 0x7FFFFFF0;
	EXPECT_EQ(bleipc_setval(&sem, 1), -1);
	EXPECT_EQ(bleipc_errno, 1);
	EXPECT_EQ(bleipc_getval(&sem), -1);
	EXPECT_EQ(bleipc_errno, 1);
	EXPECT_EQ(bleipc_dolock(&sem), -1);
	EXPECT_EQ(bleipc_errno, 1);
	EXPECT_EQ(bleipc_unlock(&sem), -1);
	EXPECT_EQ(bleipc_errno, 1);
	EXPECT_EQ(bleipc_semctl(&sem, IPC_RMID), -1);
	EXPECT_EQ(bleipc_errno, 1);
	EXPECT_EQ(sem.id, 0) << "whatever the outcome";
}

TEST_F(Ipc, ASuccessClearsTheErrorOfTheCallBefore)
{
	ASSERT_GE(bleipc_semget(&sem, own_key(), 1, 1), 0);
	ASSERT_GE(bleipc_shmget(&shm, own_key(), 100, 1), 0);
	const std::function<void()> calls[] = {
		[&] { bleipc_semget(&sem, own_key(), 1, 2); },
		[&] { bleipc_setval(&sem, 1); },
		[&] { bleipc_getval(&sem); },
		[&] { bleipc_dolock(&sem); },
		[&] { bleipc_unlock(&sem); },
		[&] { bleipc_semctl(&sem, IPC_STAT); },
		[&] { bleipc_shmget(&shm, own_key(), 0, 2); },
		[&] { bleipc_shmat(&shm); },
		[&] { bleipc_shmdt(&shm); },
		[&] { bleipc_shmctl(&shm, IPC_STAT); },
		[&] { bleipc_shmctl(&shm, IPC_RMID); },
		[&] { bleipc_semctl(&sem, IPC_RMID); },
	};

	for (size_t i = 0; i < std::size(calls); i++) {
		bleipc_errno = 99;
		calls[i]();
		EXPECT_EQ(bleipc_errno, 0) << "call " << i;
	}
}

TEST_F(Ipc, LockAndUnlockMoveTheValueAndADeadOwnersLockIsGivenBack)
{
	ASSERT_GE(bleipc_semget(&sem, own_key(), 1, 1), 0);
	EXPECT_EQ(bleipc_dolock(&sem), 0);
	EXPECT_EQ(bleipc_getval(&sem), 0);
	EXPECT_EQ(bleipc_unlock(&sem), 0);
	EXPECT_EQ(bleipc_getval(&sem), 1);

	const pid_t owner = fork();
	if (owner == 0)
		_exit(bleipc_dolock(&sem) == 0 ? 0 : 1);
	int status = 1;
	waitpid(owner, &status, 0);
	EXPECT_EQ(status, 0);
	EXPECT_EQ(bleipc_getval(&sem), 1);
}

static void nothing(int) {}

TEST_F(Ipc, ALockWaitThatASignalInterruptsIsRepeated)
{
	ASSERT_GE(bleipc_semget(&sem, own_key(), 0, 1), 0);
	const pid_t waiter = fork();
	if (waiter == 0) {
		signal(SIGUSR1, nothing);
		_exit(bleipc_dolock(&sem) == 0 && bleipc_errno == 0 ? 0 : 1);
	}
	while (semctl(sem.id, 0, GETNCNT) == 0)
		sched_yield();
	for (int i = 0; i < 3; i++) {
		kill(waiter, SIGUSR1);
		const timespec moment = { 0, 10000000 };
		nanosleep(&moment, nullptr);
	}
	int status = 1;
	EXPECT_EQ(waitpid(waiter, &status, WNOHANG), 0) << "still waiting";
	bleipc_setval(&sem, 1);
	waitpid(waiter, &status, 0);
	EXPECT_EQ(status, 0);
}

TEST_F(Ipc, ASemaphoreRemovedUnderAWaiterIsTold)
{
	ASSERT_GE(bleipc_semget(&sem, own_key(), 0, 1), 0);
	const pid_t waiter = fork();
	if (waiter == 0)
		_exit(bleipc_dolock(&sem) == -1 ? bleipc_errno : 100);
	while (semctl(sem.id, 0, GETNCNT) == 0)
		sched_yield();
	EXPECT_EQ(bleipc_semctl(&sem, IPC_RMID), 0);
	int status = 1;
	waitpid(waiter, &status, 0);
	EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(Ipc, OnlyRemovalActs)
{
	ASSERT_GE(bleipc_semget(&sem, own_key(), 1, 1), 0);
	shmid_ds info;
	ASSERT_GE(bleipc_shmget(&shm, own_key(), 100, 1), 0);
	EXPECT_EQ(bleipc_semctl(&sem, IPC_STAT), 0);
	EXPECT_EQ(bleipc_shmctl(&shm, IPC_STAT), 0);
	EXPECT_EQ(bleipc_getval(&sem), 1);
	EXPECT_EQ(shmctl(shm.id, IPC_STAT, &info), 0) << "still there";
	EXPECT_EQ(bleipc_shmctl(&shm, IPC_RMID), 0);
	EXPECT_EQ(shm.id, 0);
	EXPECT_EQ(bleipc_semctl(&sem, IPC_RMID), 0);
	EXPECT_EQ(sem.id, 0);
	EXPECT_LT(semget(static_cast<key_t>(own_key()), 1, 0600), 0);
	EXPECT_LT(shmget(static_cast<key_t>(own_key()), 0, 0600), 0);
}

TEST_F(Ipc, SegmentsAreCreatedAttachedAndDetached)
{
	bleipc_shm second = {};

	shm.addr = &shm;
	EXPECT_EQ(bleipc_shmget(&shm, own_key(), 100, 1), shm.id);
	EXPECT_EQ(shm.addr, nullptr);
	EXPECT_EQ(bleipc_shmget(&second, own_key(), 100, 1), -1);
	EXPECT_EQ(bleipc_errno, 2);
	EXPECT_EQ(bleipc_shmget(&second, own_key(), 0, 2), shm.id);
	EXPECT_EQ(second.key, own_key());
	EXPECT_EQ(bleipc_shmget(&second, own_key() + 100000, 0, 2), -1);
	EXPECT_EQ(bleipc_errno, 1);

	EXPECT_EQ(bleipc_shmat(&shm), 1);
	ASSERT_NE(shm.addr, nullptr);
	EXPECT_EQ(bleipc_shmdt(&shm), 0);
	EXPECT_EQ(shm.addr, nullptr);
	EXPECT_EQ(bleipc_shmdt(&shm), -1);
	EXPECT_EQ(bleipc_errno, 1);
}

TEST_F(Ipc, AnAttachThatFailsWithAllBitsSetIsNotDetected)
{
	shm.id = 0x7FFFFFF0;
	EXPECT_EQ(bleipc_shmat(&shm), 1) << "start-up goes on, by design";
	EXPECT_EQ(shm.addr, reinterpret_cast<void *>(-1));
	shm.id = 0;
}

TEST_F(Ipc, TheLayerIsTraced)
{
	dbg_level = TRACE_IPC;
	ASSERT_GE(bleipc_semget(&sem, own_key(), 1, 1), 0);
	char expected[256];
	snprintf(expected, sizeof(expected),
		 "bleipc_semget(N) buffer=%p, key=0x%x, val=1, option=1\n"
		 "bleipc_semget(N) bleipc_errno=0\n",
		 static_cast<void *>(&sem), own_key());
	EXPECT_EQ(without_lines(console()), expected);
	bleipc_dolock(&sem);
	EXPECT_EQ(without_lines(console()), "bleipc_dolock(N) bleipc_errno=0\n");
	bleipc_unlock(&sem);
	bleipc_getval(&sem);
	EXPECT_EQ(console(), "");
	bleipc_semctl(&sem, IPC_RMID);
	EXPECT_EQ(without_lines(console()), "bleipc_semctl(N) bleipc_errno=0\n");
	ASSERT_GE(bleipc_shmget(&shm, own_key(), 100, 1), 0);
	EXPECT_EQ(without_lines(console()),
		  "bleipc_shmget(N) bleipc_errno=0, shmid=" + std::to_string(shm.id) + "\n");
	bleipc_shmctl(&shm, IPC_RMID);
	EXPECT_EQ(console(), "");
}

/* Uses the real keys. */
class IpcInit : public DaemonTest
{
      protected:
	void SetUp() override
	{
		if (!has_own_ipc_objects())
			GTEST_SKIP() << "no IPC namespace of its own to be had here";
		DaemonTest::SetUp();
		ble_ipc = {};
	}

	void TearDown() override
	{
		if (IsSkipped())
			return;
		fake_refusals_clear();
		const int sem = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
		const int shm = shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600);
		if (sem >= 0)
			semctl(sem, 0, IPC_RMID);
		if (shm >= 0)
			shmctl(shm, IPC_RMID, nullptr);
		DaemonTest::TearDown();
	}
};

TEST_F(IpcInit, CreatesBothUnlockedAndRemovesBoth)
{
	dbg_level = TRACE_IPC;
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ipc_init(), 0); }), "");
	EXPECT_EQ(without_lines(console()).find("ipc_init(N) Start...\nbleipc_semget(N) "), 0U);
	EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
	EXPECT_EQ(static_cast<void *>(ble_ipc.buf), ble_ipc.shm.addr);
	EXPECT_EQ(reinterpret_cast<char *>(ble_config),
		  reinterpret_cast<char *>(ble_ipc.buf) + 1420);
	EXPECT_EQ(reinterpret_cast<char *>(ble_ipc.info),
		  reinterpret_cast<char *>(ble_ipc.buf) + 1380);
	EXPECT_EQ(reinterpret_cast<char *>(ble_ipc.cmd), reinterpret_cast<char *>(ble_ipc.buf) + 8);
	shmid_ds info;
	shmctl(ble_ipc.shm.id, IPC_STAT, &info);
	EXPECT_EQ(info.shm_segsz, 2100U);
	EXPECT_EQ(info.shm_perm.mode & 0777, 0600U);
	console();
	ipc_deinit();
	EXPECT_EQ(without_lines(console()),
		  "ipc_deinit(N) Start...\nbleipc_semctl(N) bleipc_errno=0\n");
	EXPECT_LT(shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600), 0);
	EXPECT_LT(semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600), 0);
}

TEST_F(IpcInit, WhatACrashLeftIsTakenOver)
{
	ASSERT_EQ(ipc_init(), 0);
	ble_config->opt.status = 3;
	ble_config->opt.action = 2;
	ble_ipc.buf->cmd_doing = 5;
	bleipc_setval(&ble_ipc.sem, 0);
	bleipc_shmdt(&ble_ipc.shm);

	ble_ipc = {};
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ipc_init(), 0); }),
		  "Previous vorlind may not shutdown cleanly. Try to init SEM lock again.\n"
		  "Previous vorlind may not shutdown cleanly. Try to init SHM buffer again.\n");
	EXPECT_EQ(bleipc_getval(&ble_ipc.sem), 1);
	EXPECT_EQ(ble_config->opt.status, 0U);
	EXPECT_EQ(ble_config->opt.action, 2U);
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 5U);
	ipc_deinit();
}

TEST_F(IpcInit, ASemaphoreThatCannotBeMadeIsTold)
{
	fake_refuse("semget", ENOSPC);
	int32_t result = 0;
	EXPECT_EQ(stderr_of([&] { result = ipc_init(); }), "ipc_init() failed\n");
	EXPECT_EQ(result, -1);
	EXPECT_LT(shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600), 0) << "not even tried";
}

TEST_F(IpcInit, WhatACrashLeftButCannotBeTakenOverIsTold)
{
	bleipc_sem left = {};
	ASSERT_GE(bleipc_semget(&left, BLE_SEM_KEY, 0, 1), 0);
	fake_refuse("semget", EACCES, 1); /* creation meets the old one, attaching fails */
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ipc_init(), -1); }),
		  "Previous vorlind may not shutdown cleanly. Try to init SEM lock again.\n"
		  "ipc_init() failed\n");
	EXPECT_EQ(bleipc_getval(&left), 0) << "not touched";
}

TEST_F(IpcInit, ASegmentThatCannotBeMadeTakesTheSemaphoreWithIt)
{
	fake_refuse("shmget", ENOSPC);
	dbg_level = TRACE_IPC;
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ipc_init(), -1); }), "ipc_init() failed\n");
	const std::string text = without_lines(console());
	EXPECT_EQ(text.substr(text.find("bleipc_shmget")),
		  "bleipc_shmget(N) bleipc_errno=1, shmid=-1\n"
		  "ipc_init(N) bleipc_semctl()\n"
		  "bleipc_semctl(N) bleipc_errno=0\n"
		  "ipc_init(N) retval=6\n");
	fake_refusals_clear();
	EXPECT_LT(semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600), 0);
}

TEST_F(IpcInit, ASegmentThatCannotBeTakenOverTakesTheSemaphoreWithIt)
{
	bleipc_shm left = {};
	ASSERT_GE(bleipc_shmget(&left, BLE_SHM_KEY, 2100, 1), 0);
	fake_refuse("shmget", EACCES, 1);
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ipc_init(), -1); }),
		  "Previous vorlind may not shutdown cleanly. Try to init SHM buffer again.\n"
		  "ipc_init() failed\n");
	fake_refusals_clear();
	EXPECT_LT(semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600), 0);
	EXPECT_GE(shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600), 0) << "it is not the daemon's";
}

TEST_F(IpcInit, AnAttachOfNullTakesBothWithIt)
{
	fake_refuse("shmat", ENOMEM);
	dbg_level = TRACE_IPC;
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ipc_init(), -1); }), "ipc_init() failed\n");
	const std::string text = without_lines(console());
	EXPECT_EQ(text.substr(text.find("ipc_init(N) bleipc_shmctl()")),
		  "ipc_init(N) bleipc_shmctl()\n"
		  "ipc_init(N) bleipc_semctl()\n"
		  "bleipc_semctl(N) bleipc_errno=0\n"
		  "ipc_init(N) retval=7\n");
	EXPECT_EQ(ble_ipc.shm.id, 0);
	EXPECT_EQ(ble_ipc.sem.id, 0);
	EXPECT_LT(semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600), 0);
	EXPECT_LT(shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600), 0);
}

TEST_F(IpcInit, AnIdentifierOf0IsOneLikeAnyOther)
{
	const pid_t child = fork();
	if (child == 0) { /* in a new namespace the first object has identifier 0 */
		if (unshare(CLONE_NEWIPC) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWIPC) != 0)
			_exit(77);
		close(STDERR_FILENO); /* its messages are checked above */
		const bool made = ipc_init() == 0 && ble_ipc.sem.id == 0 && ble_ipc.shm.id == 0;
		ble_ipc = {};
		const bool taken_over = ipc_init() == 0 && ble_ipc.buf != nullptr;
		ipc_deinit();
		_exit(made && taken_over && semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0) < 0 &&
				      shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0) < 0
			      ? 0
			      : 1);
	}
	int status = 1;
	waitpid(child, &status, 0);
	if (WIFEXITED(status) && WEXITSTATUS(status) == 77)
		GTEST_SKIP() << "no IPC namespace of its own to be had here";
	EXPECT_EQ(status, 0);
}

TEST_F(IpcInit, OnlyWhatIsLeftIsTold)
{
	bleipc_sem left = {};

	ASSERT_GE(bleipc_semget(&left, BLE_SEM_KEY, 0, 1), 0);
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ipc_init(), 0); }),
		  "Previous vorlind may not shutdown cleanly. Try to init SEM lock again.\n");
	ipc_deinit();
	ASSERT_GE(shmget(static_cast<key_t>(BLE_SHM_KEY), 2100, IPC_CREAT | 0600), 0);
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(ipc_init(), 0); }),
		  "Previous vorlind may not shutdown cleanly. Try to init SHM buffer again.\n");
	ipc_deinit();
}
