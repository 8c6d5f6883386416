// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/world.h"

#include "tests/soak/words.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
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
using namespace std::chrono_literals;

/* As big as a real one: should it not be freed, that is soon to be seen. */
static const char patch_size[] = "30000";

/* How long a line may keep the daemon before something is done about it. */
constexpr std::chrono::milliseconds WITHIN_EVENT = 120ms;
constexpr std::chrono::milliseconds SILENCE = 500ms;
constexpr std::chrono::milliseconds CLEAN_LINE =
	4s;                    /* a busy machine is slow, but never as slow as silence */
constexpr auto ANY_WAIT = 15s; /* two silent exchanges, and a patch */

static const std::vector<std::string> devices = {
	"/dev/ttyMSM1", "/dev/ttyBT0", "/dev/ttyACM0", "/dev/ttyS1", "/dev/ttyUSB0",
};
static const char reports_socket[] = "/run/vorlind/ac.sock";
static const char version_line[] = "BLE configuration utility: 0.3.0\n";

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

/* Whether the line keeps the daemon, for it has been at the same so long. */
static bool is_block(pursuit what, steady_clock::duration lasted, bool is_clean)
{
	if (what == pursuit::within_event)
		return lasted > (is_clean ? CLEAN_LINE : WITHIN_EVENT);
	if (what == pursuit::awaiting_event)
		return lasted > (is_clean ? CLEAN_LINE : SILENCE);
	return false;
}

/* Until the condition holds; false when the line keeps the daemon from it. */
bool world::wait_for(const std::function<bool()> &condition)
{
	const auto start = steady_clock::now();
	auto since = start;
	pursuit before = pursuit::running;

	while (!condition()) {
		const auto now = steady_clock::now();
		const pursuit what = pursuit_of(daemon.pid);
		if (what != before)
			since = now;
		before = what;
		if (is_block(what, now - since, m_is_clean) || now - start > ANY_WAIT ||
		    has_ended(daemon.pid))
			return false;
		usleep(1000);
	}
	return true;
}

size_t world::printed_size() const
{
	struct stat file = {};

	stat(daemon.err.c_str(), &file);
	return static_cast<size_t>(file.st_size);
}

std::string world::printed_from(size_t offset) const
{
	std::string text(printed_size() - offset, '\0');
	const int fd = ::open(daemon.err.c_str(), O_RDONLY | O_CLOEXEC);
	const ssize_t length = pread(fd, text.data(), text.size(), static_cast<off_t>(offset));

	::close(fd);
	text.resize(length > 0 ? static_cast<size_t>(length) : 0);
	return text;
}

