// SPDX-License-Identifier: Apache-2.0
/*
 * The daemon's loop with a client that writes anything anywhere in the segment, in any of the
 * daemon's sleeps, and with a controller that may be faulty. The input: five bytes of settings;
 * the client's actions, each with a tag; the controller's answer to each command.
 */
#include "daemon/bleipc.h"
#include "daemon/event_loop.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/command_tables.h"
#include "hci/serial.h"
#include "sim/controller/controller.h"
#include "tests/fuzz/fake_system.h"
#include "tests/unit/fakes/fake_clock.h"
#include "tests/unit/fakes/fake_device_libs.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <vector>

// clang-format off
enum tag : uint8_t { /* the client's actions; any other value: 0 */
	CLIENT_IS_DONE  = 0, /* the controller's answers follow */
	CLIENT_WRITES   = 1, /* 16-bit offset, length, bytes */
	CLIENT_SAYS     = 2, /* slot of the word, length, characters */
	CLIENT_SIGNALS  = 3, /* which signals; the next action is in the daemon's next sleep */
	CLIENT_BEACONS  = 4, /* enables the entries of a mask */
};
constexpr uint8_t SIGNAL_COMMAND = 0x01;
constexpr uint8_t SIGNAL_EVENT   = 0x02;

enum slot : uint8_t { TI_06 = 0x01, TI_08 = 0x02, QUALCOMM = 0x04, ANY = 0x07 };

struct known_command {
	uint16_t opcode;
	int params; /* -1: any number */
	uint8_t slots;
	uint8_t most[3]; /* maxima of the first parameters; 0xFF: any value */
};

/* All commands that the daemon may send. */
static const known_command known_commands[] = {
	{ 0x0C03,  0, QUALCOMM,      { 0xFF, 0xFF, 0xFF } },
	{ 0x1001,  0, ANY,           { 0xFF, 0xFF, 0xFF } },
	{ 0x1009,  0, ANY,           { 0xFF, 0xFF, 0xFF } },
	{ 0x2006, 15, QUALCOMM,      { 0xFF, 0xFF, 0xFF } },
	{ 0x2007,  0, ANY,           { 0xFF, 0xFF, 0xFF } },
	{ 0x2008, 32, QUALCOMM,      {   30, 0xFF, 0xFF } },
	{ 0x200A,  1, QUALCOMM,      {    1, 0xFF, 0xFF } },
	{ 0x201D,  1, ANY,           {   39, 0xFF, 0xFF } },
	{ 0x201E,  3, ANY,           {   39,   37,    7 } },
	{ 0x201F,  0, ANY,           { 0xFF, 0xFF, 0xFF } },
	{ 0xFC00, -1, QUALCOMM,      { 0x1E,  243, 0xFF } },
	{ 0xFC01,  1, TI_06,         {    3, 0xFF, 0xFF } },
	{ 0xFC01,  1, TI_08,         {   12, 0xFF, 0xFF } },
	{ 0xFC0C,  6, TI_06 | TI_08, { 0xFF, 0xFF, 0xFF } },
	{ 0xFC14,  6, QUALCOMM,      { 0xFF, 0xFF, 0xFF } },
	{ 0xFC1B,  3, TI_06 | TI_08, {    1,    0,    0 } },
	{ 0xFC1D,  1, TI_06 | TI_08, {    1, 0xFF, 0xFF } },
	{ 0xFE00, 38, TI_06 | TI_08, {    1,    5,    0 } },
	{ 0xFE06, 10, TI_06 | TI_08, {    3,    0,    0 } },
	{ 0xFE07, 32, TI_06 | TI_08, {    1,   30, 0xFF } },
	{ 0xFE08,  0, TI_06 | TI_08, { 0xFF, 0xFF, 0xFF } },
	{ 0xFE30,  3, TI_06 | TI_08, {  103, 0xFF, 0xFF } },
	{ 0xFE31,  3, TI_06 | TI_08, {  103,    0,    0 } },
};

