// SPDX-License-Identifier: Apache-2.0
/* The air that several simulators share: what each sends, and what each receives. */
#include "sim/air/air.h"

#include <algorithm>
#include <sstream>
#include <unistd.h>

namespace sim
{

/*
 * One bit lasts a microsecond. The payload has 10 more bytes around it: preamble 1, access address
 * 4, header 2, check 3. Packets begin a multiple of 625 us apart, at least 249 us after an end.
 */
moment test_packet_interval(uint8_t length)
{
	const int64_t microseconds = int64_t{ 10 + length } * 8;
	const int64_t slots = (microseconds + 249 + 624) / 625;

	return std::chrono::microseconds(slots * 625);
}

std::string air_message(const std::string &name, const air_state &air, uint32_t chance)
{
	std::ostringstream text;

	if (air.doing == radio::advertising)
		text << "beacon " << name << ' ' << chance << ' ' << address_text(air.address)
		     << ' ' << air.is_random_address << ' ' << air.slots << ' ' << int{ air.type }
		     << ' ' << int{ air.channels } << ' ' << hex_text(air.payload) << '|'
		     << hex_text(air.scan_response);
	else if (air.doing == radio::transmitting)
		text << "test " << name << ' ' << int{ air.channel } << ' '
		     << int{ air.test_length } << ' ' << int{ air.test_pattern };
	else
		text << "off " << name;
	return text.str();
}

static std::optional<air_state> parse_beacon(std::istringstream &text, uint32_t &chance)
{
	std::string address;
	std::string payload;
	std::string response;
	bool is_random = false;
	unsigned slots = 0;
	unsigned type = 0;
	unsigned channels = 0;

	text >> chance >> address >> is_random >> slots >> type >> channels;
	if (!text || slots == 0)
		return std::nullopt;
	std::getline(text, payload, '|');
	std::getline(text, response);
	const auto parsed_address = parse_address(address);
	const auto parsed_payload = parse_hex(payload);
	const auto parsed_response = parse_hex(response);
	if (!parsed_address || !parsed_payload || !parsed_response)
		return std::nullopt;
	return air_state{ .doing = radio::advertising,
			  .type = static_cast<uint8_t>(type),
			  .slots = static_cast<uint16_t>(slots),
			  .address = *parsed_address,
			  .is_random_address = is_random,
			  .channels = static_cast<uint8_t>(channels),
			  .payload = *parsed_payload,
			  .scan_response = *parsed_response };
}

static std::optional<air_state> parse_test(std::istringstream &text)
{
	unsigned channel = 0;
	unsigned length = 0;
	unsigned pattern = 0;

	text >> channel >> length >> pattern;
	if (!text)
		return std::nullopt;
	return air_state{ .doing = radio::transmitting,
			  .channel = static_cast<uint8_t>(channel),
			  .test_length = static_cast<uint8_t>(length),
			  .test_pattern = static_cast<uint8_t>(pattern) };
}

bool neighbours::take(const std::string &message, moment now)
{
	std::istringstream text(message);
	std::string word;
	std::string name;
	std::optional<air_state> air;
	uint32_t chance = 0;

	text >> word >> name;
	if (!text)
		return false;
	if (word == "beacon")
		air = parse_beacon(text, chance);
	else if (word == "test")
		air = parse_test(text);
	else if (word == "off")
		air = air_state{};
	if (!air)
		return false;
	const auto before = m_all.find(name);
	const bool is_known = before != m_all.end();
	if (is_known && before->second.air == *air && before->second.chance == chance)
		return true; /* repeated for a newcomer */
	if (is_known && before->second.air.doing == radio::transmitting)
		m_ended.push_back({ before->second, now });
	if (air->doing == radio::off)
		m_all.erase(name);
	else
		m_all[name] = { .air = *air, .chance = chance, .since = now };
	return true;
}

/* The packets of a test that began while the receiver listened. */
uint64_t neighbours::sent_by(const neighbour &other, moment since, moment until)
{
	const moment both = until - std::max(since, other.since);

	return both.count() < 0
		       ? 0
		       : static_cast<uint64_t>(both / test_packet_interval(other.air.test_length));
}

uint32_t neighbours::new_packets(uint8_t channel, moment since, moment now)
{
	uint64_t total = 0;
	const auto count = [&](neighbour &other, moment until) {
		if (other.air.doing != radio::transmitting || other.air.channel != channel)
			return;
		const uint64_t heard = sent_by(other, since, until);
		total += heard - std::min(heard, other.counted);
		other.counted = std::max(heard, other.counted);
	};

	for (auto &[name, other] : m_all)
		count(other, now);
	for (ended_test &one : m_ended)
		count(one.who, one.until);
	m_ended.clear();
	return static_cast<uint32_t>(std::min<uint64_t>(total, UINT32_MAX));
}

void neighbours::begin_count()
{
	m_ended.clear();
	for (auto &[name, other] : m_all)
		other.counted = 0;
}

std::string neighbours::list() const
{
	std::string text;

	for (const auto &[name, other] : m_all)
		if (other.air.doing != radio::off)
			text += name + "  " + air_text(other.air) + "\n";
	return text;
}

air_link::~air_link()
{
	if (m_listener.is_open())
		unlink(m_path.c_str());
}

std::string air_link::open(const std::string &path)
{
	text_socket keeper;

	m_path = path;
	if (connect_to(path, keeper).empty()) {
		m_peers.push_back({ .socket = std::move(keeper) });
		return "";
	}
	return listen_at(path, m_listener);
}

/* The keeper of the air has ended: another simulator takes it over. */
void air_link::rejoin()
{
	if (m_path.empty() || is_open())
		return;
	open(m_path);
	m_lost_keeper = true;
}

void air_link::say(const std::string &message)
{
	pass_on(nullptr, message);
}

void air_link::pass_on(const peer *from, const std::string &line)
{
	for (peer &other : m_peers)
		if (&other != from && other.socket.is_open())
			other.socket.write(line + "\n");
}

void air_link::accept_all()
{
	while (m_listener.is_open()) {
		text_socket newcomer = accept_from(m_listener);
		if (!newcomer.is_open())
			return;
		m_peers.push_back({ .socket = std::move(newcomer) });
	}
}

/* The second word of every message but the newcomer's. */
static std::string name_in(const std::string &message)
{
	std::istringstream text(message);
	std::string word;
	std::string name;

	text >> word >> name;
	return name;
}

/* A killed simulator cannot report its end: do it here. */
void air_link::part_from_gone(std::vector<std::string> &heard)
{
	for (const peer &gone : m_peers)
		if (!gone.socket.is_open() && !gone.name.empty() && m_listener.is_open()) {
			heard.push_back("off " + gone.name);
			pass_on(&gone, heard.back());
		}
	std::erase_if(m_peers, [](const peer &one) { return !one.socket.is_open(); });
}

std::vector<std::string> air_link::hear()
{
	std::vector<std::string> heard;

	accept_all();
	for (peer &one : m_peers) {
		if (!one.socket.is_open())
			continue;
		for (const std::string &line : one.socket.read_lines()) {
			heard.push_back(line);
			if (const std::string name = name_in(line); !name.empty())
				one.name = name;
			if (m_listener.is_open())
				pass_on(&one, line);
		}
	}
	part_from_gone(heard);
	rejoin();
	return heard;
}

std::vector<int> air_link::descriptors() const
{
	std::vector<int> all;

	if (m_listener.is_open())
		all.push_back(m_listener.descriptor());
	for (const peer &one : m_peers)
		all.push_back(one.socket.descriptor());
	return all;
}

} // namespace sim
