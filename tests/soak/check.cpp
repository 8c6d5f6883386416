// SPDX-License-Identifier: Apache-2.0
/* The rules that are checked after every step of a soak run. */
#include "tests/soak/world.h"

#include <algorithm>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

/* The three standard ones, the line, and the system log if there is one. */
constexpr size_t DESCRIPTORS = 5;

/* KiB that a daemon may grow above the first. */
#ifdef VORLIND_SANITIZED /* sanitizers keep freed memory */
constexpr uint64_t RESIDENT_BOUND = 65536;
constexpr uint64_t DATA_BOUND = 65536;
#else
constexpr uint64_t RESIDENT_BOUND = 512;
constexpr uint64_t DATA_BOUND = 256;
#endif

void world::check_segment() const
{
	shmid_ds info = {};
	const int id = shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600);

	if (id != m_segment_id || shmctl(id, IPC_STAT, &info) != 0)
		throw violation("the segment has gone");
	if (info.shm_segsz != sizeof(ble_segment) || (info.shm_perm.mode & 0777) != 0600)
		throw violation("the segment has another size or mode");
	const std::string trespass = m_guard.trespass(m_writers);
	if (!trespass.empty())
		throw violation(trespass);
	const uint32_t turn = segment->unused;
	if ((m_writers & CLIENT) != 0 && turn != 0 && turn != FIRST_WORD &&
	    std::ranges::count(m_clients, static_cast<pid_t>(turn)) == 0)
		throw violation("the first word is " + std::to_string(turn));
	const uint32_t status = segment->config.opt.status;
	if (status > BLE_STATUS_TESTING || status == 4)
		throw violation("opt.status is " + std::to_string(status));
}

void world::check_lock(bool is_quiet)
{
	const int value = lock_value();

	if (value != 0 && value != 1)
		throw violation("the semaphore is " + std::to_string(value));
	if (is_quiet && !comes_true([] { return lock_value() == 1; }))
		throw violation("nobody holds the lock, and it is not free");
}

/* One daemon, one simulator, and no other started process. */
void world::check_processes()
{
	const pid_t own = getpid();
	pid_t stray = 0;

	/* A killed daemon's child becomes this process's child, and ends by itself. */
	const auto is_alone = [&] {
		stray = 0;
		for (const process_row &row : processes()) {
			if (row.pid == daemon.pid && row.state == 'Z')
				throw violation("the daemon has ended");
			if (row.pid == simulator.pid && row.state == 'Z')
				throw violation("the simulator has ended");
			const bool is_ours = row.parent == own || row.parent == daemon.pid;
			if (!is_ours || row.pid == daemon.pid || row.pid == simulator.pid)
				continue;
			stray = row.pid;
			if (row.parent == own)
				waitpid(row.pid, nullptr, WNOHANG);
		}
		return stray == 0;
	};
	if (!comes_true(is_alone))
		throw violation("process " + std::to_string(stray) + " is left over");
	if (is_private() && (segments_in_use() != 1 || semaphores_in_use() != 1))
		throw violation("there are " + std::to_string(segments_in_use()) +
				" segments and " + std::to_string(semaphores_in_use()) +
				" semaphores");
}

void world::check_size()
{
	process_size size;

	/* A report or a trace opens a descriptor for a moment. */
	comes_true([&] {
		size = size_of(daemon.pid);
		return size.descriptors <= DESCRIPTORS;
	});
	counted.most_resident = std::max(counted.most_resident, size.resident);
	counted.most_data = std::max(counted.most_data, size.data);
	counted.most_descriptors = std::max<uint64_t>(counted.most_descriptors, size.descriptors);
	if (size.descriptors > DESCRIPTORS)
		throw violation("the daemon has " + std::to_string(size.descriptors) +
				" descriptors");
	if (size.resident > m_first.resident + RESIDENT_BOUND)
		throw violation("the daemon has grown to " + std::to_string(size.resident) +
				" KiB resident");
	if (size.data > m_first.data + DATA_BOUND)
		throw violation("the daemon has grown to " + std::to_string(size.data) +
				" KiB of data");
}

void world::check(bool is_quiet)
{
	check_processes();
	check_segment();
	check_lock(is_quiet);
	if (is_quiet)
		check_size();
	take_reports();
	trim_console();
	collect_strikes();
	counted.longest_life = std::max(counted.longest_life, counted.steps - m_born);
	m_guard.accept();
	m_clients.clear();
	m_writers = DAEMON_RUNS;
}
