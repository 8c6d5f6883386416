// SPDX-License-Identifier: Apache-2.0
/* How a soak run ends the effects of line faults on the daemon. */
#include "tests/soak/world.h"

#include <chrono>
#include <csignal>
#include <cstring>

using std::chrono::steady_clock;

static const char version_line[] = "BLE configuration utility: 0.3.0\n";

/* The line blocks the daemon: let it wait, send the bytes, or remove the port. */
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

	/* Replaces the interval that a client may have set. */
	m_guard.put_text(segment->config.interval, sizeof(segment->config.interval), "100");
	while (!ask({ "show", "version" }, version_line)) {
		if (has_ended(daemon.pid))
			throw violation("the daemon has ended");
		if (steady_clock::now() - start > PATIENCE)
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
	unlock();
}

/* The driver's own beacon must be on the air of the simulated controller. */
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
	unlock();
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
	/* No exchange may run during the following steps. */
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
		const std::string shown =
			end_client(begin_client({ "--timeout", "180", "show", "mac" }));
		if (shown.find(expected) == std::string::npos) /* it may be within a trace */
			throw violation("after healing vorlinctl says " + shown + "and not " +
					address);
	}
	if (dice.one_in(2))
		check_a_beacon(dice);
	m_is_clean = false;
	counted.healings++;
	log += " healed";
}
