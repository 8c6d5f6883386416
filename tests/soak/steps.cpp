// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/steps.h"

#include "tests/soak/words.h"

#include <climits>
#include <csignal>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

static void pause_up_to(chance &dice, useconds_t microseconds)
{
	usleep(static_cast<useconds_t>(dice.below(microseconds + 1)));
}

static void post_words(world &w, const std::vector<std::string> &words)
{
	for (const std::string &word : words)
		w.log += " " + word;
	if (!w.post(words))
		w.log += " (not taken)";
}

static void run_client(world &w, chance &dice)
{
	w.end_client(w.begin_client(client_words(dice)));
}

static void run_crowd(world &w, chance &dice)
{
	std::vector<program> crowd;

	for (uint64_t i = dice.between(2, 4); i > 0; i--)
		crowd.push_back(w.begin_client(client_words(dice)));
	for (const program &client : crowd)
		w.end_client(client);
}

static void kill_client(world &w, chance &dice)
{
	static const std::vector<std::string> endless = { "status", "--watch" };
	const program client = w.begin_client(dice.one_in(8) ? endless : client_words(dice));

	pause_up_to(dice, 6000);
	w.kill_client(client);
}

static void stop_client(world &w, chance &dice)
{
	const program client = w.begin_client(client_words(dice));

	pause_up_to(dice, 6000);
	kill(client.pid, SIGSTOP);
	pause_up_to(dice, 50000);
	kill(client.pid, SIGCONT);
	w.end_client(client);
}

/* A client dies with the lock, its words half written. */
static void kill_lock_holder(world &w, chance &dice)
{
	const std::string scribble = dice.digits("show mac\xff%n", BLE_WORD_SIZE);
	ble_segment &shared = w.shared();

	w.settle(dice);
	w.let_clients_write();
	const pid_t holder = fork();
	if (holder == 0) {
		while (!try_lock())
			usleep(100);
		memcpy(shared.cmd.argv[0], scribble.data(), scribble.size());
		for (;;)
			pause();
	}
	comes_true([&] { return lock_user() == holder; });
	if (dice.one_in(2)) {
		shared.cmd_doing = 1;
		w.signal_daemon(SIGUSR1); /* it then waits for the lock */
	}
	pause_up_to(dice, 5000);
	kill(holder, SIGKILL);
	waitpid(holder, nullptr, 0);
	w.counted.crashes["client that holds the lock"]++;
}

static void send_words(world &w, chance &dice)
{
	post_words(w, daemon_words(dice));
}

/* Words without a NUL, an impossible argc, bytes of all values. */
static void send_junk(world &w, chance &dice)
{
	static const std::vector<int32_t> counts_of_words = { -1,      0,  1,  2,    3,
							      INT_MAX, 21, 22, 1000, INT_MIN };
	const std::vector<std::string> words = daemon_words(dice);
	ble_command_area &area = w.shared().cmd;

	if (!w.lock())
		return;
	w.put_words(words);
	const int32_t argc = dice.of(counts_of_words);
	w.guarded().put(const_cast<int32_t *>(&area.argc), &argc, sizeof(argc));
	for (uint64_t i = dice.below(4); i > 0; i--) {
		const size_t word = dice.below(BLE_WORDS);
		std::string bytes(BLE_WORD_SIZE, '\0');
		for (char &byte : bytes)
			byte = static_cast<char>(dice.between(1, 255));
		w.guarded().put(area.argv[word], bytes.data(), bytes.size());
	}
	w.shared().cmd_doing = static_cast<uint32_t>(dice.between(1, UINT32_MAX));
	unlock();
	w.log += " argc " + std::to_string(argc) + " " + words[0];
	w.signal_daemon(SIGUSR1);
	w.counted.commands["written into the segment, bad"]++;
}

/* Text for a whole setting that no client should write. */
static std::string hostile_text(chance &dice)
{
	static const std::vector<std::string> texts = {
		"99999", "-1", "0", "65535", "NONE", "%s%n", "1", "01", "4294967296",
	};
	std::string bytes;

	if (dice.one_in(2))
		return dice.of(texts);
	for (int i = 0; i < 40; i++)
		bytes += static_cast<char>(dice.between(1, 255));
	return bytes;
}

