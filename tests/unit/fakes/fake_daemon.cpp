// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_daemon.h"

#include "tests/unit/fakes/fake_select.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr char GUARD = '\x5A';

static struct {
	char before[4096];
	ble_segment segment;
	char after[4096];
} memory;

static std::string console_path;
static int semaphore_id; /* the one to remove: a test may change ble_ipc */

bool DaemonTest::has_own_ipc_objects()
{
	static const bool alone =
		unshare(CLONE_NEWIPC) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWIPC) == 0;
	return alone;
}

void DaemonTest::SetUp()
{
	fake_refusals_clear();
	folder = std::filesystem::temp_directory_path() / "vorlind-test-XXXXXX";
	ASSERT_NE(mkdtemp(folder.data()), nullptr);

	memset(&memory, GUARD, sizeof(memory));
	memset(&memory.segment, 0, sizeof(memory.segment));
	ble_ipc = {};
	ble_ipc.buf = &memory.segment;
	ble_ipc.info = memory.segment.info;
	ble_ipc.cmd = &memory.segment.cmd;
	ble_config = &memory.segment.config;
	ble_config->opt.status = BLE_STATUS_AVAILABLE;
	semaphore_id = bleipc_semget(&ble_ipc.sem, IPC_PRIVATE, 1, BLEIPC_CREATE);
	ASSERT_GE(semaphore_id, 0);

	console_path = folder + "/console";
	ASSERT_EQ(mkfifo(console_path.c_str(), 0600), 0);
	console_fd = openat(AT_FDCWD, console_path.c_str(), O_RDWR | O_NONBLOCK);
	ASSERT_GE(console_fd, 0);
	trace_console = console_path.c_str();
	dbg_level = 0;

	hci_ver_index = 0;
	ble_used_chip = 0;
	flag_daemon_quit = 0;
	flag_cmd_change = 0;
	flag_uevent_change = 0;
	sigemptyset(&ble_sig_set);
	sigaddset(&ble_sig_set, SIGUSR1);
	sigaddset(&ble_sig_set, SIGUSR2);

	fake_sleeps.clear();
	fake_during_sleep = nullptr;
	fake_selects.clear();
	fake_as_select_begins = nullptr;
	fake_files_clear();
	fake_device_libs_clear();
	fake_plug();
}

void DaemonTest::TearDown()
{
	fake_unplug();
	fake_during_sleep = nullptr;
	semctl(semaphore_id, 0, IPC_RMID);
	dbg_level = 0;
	close(console_fd);
	std::filesystem::remove_all(folder);

	for (size_t i = 0; i < sizeof(memory.before); i++)
		ASSERT_EQ(memory.before[i], GUARD) << "written before the segment, byte " << i;
	for (size_t i = 0; i < sizeof(memory.after); i++)
		ASSERT_EQ(memory.after[i], GUARD) << "written behind the segment, byte " << i;
}

std::string DaemonTest::console()
{
	std::string text;
	char buffer[4096];
	ssize_t n;

	while ((n = read(console_fd, buffer, sizeof(buffer))) > 0)
		text.append(buffer, static_cast<size_t>(n));
	return text;
}

std::string DaemonTest::printed_to(int fd, const std::function<void()> &action)
{
	const int file = memfd_create("printed", MFD_CLOEXEC);
	const int before = fcntl(fd, F_DUPFD_CLOEXEC, 0);
	std::string text;

	fflush(nullptr);
	if (dup2(file, fd) < 0)
		abort();
	action();
	fflush(nullptr);
	dup2(before, fd);
	close(before);
	text.resize(static_cast<size_t>(lseek(file, 0, SEEK_END)));
	if (pread(file, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
		abort();
	close(file);
	return text;
}

void DaemonTest::client_says(const std::vector<std::string> &words)
{
	ble_ipc.cmd->argc = static_cast<int32_t>(words.size());
	for (size_t i = 0; i < words.size() && i < BLE_WORDS; i++) {
		memset(ble_ipc.cmd->argv[i], 0, BLE_WORD_SIZE);
		memcpy(ble_ipc.cmd->argv[i], words[i].data(),
		       std::min(words[i].size(), BLE_WORD_SIZE));
	}
}