void world::begin_daemon()
{
	std::error_code gone;

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
		if (steady_clock::now() - start > 30s)
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
	for (const char *quirk : { "credit-0", "long-discoverable" })
		if (dice.one_in(4))
			words.insert(words.end(), { "--quirk", quirk });
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

std::string world::end_client(const program &client)
{
	const int status = wait_for_end(client);
	const std::string text = content_of(client.out) + content_of(client.err);

	if (status < 0 || status > 5)
		throw violation("vorlinctl ended with status " + std::to_string(status) + ": " +
				text);
	counted.client_exits[std::to_string(status)]++;
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
		counted.client_exits[std::to_string(status)]++;
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
	while (peer.is_open() && poll(&watched, 1, 3000) > 0) {
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

/* "TEXT (struck N)", one a line: what is new since the last look. */
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

	/* On the plain machine the pty that a link leads to may become somebody else's. */
	if (!is_private())
		return;

	/* The simulator puts its own one back when it is plugged in again. */
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

bool world::lock()
{
	return wait_for([] { return try_lock(); });
}

void world::unlock_again()
{
	unlock();
}

void world::put_words(const std::vector<std::string> &words)
{
	const auto argc = static_cast<int32_t>(words.size());

	m_guard.put(const_cast<int32_t *>(&segment->cmd.argc), &argc, sizeof(argc));
	for (size_t i = 0; i < words.size() && i < BLE_WORDS; i++)
		m_guard.put_text(segment->cmd.argv[i], BLE_WORD_SIZE,
				 words[i].substr(0, BLE_WORD_SIZE - 1));
}

bool world::post(const std::vector<std::string> &words)
{
	if (!lock())
		return false;
	put_words(words);
	segment->cmd_doing = 1;
	unlock_again();
	signal_daemon(SIGUSR1);
	counted.commands["written into the segment"]++;
	return true;
}

bool world::ask(const std::vector<std::string> &words, const std::function<bool()> &is_done)
{
	/* cmd_doing alone may be cleared by the end of an earlier round. */
	return post(words) && wait_for([&] {
		       return segment->cmd_doing == 0 && lock_value() == 1 &&
			      lock_user() == daemon.pid && is_done();
	       });
}

bool world::ask(const std::vector<std::string> &words, const std::string &expected)
{
	const size_t from = printed_size();

	return ask(words, [&] { return printed_from(from).find(expected) != std::string::npos; });
}

/* The line keeps the daemon: let it wait, send the bytes, or take the port away. */
void world::end_block(chance &dice)
{
	const pursuit what = pursuit_of(daemon.pid);

	if (has_ended(daemon.pid))
		return;
	clear_faults();
	if (what == pursuit::awaiting_event && dice.one_in(25)) {
		counted.blocks["silence waited out"]++;
		comes_true([&] { return pursuit_of(daemon.pid) != what; });
	} else if (what == pursuit::within_event && !m_unplugged && dice.one_in(2)) {
		counted.blocks["the missing bytes"]++;
		std::string zeros(size_t{ 2 } * 258, '0');
		control("send " + zeros);
	} else {
		counted.blocks["a replug"]++;
		replug();
	}
}

void world::settle(chance &dice)
{
	const auto start = steady_clock::now();

	/* A client's dwell must not be the driver's. */
	m_guard.put_text(segment->config.interval, sizeof(segment->config.interval), "100");
	while (!ask({ "show", "version" }, version_line)) {
		if (has_ended(daemon.pid))
			throw violation("the daemon has ended");
		if (steady_clock::now() - start > 60s)
			throw violation("the daemon takes no command any more");
		end_block(dice);
	}
}

void world::set_sane_record()
{
	ble_record &record = segment->config;
	const uint32_t none = ACTION_NONE;

	if (!lock())
		throw violation("the lock is kept after healing");
	m_guard.put(const_cast<uint32_t *>(&record.opt.action), &none, sizeof(none));
	m_guard.put_text(record.interval, sizeof(record.interval), "100");
	m_guard.put_text(record.power_index, sizeof(record.power_index), "max");
	m_guard.put_text(record.mac, sizeof(record.mac), "NONE");
	unlock_again();
}

/* A beacon of the driver's own is on the air of the simulated controller. */
void world::check_a_beacon(chance &dice)
{
	const std::string major = std::to_string(dice.below(65536));
	const std::string minor = std::to_string(dice.below(65536));

	if (!lock())
		throw violation("the lock is kept after healing");
	for (beacon_entry &entry : segment->config.beacon)
		m_guard.put_text(entry.enable, sizeof(entry.enable), "0");
	beacon_entry &entry = segment->config.beacon[dice.below(BLE_BEACONS)];
	m_guard.put_text(entry.enable, sizeof(entry.enable), "1");
	m_guard.put_text(entry.prefix, sizeof(entry.prefix), "0201061AFF4C000215");
	m_guard.put_text(entry.uuid, sizeof(entry.uuid), dice.digits("0123456789ABCDEF", 32));
	m_guard.put_text(entry.major, sizeof(entry.major), major);
	m_guard.put_text(entry.minor, sizeof(entry.minor), minor);
	unlock_again();
	if (!ask({ "ibeacon", "start" },
		 [&] { return segment->config.opt.status == BLE_STATUS_ADVERTISING; }))
		throw violation("beacons do not start after healing");
	const std::string air = control("air");
	if (air.find("major " + major + " minor " + minor + " ") == std::string::npos)
		throw violation("after healing the air has " + air);
}

void world::heal(chance &dice)
{
	clear_faults();
	settle(dice);
	/* No exchange must be under way in what follows. */
	while (!ask({ "ibeacon", "stop" }, [&] {
		return segment->config.opt.action == ACTION_NONE ||
		       segment->config.opt.status < BLE_STATUS_AVAILABLE;
	}))
		end_block(dice);
	plug();
	if (dice.one_in(2)) {
		unplug(1);
		plug();
	} else {
		control("reboot");
	}
	m_is_clean = true;
	set_sane_record();
	signal_daemon(SIGUSR2);
	if (!ask({ "show", "version" }, version_line))
		throw violation("no answer after healing");
	if (segment->config.opt.status != BLE_STATUS_AVAILABLE)
		throw violation("after healing the status is " +
				std::to_string(segment->config.opt.status));

	const std::string address = dice.digits("0123456789ABCDEF", 12);
	const std::string expected = "BLE MAC Address: " + address + "\n";
	if (!ask({ "config", "mac", address },
		 [&] { return strcmp(segment->config.mac, address.c_str()) == 0; }))
		throw violation("no address can be set after healing");
	if (dice.one_in(2)) {
		if (!ask({ "show", "mac" }, expected))
			throw violation("after healing the address is not " + address);
	} else {
		const std::string shown = end_client(begin_client({ "show", "mac" }));
		if (shown.find(expected) == std::string::npos) /* a trace may be around it */
			throw violation("after healing vorlinctl says " + shown + "and not " +
					address);
	}
	if (dice.one_in(2))
		check_a_beacon(dice);
	m_is_clean = false;
	counted.healings++;
	log += " healed";
}

void world::take_reports()
{
	while (m_listener.is_open() && sim::accept_from(m_listener).is_open())
		counted.reports++;
}

std::string world::last_words() const
{
	const size_t size = printed_size();

	return printed_from(size > 3000 ? size - 3000 : 0);
}

std::string world::state() const
{
	char text[160];

	if (!segment)
		return "no segment";
	snprintf(text, sizeof(text), "status %u, action %u, cmd_doing %u, lock %d, daemon %d %s",
		 segment->config.opt.status, segment->config.opt.action, segment->cmd_doing,
		 lock_value(), daemon.pid, pursuit_name(pursuit_of(daemon.pid)));
	return text;
}
