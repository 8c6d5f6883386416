// SPDX-License-Identifier: Apache-2.0
#include "bench/access_point.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

static const char serial_port[] = "/dev/ttyMSM1";
constexpr unsigned long USUAL_TIMER_SLACK = 50'000; /* nanoseconds, the default */

std::string content_of(const std::string &path)
{
	std::ifstream in(path, std::ios::binary);
	std::ostringstream content;

	content << in.rdbuf();
	return content.str();
}

int64_t wall_clock()
{
	timespec now;

	clock_gettime(CLOCK_REALTIME, &now);
	return int64_t{ now.tv_sec } * 1'000'000'000 + now.tv_nsec;
}

void sleep_for(double seconds)
{
	const auto whole = static_cast<time_t>(seconds);
	const timespec time = { whole, static_cast<long>((seconds - double(whole)) * 1e9) };

	nanosleep(&time, nullptr);
}

/* Polls every 50 us, later every thousandth of the wait: many processes wait on one machine. */
int64_t wait_until(const std::function<bool()> &condition, const std::string &what,
		   int64_t most_seconds)
{
	const int64_t begin = wall_clock();

	while (!condition()) {
		const double waited = static_cast<double>(wall_clock() - begin) / 1e9;
		if (waited > static_cast<double>(most_seconds))
			throw std::runtime_error("waited in vain for " + what);
		sleep_for(std::clamp(waited / 1000, 50e-6, 5e-3));
	}
	return wall_clock();
}

int be_bare_process(const char *port)
{
	struct termios raw;

	prctl(PR_SET_TIMERSLACK, USUAL_TIMER_SLACK);
	const int line = open(port, O_RDWR | O_NOCTTY);
	if (tcgetattr(line, &raw) != 0)
		_exit(1);
	cfmakeraw(&raw);
	raw.c_cflag |= CRTSCTS;
	if (tcsetattr(line, TCSANOW, &raw) != 0)
		_exit(1);
	return line;
}

static int segment_id()
{
	return shmget(static_cast<key_t>(BLE_SHM_KEY), 0, BLE_IPC_MODE);
}

static int semaphore_id()
{
	return semget(static_cast<key_t>(BLE_SEM_KEY), 1, BLE_IPC_MODE);
}

access_point::access_point(const std::string &build) : m_build(std::filesystem::absolute(build))
{
	m_folder = std::filesystem::temp_directory_path() / "vorlind-bench-XXXXXX";
	if (!mkdtemp(m_folder.data()))
		throw std::runtime_error("cannot make a folder for scratch");
	prctl(PR_SET_TIMERSLACK, 1); /* the bench's own waits shall add nothing */
	if (segment_id() >= 0)
		throw std::runtime_error("another daemon's segment is here: use tools/sandbox");
}

access_point::~access_point()
{
	for (const pid_t pid : { m_daemon, m_simulator }) {
		if (pid < 0)
			continue;
		kill(pid, SIGKILL);
		waitpid(pid, nullptr, 0);
	}
	if (m_segment)
		shmdt(m_segment);
	if (segment_id() >= 0)
		shmctl(segment_id(), IPC_RMID, nullptr);
	if (semaphore_id() >= 0)
		semctl(semaphore_id(), 0, IPC_RMID);
	std::error_code gone;
	std::filesystem::remove(serial_port, gone);
	std::filesystem::remove_all(m_folder, gone);
}

std::string access_point::file(const std::string &name) const
{
	return m_folder + "/" + name;
}

std::string access_point::program(const std::string &name) const
{
	return m_build + "/" + name;
}

void access_point::make_patch(const std::string &options) const
{
	const std::string command = "'" + program("vorlin-sim") + "' " + options +
				    " --make-patch '" + file("mpnv10.bin") + "'";

	if (system(command.c_str()) != 0)
		throw std::runtime_error("no patch file");
}

pid_t access_point::start(const words &command, const std::string &name) const
{
	const std::string out = file(name + ".out");
	const std::string err = file(name + ".err");
	std::vector<char *> arguments;

	for (const std::string &word : command)
		arguments.push_back(const_cast<char *>(word.c_str()));
	arguments.push_back(nullptr);
	const pid_t pid = fork();
	if (pid != 0)
		return pid;
	prctl(PR_SET_TIMERSLACK, USUAL_TIMER_SLACK);
	const int in = open("/dev/null", O_RDONLY | O_CLOEXEC);
	const int to_out = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
	const int to_err = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
	if (chdir(m_folder.c_str()) == 0 && dup2(in, 0) == 0 && dup2(to_out, 1) == 1 &&
	    dup2(to_err, 2) == 2)
		execvp(arguments[0], arguments.data());
	_exit(127);
}

