// SPDX-License-Identifier: Apache-2.0
/* All set faults: which of them strike now, and their effect on an answer. */
#include "sim/line/faults.h"

#include "sim/line/misread.h"

#include <algorithm>
#include <cstdio>

namespace sim
{

constexpr size_t STATUS_OF_SECOND_EVENT = 5;
constexpr uint32_t USUAL_BAUD = 115200; /* for a line without pace */

std::string fault_set::add(std::string_view text)
{
	fault one;
	std::string problem = parse_fault(text, one);

	if (problem.empty())
		m_faults.push_back(one);
	return problem;
}

std::string fault_set::list() const
{
	std::string text;

	for (const fault &one : m_faults)
		text += one.text + " (struck " + std::to_string(one.struck) + ")\n";
	return text;
}

bool fault_set::strikes(fault &one, uint16_t opcode, uint32_t event)
{
	if (one.opcode && *one.opcode != opcode)
		return false;
	if (one.event != 0 && event != 0 && one.event != event)
		return false;
	if (one.times != 0 && one.struck >= one.times)
		return false;
	if (one.met++ < one.skip)
		return false;
	if (one.chance < 100 && m_random() % 100 >= one.chance)
		return false;
	char text[64];
	snprintf(text, sizeof(text), opcode == 0 ? "%s strikes" : "%s strikes opcode 0x%04X",
		 fault_name(one.kind), opcode);
	m_struck.push_back(text);
	one.struck++;
	return true;
}

/* `each` takes the next value with every strike, and the first again after the last. */
uint32_t fault_set::pick(const fault &one, const choice &from, uint32_t least, uint32_t most)
{
	const uint64_t span = uint64_t{ most } - least + 1;

	if (least > most)
		return least;
	if (from.how == choice::random)
		return static_cast<uint32_t>(least + m_random() % span);
	if (from.how == choice::each)
		return static_cast<uint32_t>(least + (one.struck - 1) % span);
	return std::min(from.value, most);
}

static bool is_byte_fault(fault_kind kind)
{
	return kind == fault_kind::drop || kind == fault_kind::flip || kind == fault_kind::insert ||
	       kind == fault_kind::duplicate;
}

void fault_set::bend_bytes(fault &one, bytes &data)
{
	const auto last = static_cast<uint32_t>(data.size()) - 1;
	const uint32_t end = one.kind == fault_kind::insert ? last + 1 : last;
	const uint32_t at = pick(one, one.at, 0, end);
	const auto place = data.begin() + at;

	if (one.kind == fault_kind::drop)
		data.erase(place);
	else if (one.kind == fault_kind::flip)
		data[at] = static_cast<uint8_t>(data[at] ^ pick(one, one.value, 1, 0xFF));
	else if (one.kind == fault_kind::insert)
		data.insert(place, static_cast<uint8_t>(pick(one, one.value, 0, 0xFF)));
	else if (one.kind == fault_kind::duplicate)
		data.insert(place, data[at]);
}

bytes fault_set::bend_command(const bytes &packet)
{
	bytes bent = packet;
	const uint16_t opcode = packet.size() < 4 ? uint16_t{ 0 } : low_first_16(packet, 1);

	for (fault &one : m_faults)
		if (one.from_host && !bent.empty() && strikes(one, opcode, 0))
			bend_bytes(one, bent);
	return bent;
}

std::optional<uint8_t> fault_set::refusal(uint16_t opcode, uint32_t segment)
{
	for (fault &one : m_faults) {
		const bool fits = one.kind == fault_kind::refuse ||
				  (one.kind == fault_kind::refuse_segment && segment != 0 &&
				   segment == one.value.value);
		if (fits && strikes(one, opcode, 0))
			return one.status;
	}
	return std::nullopt;
}

std::optional<uint8_t> fault_set::hardware_error(uint16_t opcode)
{
	for (fault &one : m_faults)
		if (one.kind == fault_kind::hardware_error && strikes(one, opcode, 0))
			return static_cast<uint8_t>(pick(one, one.value, 0, 0xFF));
	return std::nullopt;
}

moment fault_set::deafness(uint16_t opcode)
{
	for (fault &one : m_faults)
		if (one.kind == fault_kind::deaf_after_reset && strikes(one, opcode, 0))
			return one.delay;
	return {};
}

bool fault_set::announces_start()
{
	return std::ranges::any_of(m_faults, [this](fault &one) {
		return one.kind == fault_kind::nop_at_start && strikes(one, 0, 0);
	});
}

byte_view fault_set::limit_write(byte_view data)
{
	const uint16_t opcode = data.size() < 3 ? uint16_t{ 0 } : low_first_16(data, 1);

	for (fault &one : m_faults)
		if (one.kind == fault_kind::write_limit && data.size() > one.count &&
		    strikes(one, opcode, 0))
			return data.first(one.count);
	return data;
}

void fault_set::bend_header(fault &one, bytes &event)
{
	const uint32_t least = one.kind == fault_kind::wrong_code ? 0 : 1;
	const uint32_t value = pick(one, one.value, least, 0xFF);

	if (one.kind == fault_kind::wrong_code)
		event[1] = static_cast<uint8_t>(value);
	else if (one.kind == fault_kind::short_length)
		event[2] = static_cast<uint8_t>(event[2] - std::min<uint32_t>(value, event[2]));
	else
		event[2] = static_cast<uint8_t>(std::min<uint32_t>(event[2] + value, 0xFF));
}

void fault_set::split(const fault &one, const bytes &data, std::vector<piece> &pieces)
{
	const auto last = static_cast<uint32_t>(data.size()) - 1;
	const size_t at = std::max<size_t>(pick(one, one.at, 1, last), 1);
	const size_t step = one.at.how == choice::all ? 1 : std::min<size_t>(at, data.size());
	const size_t count = one.at.how == choice::all ? data.size() : 2;
	size_t from = 0;

	for (size_t i = 0; i < count; i++) {
		const size_t to = i + 1 == count ? data.size() : from + step;
		pieces.push_back({ .pause = i == 0 ? moment{} : one.delay,
				   .data = bytes(data.begin() + static_cast<ptrdiff_t>(from),
						 data.begin() + static_cast<ptrdiff_t>(to)) });
		from = to;
	}
}

static bool is_header_fault(fault_kind kind)
{
	return kind == fault_kind::wrong_code || kind == fault_kind::short_length ||
	       kind == fault_kind::long_length;
}

static bool ends_answer(fault_kind kind)
{
	return kind == fault_kind::cut || kind == fault_kind::reboot || kind == fault_kind::unplug;
}

static bool is_event_fault(const fault &one)
{
	return !one.from_host &&
	       (is_header_fault(one.kind) || is_byte_fault(one.kind) ||
		one.kind == fault_kind::wrong_baud || one.kind == fault_kind::junk);
}

/* Changes one event; returns the bytes to send before it. */
bytes fault_set::bend_event(bytes &event, uint16_t opcode, uint32_t number)
{
	bytes ahead;

	for (fault &one : m_faults) {
		if (!is_event_fault(one) || event.size() < 3 || !strikes(one, opcode, number))
			continue;
		if (is_header_fault(one.kind))
			bend_header(one, event);
		else if (is_byte_fault(one.kind))
			bend_bytes(one, event);
		else if (one.kind == fault_kind::junk)
			ahead.insert(ahead.end(), one.count,
				     static_cast<uint8_t>(pick(one, one.value, 0, 0xFF)));
		else
			event = misread(event, std::max(one.value.value, 1u),
					m_baud == 0 ? USUAL_BAUD : m_baud);
	}
	return ahead;
}

void fault_set::add_event(answer_plan &plan, bytes event, uint16_t opcode, uint32_t number)
{
	bytes whole = bend_event(event, opcode, number);
	std::vector<piece> pieces;

	append(whole, event);
	for (fault &one : m_faults)
		if (one.kind == fault_kind::split && whole.size() > 1 && pieces.empty() &&
		    strikes(one, opcode, number))
			split(one, whole, pieces);
	if (pieces.empty())
		pieces.push_back({ .data = whole });
	pieces.back().event = whole;
	plan.pieces.insert(plan.pieces.end(), pieces.begin(), pieces.end());
}

/* Cut, reboot and unplug: the event ends early, and the answer with it. */
bool fault_set::stop_within(bytes &event, answer_plan &plan, uint16_t opcode, uint32_t number)
{
	for (fault &one : m_faults) {
		if (!ends_answer(one.kind) || event.empty() || !strikes(one, opcode, number))
			continue;
		const auto last = static_cast<uint32_t>(event.size()) - 1;
		event.resize(pick(one, one.at, one.at.how == choice::fixed ? 0 : 1, last));
		plan.away = one.delay;
		if (one.kind == fault_kind::reboot)
			plan.after = answer_plan::reboots;
		else if (one.kind == fault_kind::unplug)
			plan.after = answer_plan::goes;
		return true;
	}
	return false;
}

/* Faults for the whole answer; false: no answer is sent. */
bool fault_set::bend_answer(answer_plan &plan, uint16_t opcode, std::vector<bytes> &events)
{
	for (fault &one : m_faults) {
		const bool is_second = one.kind == fault_kind::second_missing ||
				       one.kind == fault_kind::second_fails;
		const bool is_whole =
			is_second || one.kind == fault_kind::silent || one.kind == fault_kind::late;
		if (!is_whole || (is_second && events.size() < 2) || !strikes(one, opcode, 0))
			continue;
		if (one.kind == fault_kind::silent)
			return false;
		if (one.kind == fault_kind::late)
			plan.delay += one.delay;
		else if (one.kind == fault_kind::second_missing)
			events.resize(1);
		else
			events[1][STATUS_OF_SECOND_EVENT] = one.status;
	}
	return true;
}

void fault_set::add_unasked(answer_plan &plan, uint16_t opcode, place when)
{
	for (fault &one : m_faults)
		if (one.kind == fault_kind::unasked && one.when == when && strikes(one, opcode, 0))
			plan.pieces.push_back({ .data = one.unasked, .event = one.unasked });
}

answer_plan fault_set::plan(uint16_t opcode, std::vector<bytes> events)
{
	answer_plan plan;

	if (events.empty() || !bend_answer(plan, opcode, events))
		return plan;
	add_unasked(plan, opcode, place::before);
	for (size_t i = 0; i < events.size(); i++) {
		const auto number = static_cast<uint32_t>(i + 1);
		const bool stops = stop_within(events[i], plan, opcode, number);
		if (i == 1)
			add_unasked(plan, opcode, place::between);
		add_event(plan, events[i], opcode, number);
		if (stops)
			return plan;
	}
	add_unasked(plan, opcode, place::after);
	return plan;
}

} // namespace sim