/* Where the daemon may write in the segment; the rest is the client's. */
static const struct {
	size_t offset;
	size_t size;
} daemons_own[] = {
	{ offsetof(ble_segment, cmd_doing),               4 },
	{ offsetof(ble_segment, info),                   31 }, /* chip, version, revision */
	{ offsetof(ble_segment, config.opt.action),       4 },
	{ offsetof(ble_segment, config.opt.status),       4 },
	{ offsetof(ble_segment, config.mac),             13 },
	{ offsetof(ble_segment, config.beacon[0].mac),   13 },
	{ offsetof(ble_segment, config.beacon[1].mac),   13 },
	{ offsetof(ble_segment, config.beacon[2].mac),   13 },
	{ offsetof(ble_segment, config.beacon[3].mac),   13 },
	{ offsetof(ble_segment, config.beacon[4].mac),   13 },
};
// clang-format on

/* Longer runs find nothing new. Runs with traces are the slowest. */
constexpr size_t SLEEPS_MAX = 20;
constexpr size_t TRACED_SLEEPS_MAX = 8;
constexpr size_t EXCHANGES_MAX = 200; /* without a sleep; then the client acts anyway */
/* A patch that is nothing but its header. */
static const uint8_t patch[] = { 0x02, 0x18, 0x00, 0x00, 0x18, 0x00, 0x00, 0x00, 0x00, 0x00,
				 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00, 0x02,
				 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00 };

/* The daemon's surroundings in one execution. */
struct world {
	explicit world(const uint8_t *data, size_t size) : client(data, size) {}

	void begin();
	void time_passes();
	void hear(byte_span packet);
	void check_segment() const;

	input client; /* its actions, followed by the controller's answers */
	input answers = input(byte_span());
	bool client_done = false;
	bool obliging = false; /* the controller gives good answers after those of the input */
	std::unique_ptr<ble_segment> segment = std::make_unique<ble_segment>();
	ble_segment left_by_client = {};
	std::optional<sim::controller> chip;
	std::vector<uint8_t> line;
	size_t sleeps = 0;
	size_t exchanges = 0; /* since the last sleep */

      private:
	void choose_controller(uint8_t kind);
	void find_answers();
	void client_acts();
	void answer(byte_span packet);
};

static void check_command(byte_span packet)
{
	must(packet.size() >= 4 && packet[0] == 0x01 && packet.size() == size_t{ 4 } + packet[3],
	     "what is sent is one whole command packet");
	const int opcode = packet[1] | packet[2] << 8;
	/* Read Local Version Information is sent before a slot is chosen. */
	const int slots = opcode == 0x1001 ? ANY : hci_ver_index < 0 ? 0 : 1 << hci_ver_index;
	const auto *const row = std::ranges::find_if(known_commands, [&](const auto &known) {
		return known.opcode == opcode && known.slots & slots;
	});

	must(row != std::end(known_commands), "the controller in force knows the command");
	must(row->params < 0 || row->params == packet[3], "the command has its parameters");
	for (size_t i = 0; i < std::min<size_t>(packet[3], 3); i++)
		must(packet[4 + i] <= row->most[i], "the parameters are in their range");
}

/* A controller that is ready, with its patch downloaded. */
static sim::controller started(const sim::controller_kind &kind)
{
	static const uint8_t reset[] = { 0x01, 0x03, 0x0C, 0x00 };
	sim::controller chip(sim::settings_of(kind));
	sim::bytes segment = { 0x01, 0x00, 0xFC, sizeof(patch) + 2, 0x1E, sizeof(patch) };

	sim::append(segment, patch);
	chip.handle(segment);
	chip.handle(reset);
	return chip;
}

void world::choose_controller(uint8_t kind)
{
	static const sim::controller chips[] = { started(sim::controller_kinds[0]),
						 started(sim::controller_kinds[1]),
						 started(sim::controller_kinds[2]) };

	chip = chips[kind % 3];
	hci_ver_index = kind % 3;
	ble_used_chip = hci_ver_index + 1;
}

