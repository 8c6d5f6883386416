// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/world.h"

#include "tests/soak/words.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <poll.h>
#include <sstream>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using std::chrono::steady_clock;

/* Large, so that a leak of the daemon soon shows. */
static const char patch_size[] = "30000";

static const std::vector<std::string> devices = {
	"/dev/ttyMSM1", "/dev/ttyBT0", "/dev/ttyACM0", "/dev/ttyS1", "/dev/ttyUSB0",
};
static const char reports_socket[] = "/run/vorlind/ac.sock";

world::world(const std::vector<std::string> &kinds, tally &t) : counted(t), m_kinds(kinds) {}

bool world::open(chance &dice)
{
	program maker;

	SetUp();
	if (folder.empty())
		return false;
	std::ofstream(folder + "/" + beacons_file) << beacons_text;
	if (run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin", "--patch-size",
		  patch_size },
		&maker) != 0)
		throw violation("no patch: " + content_of(maker.err));
	if (fs::exists(fs::path(reports_socket).parent_path()))
		sim::listen_at(reports_socket, m_listener);
	begin_simulator(dice);
	begin_daemon();
	heal(dice);
	comes_true([&] { return pursuit_of(daemon.pid) == pursuit::pausing; });
	m_first = size_of(daemon.pid);
	counted.first_resident = m_first.resident;
	return true;
}

void world::close(chance &dice)
{
	heal(dice);
	check(true);
	end_daemon(SIGTERM, dice);
	clear_faults();
	if (stop(simulator, SIGTERM) != 0)
		throw violation("the simulator did not end as it should");
	simulator.pid = -1;
	if (fs::is_symlink(fs::symlink_status(m_link)))
		throw violation("the simulator left its link behind");
}

void world::clean_up()
{
	TearDown();
	for (const std::string &device : devices)
		if (fs::is_symlink(fs::symlink_status(device)))
			fs::remove(device);
	m_listener.close();
	if (fs::is_socket(fs::status(reports_socket)))
		fs::remove(reports_socket);
}

/* What a killed daemon was about to run has its name still, and would be taken for a daemon. */
static bool is_none_left()
{
	return std::ranges::none_of(processes(), [](const process_row &row) {
		return row.name == "vorlind" && row.state != 'Z';
	});
}

void world::begin_daemon()
{
	std::error_code gone;

	comes_true(is_none_left);
	fs::remove(daemon.err, gone);
	daemon = start({ built("vorlind") });
	if (!comes_true([&] { return takes_signals(daemon.pid) || has_ended(daemon.pid); }) ||
	    has_ended(daemon.pid))
		throw violation("vorlind does not start");
	const int id = shmget(static_cast<key_t>(BLE_SHM_KEY), 0, 0600);
	if (id != m_segment_id || !segment) {
		if (segment)
			shmdt(segment);
		segment = attach();
		if (!segment)
			throw violation("there is no segment");
		m_guard.watch(segment, true);
		m_segment_id = id;
	}
	m_writers |= DAEMON_STARTS;
	m_born = counted.steps;
	counted.daemons++;
}

void world::kill_daemon(const char *how)
{
	stop(daemon, SIGKILL);
	counted.crashes[how]++;
}

void world::kill_starting_daemon(unsigned microseconds)
{
	std::error_code gone;

	fs::remove(daemon.err, gone);
	daemon = start({ built("vorlind") });
	usleep(microseconds);
	kill_daemon("daemon while it starts");
}

void world::end_daemon(int signo, chance &dice)
{
	signal_daemon(signo);
	const auto start = steady_clock::now();
	while (!wait_for([&] { return has_ended(daemon.pid); }) && !has_ended(daemon.pid)) {
		if (steady_clock::now() - start > PATIENCE)
			throw violation("the daemon does not end");
		end_block(dice);
	}
	const int status = wait_for_end(daemon);
	if (status != 0)
		throw violation("the daemon ended with status " + std::to_string(status));
	if (segment_exists() || semaphore_exists())
		throw violation("the daemon left its segment or semaphore behind");
	m_segment_id = -1;
}

void world::signal_daemon(int signo)
{
	kill(daemon.pid, signo);
	counted.signals[std::string("SIG") + sigabbrev_np(signo)]++;
}

void world::begin_second_daemon()
{
	const program second = start({ built("vorlind") });
	const int status = wait_for_end(second);
	std::error_code gone;

	if (status != 255 || content_of(second.err).find("vorlind has exist") == std::string::npos)
		throw violation("a second daemon ended with " + std::to_string(status) + ": " +
				content_of(second.err));
	fs::remove(second.out, gone);
	fs::remove(second.err, gone);
}

