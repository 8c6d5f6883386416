// SPDX-License-Identifier: Apache-2.0
/* A controller on its line: bytes and time in, bytes at their time out. */
#pragma once

#include "sim/controller/packet.h"
#include "sim/line/faults.h"
#include "sim/output/record.h"

#include <map>

namespace sim
{

struct session_settings {
	controller_settings controller = {};
	uint32_t baud = 115200;
	size_t buffer_size = 1024; /* of the controller, for bytes that wait */
	moment latency = {};       /* from the end of a command to the start of its answer */
	std::map<uint16_t, moment> latency_of = {}; /* by opcode */
	uint64_t seed = 1;
	std::vector<std::string> faults = {};
};

class session
{
      public:
	session(const session_settings &settings, recorder report);

	/* The host has sent these bytes. */
	void receive(byte_view data, moment now);

	/* Carries out all that is due by `now`; returns the bytes sent to the host. */
	bytes advance(moment now);

	/* When advance() is next needed without further input. */
	std::optional<moment> next() const;

	/* How many bytes the controller can take without a loss. */
	size_t room() const;

	/* How many bytes from the host are still on the line. */
	size_t on_the_way() const
	{
		return m_in.waiting();
	}

	/* Restarts the power; the controller hears nothing for `down_for`. */
	void restart(moment now, moment down_for);

	/* Sends bytes to the host without a command. */
	void inject(byte_view data, moment now);

	/* Sends an event without a command; drops it when the host no longer reads.
	 */
	void notify(const bytes &event, moment now);

	/* How long a fault has unplugged the port; call it after advance(). */
	std::optional<moment> take_unplug()
	{
		return std::exchange(m_unplug_for, std::nullopt);
	}

	fault_set &faults()
	{
		return m_faults;
	}
	controller &chip()
	{
		return m_controller;
	}

      private:
	struct sending {
		size_t left = 0;
		bytes event = {}; /* for the records, when its last byte is sent */
		decltype(answer_plan::after) after = answer_plan::stays;
		moment away = {};
	};
	struct waiting_byte {
		uint8_t byte;
		moment at;
	};

	void arrive(uint8_t byte, moment at);
	void work(moment now);
	std::optional<bytes> read(uint8_t byte, moment at);
	void take_packet(const bytes &packet, moment began, moment at);
	void spend_credit(const bytes &packet, moment began, moment at);
	void execute(const bytes &packet, moment at);
	void publish(const outcome &result, moment at);
	std::optional<moment> send(const answer_plan &plan, moment at);
	void finish_sent(moment at);
	void fail(uint8_t code, moment at);
	void be_deaf(moment how_long);
	void start(moment at);
	void start_reader();
	uint32_t segment_number(byte_view packet);
	moment latency_of(uint16_t opcode) const;
	void tell(moment at, happened what, byte_view packet, const std::string &text);
	void tell_struck(moment at);

	session_settings m_settings;
	recorder m_report;
	controller m_controller;
	fault_set m_faults;
	packet_reader m_reader;
	line_pace m_in;
	line_pace m_out;
	std::deque<waiting_byte> m_buffer;
	std::deque<sending> m_sending;
	moment m_busy_until = {};
	moment m_packet_began = {};
	std::optional<moment> m_credit_since = moment{}; /* empty: the host has no credit */
	moment m_deaf_until = {};
	bool m_has_started = false;
	size_t m_swallow = 0;
	uint32_t m_segment = 0;
	std::optional<moment> m_unplug_for;
};

} // namespace sim