void world::begin()
{
	const uint8_t kind = client.byte();
	const uint8_t how = client.byte();

	fake_system_clear();
	fake_device_libs_clear();
	fake_sleeps.clear();
	fake.single = client.byte();
	fake.spared = client.byte();
	fake.at_end = how % 3 - 1;
	fake.hung_up = how & 0x04;
	fake.line_locked = (how & 0x30) == 0x10;
	fake.line_missing = (how & 0x30) == 0x20;
	fake.line_refuses = (how & 0x30) == 0x30;
	fake.mrd_missing = how & 0x40;
	fake.patch = patch;
	fake.patch_size = sizeof(patch);
	obliging = how & 0x08;
	dbg_level = client.byte() == 0xFF ? 0xFFFFFFFF : 0;
	choose_controller(kind);
	find_answers();

	ble_ipc = {};
	ble_ipc.buf = segment.get();
	ble_ipc.info = segment->info;
	ble_ipc.cmd = &segment->cmd;
	ble_config = &segment->config;
	ble_config->opt.status = kind & 0x80 ? BLE_STATUS_NONE : BLE_STATUS_AVAILABLE;
	memcpy(ble_config->interval, "100", 4);
	memcpy(ble_config->mac, "NONE", 5);
	memcpy(ble_config->measured_power, "202", 4);
	memcpy(ble_config->power_index, "max", 4);
	ble_fd = kind & 0x80 ? -1 : FAKE_LINE;
	fake.open_line = ble_fd == FAKE_LINE;
	flag_daemon_quit = 0;
	flag_cmd_change = 0;
	flag_uevent_change = 0;
	left_by_client = *segment;
}

/* Parse the client's part once to find its end. */
void world::find_answers()
{
	input ahead = client;

	for (;;) {
		switch (ahead.byte()) {
		case CLIENT_WRITES:
			ahead.word();
			ahead.take(ahead.byte());
			break;
		case CLIENT_SAYS:
			ahead.byte();
			ahead.take(ahead.byte());
			break;
		case CLIENT_SIGNALS:
		case CLIENT_BEACONS:
			ahead.byte();
			break;
		default:
			answers = ahead;
			return;
		}
	}
}

static void write_segment(ble_segment &segment, size_t offset, byte_span bytes)
{
	auto *const at = reinterpret_cast<uint8_t *>(&segment);

	for (size_t i = 0; i < bytes.size(); i++)
		at[(offset + i) % sizeof(segment)] = bytes[i];
}

static void turn_on(ble_segment &segment, uint8_t mask)
{
	for (size_t i = 0; i < BLE_BEACONS; i++)
		if (mask >> i & 1) {
			memcpy(segment.config.beacon[i].enable, "1", 2);
			memset(segment.config.beacon[i].uuid, 'A', 32);
		}
}

/* Act up to the next signal; at the end make the daemon quit. */
void world::client_acts()
{
	while (!client_done) {
		const uint8_t what = client.byte();
		if (what == CLIENT_WRITES) {
			const uint16_t offset = client.word();
			write_segment(*segment, offset, client.take(client.byte()));
		} else if (what == CLIENT_SAYS) {
			const size_t at = offsetof(ble_segment, cmd.argv) +
					  client.byte() % BLE_WORDS * BLE_WORD_SIZE;
			const byte_span word = client.take(client.byte());
			write_segment(*segment, at, word);
			reinterpret_cast<char *>(segment.get())[at + word.size()] = '\0';
		} else if (what == CLIENT_BEACONS) {
			turn_on(*segment, client.byte());
		} else if (what == CLIENT_SIGNALS) {
			const uint8_t which = client.byte();
			flag_cmd_change = flag_cmd_change || which & SIGNAL_COMMAND;
			flag_uevent_change = flag_uevent_change || which & SIGNAL_EVENT;
			return;
		} else {
			client_done = true;
		}
	}
	flag_daemon_quit = 1;
}

/* In each of the daemon's sleeps: check what it has done, then let the client act. */
void world::time_passes()
{
	check_segment();
	exchanges = 0;
	if (++sleeps > (dbg_level != 0 ? TRACED_SLEEPS_MAX : SLEEPS_MAX))
		client_done = true;
	client_acts();
	/*
	 * Two false states in the segment are known to be too much for the daemon. "No line": the
	 * next attach event opens the line again and meets its own lock. "Usable" with an
	 * unsupported controller: with dwells of 0 ms it rotates nothing, without any sleep,
	 * until a signal comes.
	 */
	if (hci_ver_index < 0 || (ble_fd == FAKE_LINE && segment->config.opt.status == 0))
		segment->config.opt.status = BLE_STATUS_UNCONFIRMED;
	left_by_client = *segment;
}

