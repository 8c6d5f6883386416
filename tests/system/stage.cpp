// SPDX-License-Identifier: Apache-2.0
#include "tests/system/stage.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

std::string content_of(const std::string &path)
{
	std::ifstream file(path, std::ios::binary);
	std::ostringstream content;

	content << file.rdbuf();
	return content.str();
}

bool comes_true(const std::function<bool()> &condition)
{
	const auto deadline = std::chrono::steady_clock::now() + PATIENCE;

	while (std::chrono::steady_clock::now() < deadline) {
		if (condition())
			return true;
		std::this_thread::sleep_for(2ms);
	}
	return condition();
}

bool has_ended(pid_t child)
{
	siginfo_t info = {};

	return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
	       info.si_pid == child;
}

bool SystemTest::semaphore_exists()
{
	return semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600) >= 0;
}

bool SystemTest::segment_exists()
{
	return shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600) >= 0;
}

/* A killed daemon leaves them; the next test must not find them. */
static void remove_ipc_objects()
{
	const int sem = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
	const int shm = shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600);

	if (sem >= 0)
		semctl(sem, 0, IPC_RMID);
	if (shm >= 0)
		shmctl(shm, IPC_RMID, nullptr);
}

/* Where root may not administer the system, only their owner may remove them. */
static void remove_ipc_objects_of_another_user()
{
	const int shm = shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600);
	shmid_ds segment = {};

	if (shm < 0 || shmctl(shm, IPC_STAT, &segment) != 0)
		return;
	const pid_t pid = fork();
	if (pid == 0) {
		if (setuid(segment.shm_perm.uid) == 0)
			remove_ipc_objects();
		_exit(0);
	}
	waitpid(pid, nullptr, 0);
}

void SystemTest::SetUp()
{
	ASSERT_NE(getenv("VORLIND_BUILD"), nullptr) << "VORLIND_BUILD names the build to test";
	ASSERT_FALSE(segment_exists()) << "another vorlind's segment is on this machine";
	folder = std::filesystem::temp_directory_path() / "vorlind-stage-XXXXXX";
	ASSERT_NE(mkdtemp(folder.data()), nullptr);
}

void SystemTest::TearDown()
{
	for (const pid_t pid : running) {
		kill(pid, SIGKILL);
		waitpid(pid, nullptr, 0);
	}
	if (segment)
		shmdt(segment);
	remove_ipc_objects();
	remove_ipc_objects_of_another_user();
	std::error_code gone;
	std::filesystem::remove("/dev/ttyMSM1", gone); /* a killed simulator's link */
	std::filesystem::remove_all(folder, gone);
}

std::string SystemTest::built(const std::string &name)
{
	return std::string(getenv("VORLIND_BUILD")) + "/" + name;
}

std::string SystemTest::quoted(const std::string &path)
{
	return "'" + path + "'";
}

program SystemTest::start(const std::vector<std::string> &words)
{
	program started;
	std::vector<char *> arguments;

	started.out = folder + "/out." + std::to_string(files);
	started.err = folder + "/err." + std::to_string(files++);
	for (const std::string &word : words)
		arguments.push_back(const_cast<char *>(word.c_str()));
	arguments.push_back(nullptr);

	started.pid = fork();
	if (started.pid == 0) {
		const int in = open("/dev/null", O_RDONLY);
		const int out = open(started.out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
		const int err = open(started.err.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
		if (chdir(folder.c_str()) != 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 ||
		    dup2(err, 2) < 0)
			_exit(126);
		close(in);
		close(out);
		close(err);
		execv(arguments[0], arguments.data());
		_exit(127);
	}
	running.push_back(started.pid);
	return started;
}

int SystemTest::wait_for_end(const program &of)
{
	int status = 0;

	if (!comes_true([&] { return waitpid(of.pid, &status, WNOHANG) == of.pid; })) {
		ADD_FAILURE() << "process " << of.pid << " does not end";
		return -1;
	}
	std::erase(running, of.pid);
	return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int SystemTest::stop(const program &of, int signo)
{
	kill(of.pid, signo);
	return wait_for_end(of);
}

int SystemTest::run(const std::vector<std::string> &words, program *of)
{
	*of = start(words);
	return wait_for_end(*of);
}

ble_segment *SystemTest::attach()
{
	const int id = shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600);

	if (id < 0)
		return nullptr;
	void *address = shmat(id, nullptr, 0);
	return address == reinterpret_cast<void *>(-1) ? nullptr
						       : static_cast<ble_segment *>(address);
}

/*
 * True when the daemon has looked for its manufacturing data, which no test machine has: its
 * handlers are installed before. In an emulator the kernel's list of handlers is the emulator's.
 */
static bool may_be_signalled(const program &daemon)
{
	return content_of(daemon.err).find("Open /proc/MRD failed.") != std::string::npos;
}

program SystemTest::start_daemon()
{
	program daemon = start({ built("vorlind") });

	if (segment)
		shmdt(segment);
	segment = nullptr;
	if (comes_true([&] { return may_be_signalled(daemon) || has_ended(daemon.pid); }))
		segment = attach();
	/* Without a segment the rest of the test would crash. */
	if (!segment)
		throw std::runtime_error("vorlind does not start: " + content_of(daemon.err));
	say_and_wait(daemon, { "show", "version" }); /* the answer shows that the loop runs */
	daemon.ready = content_of(daemon.err).size();
	return daemon;
}

std::string SystemTest::printed(const program &daemon)
{
	return content_of(daemon.err).substr(daemon.ready);
}

program SystemTest::start_simulator(const std::string &controller,
				    const std::vector<std::string> &options)
{
	std::vector<std::string> words = { built("vorlin-sim"), "--controller", controller,
					   "--link", "/dev/ttyMSM1" };

	words.insert(words.end(), options.begin(), options.end());
	const program simulator = start(words);
	if (!comes_true([&] {
		    return std::filesystem::exists("/dev/ttyMSM1") || has_ended(simulator.pid);
	    }) ||
	    has_ended(simulator.pid))
		throw std::runtime_error("no simulated controller: " + content_of(simulator.err));
	return simulator;
}

static int semaphore()
{
	return semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
}

static void change_semaphore(short by)
{
	sembuf operation = { 0, by, SEM_UNDO };

	if (semop(semaphore(), &operation, 1) != 0)
		throw std::runtime_error("there is no lock");
}

int SystemTest::waiting_for_lock()
{
	return semctl(semaphore(), 0, GETNCNT);
}

void SystemTest::write_words(const std::vector<std::string> &words)
{
	segment->cmd.argc = static_cast<int32_t>(words.size());
	for (size_t i = 0; i < words.size(); i++) {
		memset(segment->cmd.argv[i], 0, BLE_WORD_SIZE);
		memcpy(segment->cmd.argv[i], words[i].data(),
		       std::min(words[i].size(), BLE_WORD_SIZE - 1));
	}
	segment->cmd_doing = 1;
}

void SystemTest::say(const program &daemon, const std::vector<std::string> &words)
{
	change_semaphore(-1);
	write_words(words);
	change_semaphore(1);
	kill(daemon.pid, SIGUSR1);
}

void SystemTest::say_and_wait(const program &daemon, const std::vector<std::string> &words)
{
	change_semaphore(-1);
	kill(daemon.pid, SIGUSR1);
	const bool is_heard = comes_true([] { return waiting_for_lock() > 0; });
	write_words(words);
	change_semaphore(1);
	if (!is_heard || !comes_true([&] { return segment->cmd_doing == 0; }))
		throw std::runtime_error("no end of \"" + words[0] +
					 "\": " + content_of(daemon.err));
}