void access_point::start_simulator(const std::string &controller, const words &options)
{
	words command = { program("vorlin-sim"), "--controller", controller, "--link",
			  serial_port,           "--quiet" };

	command.insert(command.end(), options.begin(), options.end());
	m_simulator = start(command, "simulator");
	wait_until([] { return std::filesystem::exists(serial_port); }, "the simulator");
}

int64_t access_point::start_daemon(const words &before)
{
	words command = before;

	command.push_back(program("vorlind"));
	const int64_t at = wall_clock();
	m_daemon = start(command, "daemon");
	return at;
}

int64_t access_point::wait_for_segment()
{
	const int64_t at = wait_until([] { return segment_id() >= 0; }, "the segment");
	void *address = shmat(segment_id(), nullptr, 0);
	if (address == reinterpret_cast<void *>(-1))
		throw std::runtime_error("cannot attach to the segment");
	m_segment = static_cast<ble_segment *>(address);
	return at;
}

bool access_point::watch_for_loop()
{
	m_segment->cmd_doing = 1;
	return m_segment->config.opt.status < BLE_STATUS_AVAILABLE;
}

int64_t access_point::wait_for_loop()
{
	return wait_until([this] { return m_segment->cmd_doing == 0; }, "the daemon's loop");
}

void access_point::wait_for_controller()
{
	wait_until([this] { return m_segment->config.opt.status == BLE_STATUS_AVAILABLE; },
		   "the controller");
}

void access_point::start_and_wait(const words &before)
{
	start_daemon(before);
	wait_for_segment();
	wait_for_controller();
	say_and_wait({ "show", "version" }); /* the loop must run to answer it */
}

/* The creator of the segment: the started process may be a program that runs the daemon. */
pid_t access_point::daemon() const
{
	shmid_ds status;

	if (shmctl(segment_id(), IPC_STAT, &status) != 0)
		throw std::runtime_error("the segment is gone");
	return status.shm_cpid;
}

void access_point::load_beacons(int count, const std::string &interval)
{
	strcpy(m_segment->config.interval, interval.c_str());
	for (int i = 0; i < static_cast<int>(BLE_BEACONS); i++) {
		beacon_entry &entry = m_segment->config.beacon[i];
		strcpy(entry.uuid, "E2C56DB5DFFB48D2B060D0F5A71096E0");
		strcpy(entry.minor, std::to_string(i + 1).c_str());
		strcpy(entry.enable, i < count ? "1" : "0");
	}
}

static void change_semaphore(short by)
{
	sembuf operation = { 0, by, SEM_UNDO };

	if (semop(semaphore_id(), &operation, 1) != 0)
		throw std::runtime_error("the semaphore is gone");
}

void access_point::write_words(const words &command)
{
	m_segment->cmd.argc = static_cast<int32_t>(command.size());
	for (size_t i = 0; i < command.size(); i++)
		strcpy(m_segment->cmd.argv[i], command[i].c_str());
	m_segment->cmd_doing = 1;
}

int64_t access_point::say(const words &command)
{
	const pid_t pid = daemon();

	change_semaphore(-1);
	write_words(command);
	change_semaphore(1);
	const int64_t at = wall_clock();
	kill(pid, SIGUSR1);
	return at;
}

void access_point::say_and_wait(const words &command)
{
	const pid_t pid = daemon();

	change_semaphore(-1);
	kill(pid, SIGUSR1);
	wait_until([] { return semctl(semaphore_id(), 0, GETNCNT) > 0; }, "the daemon");
	write_words(command);
	change_semaphore(1);
	wait_until([this] { return m_segment->cmd_doing == 0; }, "the end of " + command[0]);
}

void access_point::stop(pid_t &pid, pid_t signalled)
{
	int status = 0;

	kill(signalled, SIGTERM);
	wait_until([&] { return waitpid(pid, &status, WNOHANG) == pid; }, "the end of a program");
	pid = -1;
	if (status != 0)
		throw std::runtime_error("a program ended with status " + std::to_string(status));
}

void access_point::stop_daemon()
{
	stop(m_daemon, daemon());
	shmdt(m_segment);
	m_segment = nullptr;
}

void access_point::stop_simulator()
{
	stop(m_simulator, m_simulator);
}
