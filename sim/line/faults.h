// SPDX-License-Identifier: Apache-2.0
/* All set faults: which of them strike now, and their effect on an answer. */
#pragma once

#include "sim/line/fault.h"

#include <random>
#include <utility>

namespace sim
{

/* Bytes that are sent together, after a pause. */
struct piece {
	moment pause = {};
	bytes data = {};
	bytes event = {}; /* with its last piece: the whole event, for the records */
};

/* How an answer is sent, and what the controller does after it. */
struct answer_plan {
	moment delay = {};
	std::vector<piece> pieces = {};
	enum : uint8_t { stays, reboots, goes } after = stays;
	moment away = {}; /* or the time of the start-up */
};

class fault_set
{
      public:
	fault_set(uint64_t seed, uint32_t baud) : m_random(seed), m_baud(baud) {}

	/* Adds a fault; returns the fault in the text, or an empty text. */
	std::string add(std::string_view text);
	void clear()
	{
		m_faults.clear();
	}
	bool empty() const
	{
		return m_faults.empty();
	}

	/* One line for each fault, with the number of its strikes. */
	std::string list() const;

	/* The bytes of a command that reach the controller. */
	bytes bend_command(const bytes &packet);

	/* The status to refuse a command with, if a fault does that. */
	std::optional<uint8_t> refusal(uint16_t opcode, uint32_t segment);

	/* The hardware error to send instead of an answer, if a fault does that. */
	std::optional<uint8_t> hardware_error(uint16_t opcode);

	/* How long the controller is deaf after this reset; 0: not at all. */
	moment deafness(uint16_t opcode);

	/* Whether a power-up reports the host's credit. */
	bool announces_start();

	/* The part of a host's write that a bridge lets through. */
	byte_view limit_write(byte_view data);

	answer_plan plan(uint16_t opcode, std::vector<bytes> events);

	/* The strikes since the last call, as text. */
	std::vector<std::string> take_struck()
	{
		return std::exchange(m_struck, {});
	}

      private:
	bool strikes(fault &one, uint16_t opcode, uint32_t event);
	uint32_t pick(const fault &one, const choice &from, uint32_t least, uint32_t most);
	void bend_bytes(fault &one, bytes &data);
	void bend_header(fault &one, bytes &event);
	void split(const fault &one, const bytes &data, std::vector<piece> &pieces);
	bytes bend_event(bytes &event, uint16_t opcode, uint32_t number);
	void add_event(answer_plan &plan, bytes event, uint16_t opcode, uint32_t number);
	void add_unasked(answer_plan &plan, uint16_t opcode, place when);
	bool stop_within(bytes &event, answer_plan &plan, uint16_t opcode, uint32_t number);
	bool bend_answer(answer_plan &plan, uint16_t opcode, std::vector<bytes> &events);

	std::vector<fault> m_faults;
	std::vector<std::string> m_struck;
	std::mt19937_64 m_random;
	uint32_t m_baud;
};

} // namespace sim
