// SPDX-License-Identifier: Apache-2.0
/* The air that several simulators share: who sends what, and what of it one of them hears. */
#include "sim/air.h"

#include <algorithm>
#include <sstream>
#include <unistd.h>

namespace sim
{

/*
 * One bit lasts a microsecond. Preamble 1, access address 4, header 2 and check 3 bytes frame
 * the payload; packets begin a multiple of 625 us apart, at least 249 us after the last ended.
 */
moment test_packet_interval(uint8_t length)
{
	const int64_t microseconds = int64_t{ 10 + length } * 8;
	const int64_t slots = (microseconds + 249 + 624) / 625;

	return std::chrono::microseconds(slots * 625);
}

std::string air_message(const std::string &name, const air_state &air)
{
	std::ostringstream text;

	if (air.doing == radio::advertising)
		text << "beacon " << name << ' ' << address_text(air.address) << ' ' << air.slots
		     << ' ' << int{ air.type } << ' ' << hex_text(air.payload);
	else if (air.doing == radio::transmitting)
		text << "test " << name << ' ' << int{ air.channel } << ' '
		     << int{ air.test_length } << ' ' << int{ air.test_pattern };
	else
		text << "off " << name;
	return text.str();
}

static std::optional<air_state> parse_beacon(std::istringstream &text)
{
	std::string address;
	std::string payload;
	unsigned slots = 0;
	unsigned type = 0;

	text >> address >> slots >> type;
	if (!text)
		return std::nullopt;
	std::getline(text, payload);
	const auto parsed_address = parse_address(address);
	const auto parsed_payload = parse_hex(payload);
	if (!parsed_address || !parsed_payload)
		return std::nullopt;
	return air_state{ .doing = radio::advertising,
			  .type = static_cast<uint8_t>(type),
			  .slots = static_cast<uint16_t>(slots),
			  .address = *parsed_address,
			  .payload = *parsed_payload };
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

	text >> word >> name;
	if (!text)
		return false;
	if (word == "beacon")
		air = parse_beacon(text);
	else if (word == "test")
		air = parse_test(text);
	else if (word == "off")
		air = air_state{};
	if (!air)
		return false;
	m_all[name] = { .air = *air, .since = now };
	return true;
}

uint32_t neighbours::new_packets(uint8_t channel, moment since, moment now)
{
	uint64_t total = 0;

	for (auto &[name, other] : m_all) {
		if (other.air.doing != radio::transmitting || other.air.channel != channel)
			continue;
		const moment both = now - std::max(since, other.since);
		const moment interval = test_packet_interval(other.air.test_length);
		const uint64_t heard =
			both.count() < 0 ? 0 : static_cast<uint64_t>(both / interval);
		if (heard <= other.counted)
			continue;
		total += heard - other.counted;
		other.counted = heard;
	}
	return static_cast<uint32_t>(std::min<uint64_t>(total, UINT32_MAX));
}

void neighbours::begin_count()
{
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
	text_socket peer;

	m_path = path;
	if (connect_to(path, peer).empty()) {
		m_peers.push_back(std::move(peer));
		return "";
	}
	return listen_at(path, m_listener);
}

/* Whoever kept the air has ended: somebody else of us takes it over. */
void air_link::rejoin()
{
	if (!m_path.empty() && !is_open())
		open(m_path);
}

void air_link::say(const std::string &message)
{
	for (text_socket &peer : m_peers)
		if (peer.is_open())
			peer.write(message + "\n");
}

void air_link::accept_all()
{
	while (m_listener.is_open()) {
		text_socket peer = accept_from(m_listener);
		if (!peer.is_open())
			return;
		m_peers.push_back(std::move(peer));
	}
}

std::vector<std::string> air_link::hear()
{
	std::vector<std::string> heard;

	accept_all();
	for (size_t i = 0; i < m_peers.size(); i++) {
		if (!m_peers[i].is_open())
			continue;
		for (const std::string &line : m_peers[i].read_lines()) {
			heard.push_back(line);
			for (size_t other = 0; m_listener.is_open() && other < m_peers.size();
			     other++)
				if (other != i && m_peers[other].is_open())
					m_peers[other].write(line + "\n");
		}
	}
	std::erase_if(m_peers, [](const text_socket &peer) { return !peer.is_open(); });
	rejoin();
	return heard;
}

std::vector<int> air_link::descriptors() const
{
	std::vector<int> all;

	if (m_listener.is_open())
		all.push_back(m_listener.descriptor());
	for (const text_socket &peer : m_peers)
		all.push_back(peer.descriptor());
	return all;
}

} // namespace sim