static void write_hostile_fields(world &w, chance &dice)
{
	ble_record &record = w.shared().config;
	guard &guarded = w.guarded();

	if (!w.lock())
		return;
	guarded.put_text(record.interval, sizeof(record.interval), hostile_text(dice));
	guarded.put_text(record.mac, sizeof(record.mac), hostile_text(dice));
	guarded.put_text(record.measured_power, sizeof(record.measured_power), hostile_text(dice));
	guarded.put_text(record.power_index, sizeof(record.power_index), hostile_text(dice));
	for (beacon_entry &entry : record.beacon) {
		guarded.put_text(entry.enable, sizeof(entry.enable), dice.one_in(3) ? "0" : "1");
		guarded.put_text(entry.prefix, sizeof(entry.prefix), hostile_text(dice));
		guarded.put_text(entry.uuid, sizeof(entry.uuid), hostile_text(dice));
		guarded.put_text(entry.major, sizeof(entry.major), hostile_text(dice));
		guarded.put_text(entry.minor, sizeof(entry.minor), hostile_text(dice));
		guarded.put_text(entry.measured_power, sizeof(entry.measured_power),
				 hostile_text(dice));
	}
	unlock();
	static const std::vector<std::vector<std::string>> users = {
		{ "ibeacon", "start" },
		{ "ibeacon", "restart" },
		{ "config", "ble-reset", "soft" },
	};
	post_words(w, dice.of(users));
	pause_up_to(dice, 50000);
}

static void write_action(world &w, chance &dice)
{
	static const std::vector<uint32_t> actions = { 0, 1, 2, 3, 4, 5, 77, INT_MAX, UINT32_MAX };
	const uint32_t action = dice.of(actions);

	if (!w.lock())
		return;
	w.guarded().put(const_cast<uint32_t *>(&w.shared().config.opt.action), &action,
			sizeof(action));
	unlock();
	w.log += " " + std::to_string(action);
	w.signal_daemon(dice.one_in(2) ? SIGUSR1 : SIGUSR2);
}

static void set_fault(world &w, chance &dice)
{
	std::string name;

	for (uint64_t i = dice.between(1, 2); i > 0; i--) {
		const std::string text = fault_text(dice, &name);
		w.log += " " + text;
		w.control("fault " + text);
	}
	if (dice.one_in(3))
		w.signal_daemon(SIGUSR2);
	else
		post_words(w, daemon_words(dice));
}

static void send_unasked_bytes(world &w, chance &dice)
{
	const std::string bytes = dice.digits("0123456789ABCDEF", 2 * dice.between(1, 40));

	w.log += " " + bytes;
	w.control("send " + bytes);
	post_words(w, daemon_words(dice));
}

static void storm(world &w, chance &dice)
{
	const int signo = dice.one_in(2) ? SIGUSR2 : SIGUSR1;

	for (uint64_t i = dice.between(2, 40); i > 0; i--) {
		w.signal_daemon(dice.one_in(4) ? SIGUSR1 : signo);
		pause_up_to(dice, 1500);
	}
}

/* The words of the last command still stand in the segment, and are carried out again. */
static void signal_without_command(world &w, chance &)
{
	w.signal_daemon(SIGUSR1);
}

static void stop_daemon(world &w, chance &dice)
{
	kill(w.pid_of_daemon(), SIGSTOP);
	const program client = w.begin_client(client_words(dice));
	for (uint64_t i = dice.below(6); i > 0; i--)
		w.signal_daemon(dice.one_in(2) ? SIGUSR1 : SIGUSR2);
	pause_up_to(dice, 100000);
	kill(w.pid_of_daemon(), SIGCONT);
	w.end_client(client);
}

static void stop_simulator(world &w, chance &dice)
{
	kill(w.pid_of_simulator(), SIGSTOP);
	post_words(w, daemon_words(dice));
	pause_up_to(dice, 150000);
	kill(w.pid_of_simulator(), SIGCONT);
}