void world::answer(byte_span packet)
{
	const bool ran_out = answers.empty();
	const uint8_t how = answers.byte();

	if (ran_out ? !obliging : how >= 0xE0 && how < 0xF0)
		return;
	if (how >= 0xF0) { /* any bytes */
		const byte_span raw = answers.take(how == 0xFF ? answers.byte() : how & 0x0F);
		line.insert(line.end(), raw.begin(), raw.end());
		return;
	}
	const size_t begin = line.size();
	for (const sim::bytes &event : chip->handle(packet).events)
		line.insert(line.end(), event.begin(), event.end());
	if (how >= 0xC0 && line.size() > begin) { /* one wrong byte */
		const size_t at = begin + answers.byte() % (line.size() - begin);
		line[at] = answers.byte();
	}
}

void world::hear(byte_span packet)
{
	check_command(packet);
	line.erase(line.begin(), line.end() - static_cast<ptrdiff_t>(fake.line.size()));
	answer(packet);
	fake.line = line;
	if (++exchanges > EXCHANGES_MAX)
		time_passes();
}

/* An address is stored in all six places: twelve characters, or none without MRD. */
static void check_addresses(const ble_record &now, const ble_record &before)
{
	bool changed = memcmp(now.mac, before.mac, sizeof(now.mac)) != 0;
	bool equal = true;

	for (size_t i = 0; i < BLE_BEACONS; i++) {
		changed = changed || memcmp(now.beacon[i].mac, before.beacon[i].mac, 13) != 0;
		equal = equal && memcmp(now.beacon[i].mac, now.mac, 13) == 0;
	}
	const size_t length = strnlen(now.mac, sizeof(now.mac));
	must(!changed || (equal && (length == 12 || length == 0)),
	     "an address is stored whole, in the settings and in all entries");
}

void world::check_segment() const
{
	ble_segment expected = left_by_client;

	for (const auto &own : daemons_own)
		memcpy(reinterpret_cast<char *>(&expected) + own.offset,
		       reinterpret_cast<const char *>(segment.get()) + own.offset, own.size);
	must(memcmp(segment.get(), &expected, sizeof(expected)) == 0,
	     "the daemon writes nothing that is the client's");
	must(segment->cmd_doing == 0 || segment->cmd_doing == left_by_client.cmd_doing,
	     "a command is only ever marked as done");
	const uint32_t status = segment->config.opt.status;
	must(status == left_by_client.config.opt.status ||
		     (status <= BLE_STATUS_TESTING && status != 4),
	     "the status is one of its values");
	const uint32_t action = segment->config.opt.action;
	must(action == left_by_client.config.opt.action || action <= ACTION_RESTART,
	     "the pending task is one of its values");
	check_addresses(segment->config, left_by_client.config);
}

/* "function(line) text": whole lines of at most 511 bytes. */
static void check_trace(byte_span text)
{
	size_t i = 0;

	must(text.size() <= 511, "a trace is cut");
	while (i < text.size() && (islower(text[i]) || isdigit(text[i]) || text[i] == '_'))
		i++;
	must(i > 0 && i + 2 < text.size() && text[i] == '(' && isdigit(text[i + 1]),
	     "a trace begins with its function and line");
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	world around(data, size);

	around.begin();
	fake.heard = [&](byte_span packet) { around.hear(packet); };
	fake.traced = check_trace;
	fake_during_sleep = [&] { around.time_passes(); };
	run_daemon_task();
	around.check_segment();
	must(fake.locks == 0, "the lock is given back");
	must(fake.open_files == 0, "every file is closed");
	must(fake.open_line == (ble_fd == FAKE_LINE), "the line is open if the daemon thinks so");
	fake_during_sleep = nullptr;
	check_streams();
	return 0;
}