void world::begin_simulator(chance &dice)
{
	const std::string kind = dice.of(m_kinds);

	for (const std::string &device : devices)
		if (fs::is_symlink(fs::symlink_status(device)))
			fs::remove(device);
	m_link = dice.of(devices);
	m_moved.clear();
	std::vector<std::string> words = {
		built("vorlin-sim"),
		"--controller",
		kind,
		"--link",
		m_link,
		"--baud",
		"0",
		"--quiet",
		"--control",
		folder + "/control",
		"--seed",
		std::to_string(dice.below(1000000)),
	};
	/* Without this quirk each surplus byte from the daemon would need a reset. */
	words.insert(words.end(), { "--quirk", "stray-bytes-ignored" });
	for (const char *quirk :
	     { "credit-0", "long-discoverable", "enable-twice-refused", "lone-status" })
		if (dice.one_in(4))
			words.insert(words.end(), { "--quirk", quirk });
	if (dice.one_in(4)) /* nothing else is there when its power comes */
		words.insert(words.end(), { "--fault", "nop-at-start" });
	simulator = start(words);
	if (!comes_true([&] { return fs::exists(m_link) || has_ended(simulator.pid); }) ||
	    has_ended(simulator.pid))
		throw violation("the simulator does not start: " + content_of(simulator.err));
	m_unplugged = false;
	m_strikes.clear();
	log += " [" + kind + " at " + m_link + "]";
}

void world::kill_simulator()
{
	std::error_code gone;

	collect_strikes();
	stop(simulator, SIGKILL);
	fs::remove(simulator.out, gone);
	fs::remove(simulator.err, gone);
}

program world::begin_client(std::vector<std::string> words)
{
	for (const std::string &word : words)
		log += " " + word;
	words.insert(words.begin(), { built("vorlinctl"), "--timeout", "1" });
	m_writers |= CLIENT;
	counted.commands["vorlinctl"]++;
	const program client = start(words);
	m_clients.push_back(client.pid);
	return client;
}

static void remove_output(const program &of)
{
	std::error_code gone;

	fs::remove(of.out, gone);
	fs::remove(of.err, gone);
}

void world::count_exit(int status, const std::string &printed)
{
	if (status < 0 || status > 6)
		throw violation("vorlinctl ended with status " + std::to_string(status) + ": " +
				printed);
	counted.client_exits[std::to_string(status)]++;
}

std::string world::end_client(const program &client)
{
	const int status = wait_for_end(client);
	const std::string text = content_of(client.out) + content_of(client.err);

	count_exit(status, text);
	log += " = " + std::to_string(status);
	remove_output(client);
	return text;
}

void world::kill_client(const program &client)
{
	const int status = stop(client, SIGKILL);

	if (status == 128 + SIGKILL)
		counted.crashes["client"]++;
	else
		count_exit(status, content_of(client.err));
	log += status == 128 + SIGKILL ? " killed" : " ended before";
	remove_output(client);
}

std::string world::control(const std::string &command)
{
	sim::text_socket peer;
	std::string text;

	if (!sim::connect_to(folder + "/control", peer).empty())
		return "";
	peer.write(command + "\n");
	pollfd watched = { peer.descriptor(), POLLIN, 0 };
	while (peer.is_open() && poll(&watched, 1, PATIENCE_MS) > 0) {
		for (const std::string &line : peer.read_lines()) {
			if (line.starts_with("error: "))
				throw violation("the simulator refuses " + command + ": " + line);
			if (line == "ok")
				return text;
			text += line + "\n";
		}
	}
	throw violation("the simulator does not answer to " + command);
}

/* Lines of "TEXT (struck N)": counts what is new since the last call. */
void world::collect_strikes()
{
	std::istringstream list(control("faults"));
	std::map<std::string, uint64_t> now;

	for (std::string one; std::getline(list, one);) {
		const size_t at = one.rfind(" (struck ");
		if (at != std::string::npos)
			now[one.substr(0, at)] += std::stoull(one.substr(at + 9));
	}
	for (const auto &[text, struck] : now)
		if (struck > m_strikes[text])
			counted.faults[text.substr(0, text.find(':'))] += struck - m_strikes[text];
	m_strikes = now;
}

void world::clear_faults()
{
	collect_strikes();
	control("clear");
	m_strikes.clear();
}

void world::unplug(unsigned milliseconds)
{
	control("unplug " + std::to_string(milliseconds));
	m_unplugged = true;
	counted.replugs["port unplugged"]++;
}

void world::plug()
{
	control("plug");
	if (!comes_true([&] { return fs::exists(m_link) || fs::exists(m_moved); }))
		throw violation("the port does not come back");
	m_unplugged = false;
}

void world::move_link(chance &dice)
{
	const std::string to = dice.of(devices);
	std::error_code gone;

	/* Outside a private sandbox another program may get the pty of the old link. */
	if (!is_private())
		return;

	/* The simulator restores its own link when it is plugged in again. */
	if (to != m_link && fs::exists(m_link)) {
		fs::rename(m_link, to, gone);
		m_moved = to;
	}
	counted.replugs["link moved"]++;
	log += " to " + to;
}

void world::replug()
{
	unplug(1);
	plug();
	signal_daemon(SIGUSR2);
}

/* The sandbox keeps the console's traces in memory. */
void world::trim_console()
{
	if (is_private() && fs::file_size("/dev/console") > 1 << 20)
		fs::resize_file("/dev/console", 0);
}

void world::take_reports()
{
	while (m_listener.is_open() && sim::accept_from(m_listener).is_open())
		counted.reports++;
}