/* During a command, a client's access or an attach event. */
static void kill_daemon(world &w, chance &dice)
{
	program client;

	if (dice.one_in(3))
		client = w.begin_client(client_words(dice));
	else if (dice.one_in(2))
		w.signal_daemon(SIGUSR2);
	else
		post_words(w, daemon_words(dice));
	pause_up_to(dice, 20000);
	w.kill_daemon("daemon");
	/* Before the next daemon starts: that releases the lock of any owner. */
	if (client.pid > 0)
		w.end_client(client);
	w.begin_daemon();
}

static void kill_starting_daemon(world &w, chance &dice)
{
	w.kill_daemon("daemon");
	for (uint64_t i = dice.between(1, 3); i > 0; i--)
		w.kill_starting_daemon(static_cast<unsigned>(dice.below(40000)));
	w.begin_daemon();
}

static void end_daemon(world &w, chance &dice)
{
	if (dice.one_in(2))
		post_words(w, daemon_words(dice));
	w.end_daemon(dice.one_in(3) ? SIGINT : SIGTERM, dice);
	w.begin_daemon();
}

static void start_second_daemon(world &w, chance &)
{
	w.begin_second_daemon();
}

static void unplug(world &w, chance &dice)
{
	w.unplug(3600000);
	if (dice.one_in(2))
		w.signal_daemon(SIGUSR2);
	post_words(w, daemon_words(dice));
	if (dice.one_in(3))
		return; /* the next steps run without a controller */
	w.plug();
	w.signal_daemon(SIGUSR2);
}

static void exchange_controller(world &w, chance &dice)
{
	w.kill_simulator();
	w.counted.replugs["controller exchanged"]++;
	if (dice.one_in(2))
		w.signal_daemon(SIGUSR2);
	if (dice.one_in(2))
		post_words(w, daemon_words(dice));
	w.begin_simulator(dice);
	w.signal_daemon(SIGUSR2);
}

static void move_link(world &w, chance &dice)
{
	w.move_link(dice);
	if (dice.one_in(2))
		w.signal_daemon(SIGUSR2);
}

static void reboot(world &w, chance &dice)
{
	w.control("reboot " + std::to_string(dice.below(50)));
	w.counted.replugs["controller rebooted"]++;
	if (dice.one_in(2))
		post_words(w, daemon_words(dice));
}

static void heal(world &w, chance &dice)
{
	w.heal(dice);
}

// clang-format off
static const step steps[] = {
	{ 22, "client",                    run_client },
	{  4, "several clients",           run_crowd },
	{ 16, "client killed",             kill_client },
	{  3, "client stopped",            stop_client },
	{  7, "lock holder killed",        kill_lock_holder },
	{ 22, "command",                   send_words },
	{ 12, "bad command",               send_junk },
	{  7, "hostile settings",          write_hostile_fields },
	{  4, "hostile action",            write_action },
	{ 18, "fault",                     set_fault },
	{  5, "unasked bytes",             send_unasked_bytes },
	{  4, "signal storm",              storm },
	{  4, "signal without a command",  signal_without_command },
	{  4, "daemon stopped",            stop_daemon },
	{  3, "simulator stopped",         stop_simulator },
	{  2, "daemon killed",             kill_daemon, true },
	{  1, "daemon killed starting",    kill_starting_daemon, true },
	{  1, "daemon terminated",         end_daemon, true },
	{  1, "second daemon",             start_second_daemon },
	{  5, "port unplugged",            unplug },
	{  3, "controller exchanged",      exchange_controller },
	{  2, "link moved",                move_link },
	{  2, "controller rebooted",       reboot },
	{ 10, "healing",                   heal },
};
// clang-format on

const step &any_step(chance &dice, bool spares_daemon)
{
	unsigned sum = 0;

	for (const step &one : steps)
		sum += one.weight;
	while (true) {
		uint64_t at = dice.below(sum);
		const step *chosen = steps;
		while (at >= chosen->weight)
			at -= chosen++->weight;
		if (!spares_daemon || !chosen->ends_daemon)
			return *chosen;
	}
}
