// SPDX-License-Identifier: Apache-2.0
/* All the faults that are set: which of them strike now, and what they do to an answer. */
#pragma once

#include "sim/line/fault.h"

#include <random>
#include <utility>

namespace sim
{

/* Bytes that leave together, after a pause. */
struct piece {
	moment pause = {};
	bytes data = {};
	bytes event = {}; /* the whole event, for the records, with its last piece */
};

/* How an answer leaves, and what becomes of the controller after it. */
struct answer_plan {
	moment delay = {};
	std::vector<piece> pieces = {};
	enum : uint8_t { stays, reboots, goes } after = stays;
	moment away = {}; /* or the time that starting takes */
};

class fault_set
{
      public:
	fault_set(uint64_t seed, uint32_t baud) : m_random(seed), m_baud(baud) {}

	/* What is wrong with the text, or nothing. */
	std::string add(std::string_view text);
	void clear()
	{
		m_faults.clear();
	}
	bool empty() const
	{
		return m_faults.empty();
	}

	/* One line for each, with how often it has struck. */
	std::string list() const;

	/* The bytes of a command as they reach the controller. */
	bytes bend_command(const bytes &packet);

	/* The status with which a command is refused instead of carried out. */
	std::optional<uint8_t> refusal(uint16_t opcode, uint32_t segment);

	/* The code of the error that comes instead of an answer. */
	std::optional<uint8_t> hardware_error(uint16_t opcode);

	/* How long the controller is deaf after this reset; 0: it is not. */
	moment deafness(uint16_t opcode);

	/* Does a power-up tell the host of its credit? */
	bool announces_start();

	/* What a bridge lets through of one write of the host. */
	byte_view limit_write(byte_view data);

	answer_plan plan(uint16_t opcode, std::vector<bytes> events);

	/* What has struck since the last call, in words. */
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
