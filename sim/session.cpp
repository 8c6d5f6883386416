// SPDX-License-Identifier: Apache-2.0
/* A controller at the end of its line: bytes and time in, bytes at their time out. */
#include "sim/session.h"

#include <algorithm>

namespace sim
{

constexpr uint16_t STANDARD_RESET = 0x0C03;
constexpr uint16_t TI_RESET = 0xFC1D;
constexpr uint16_t PATCH_DOWNLOAD = 0xFC00;
constexpr uint8_t PATCH_SEGMENT = 0x1E;
constexpr moment LATE_RESET = std::chrono::milliseconds(5500); /* hosts give up after 5 s */
constexpr size_t SWALLOWED = 8;

session::session(const session_settings &settings, recorder report)
    : m_settings(settings), m_report(std::move(report)), m_controller(settings.controller),
      m_faults(settings.seed, settings.baud), m_in(settings.baud), m_out(settings.baud)
{
	for (const std::string &text : settings.faults)
		m_faults.add(text);
	start_reader();
}

void session::tell(moment at, happened what, byte_view packet, const std::string &text)
{
	m_report({ .at = at,
		   .what = what,
		   .packet = bytes(packet.begin(), packet.end()),
		   .text = text });
}

void session::tell_struck(moment at)
{
	for (const std::string &text : m_faults.take_struck())
		tell(at, happened::fault, {}, text);
}

void session::start_reader()
{
	m_reader.restart();
	m_swallow = m_settings.controller.quirks & QUIRK_SWALLOW ? SWALLOWED : 0;
}

moment session::latency_of(uint16_t opcode) const
{
	const auto own = m_settings.latency_of.find(opcode);
	const bool is_reset = opcode == STANDARD_RESET || opcode == TI_RESET;

	if (is_reset && m_settings.controller.quirks & QUIRK_LATE_RESET)
		return LATE_RESET;
	return own == m_settings.latency_of.end() ? m_settings.latency : own->second;
}

/* Counted from 1 with each download; 0 for any other command. */
uint32_t session::segment_number(byte_view packet)
{
	const bool is_segment = packet.size() > 4 && packet[4] == PATCH_SEGMENT &&
				low_first_16(packet, 1) == PATCH_DOWNLOAD;

	m_segment = is_segment ? m_segment + 1 : 0;
	return m_segment;
}

void session::publish(const outcome &result, moment at)
{
	if (!result.patch.empty())
		tell(at, happened::patch, result.patch, "");
	if (result.air)
		m_report({ .at = at, .what = happened::air, .air = *result.air });
}

void session::restart(moment now, moment down_for)
{
	m_in.clear();
	m_out.clear();
	m_buffer.clear();
	m_sending.clear();
	m_busy_until = now;
	m_deaf_until = now + down_for;
	m_segment = 0;
	start_reader();
	tell(now, happened::notice, {}, "the controller starts anew");
	publish(m_controller.restart(), now);
}

/* What leaves no byte any more is done with; it may take the controller with it. */
void session::finish_sent(moment at)
{
	while (!m_sending.empty() && m_sending.front().left == 0) {
		const sending done = m_sending.front();
		m_sending.pop_front();
		if (!done.event.empty())
			tell(at, happened::event, done.event, "");
		if (done.after == answer_plan::stays)
			continue;
		const bool goes = done.after == answer_plan::goes;
		restart(at, goes ? moment{} : done.away);
		if (goes)
			m_unplug_for = done.away;
	}
}

void session::send(const answer_plan &plan, moment at)
{
	moment start = at + plan.delay;

	for (const piece &part : plan.pieces) {
		start = std::max(start, m_out.free_at()) + part.pause;
		m_out.push(part.data, start);
		m_sending.push_back({ .left = part.data.size(), .event = part.event });
	}
	m_busy_until = std::max(start, m_out.free_at());
	if (plan.after != answer_plan::stays)
		m_sending.push_back({ .after = plan.after, .away = plan.away });
	finish_sent(start);
}

void session::execute(const bytes &packet, moment at)
{
	const uint16_t opcode = low_first_16(packet, 1);
	const auto status = m_faults.refusal(opcode, segment_number(packet));
	const outcome result =
		status ? m_controller.refuse(packet, *status) : m_controller.handle(packet);

	publish(result, at);
	send(m_faults.plan(opcode, result.events), at + latency_of(opcode));
	tell_struck(at);
}

void session::take_packet(const bytes &packet, moment at)
{
	tell(at, happened::command, packet, "");
	if (packet[0] != PACKET_COMMAND)
		return;
	const bytes bent = m_faults.bend_command(packet);
	if (bent == packet) {
		execute(packet, at);
		return;
	}
	tell_struck(at);
	for (const uint8_t byte : bent)
		if (const auto other = m_reader.take(byte);
		    other && other->front() == PACKET_COMMAND)
			execute(*other, at);
}

/* A controller works on one command at a time; what comes meanwhile waits. */
void session::work(moment now)
{
	while (!m_buffer.empty() && m_busy_until <= now) {
		const auto [byte, at] = m_buffer.front();
		m_buffer.pop_front();
		if (m_swallow > 0) {
			m_swallow--;
			continue;
		}
		if (const auto packet = m_reader.take(byte))
			take_packet(*packet, std::max(at, m_busy_until));
	}
}

void session::arrive(uint8_t byte, moment at)
{
	if (at < m_deaf_until)
		return;
	work(at);
	if (m_buffer.size() >= m_settings.buffer_size) {
		tell(at, happened::notice, { { byte } }, "overrun: a byte is lost");
		return;
	}
	m_buffer.push_back({ byte, at });
	work(at);
}

void session::receive(byte_view data, moment now)
{
	m_in.push(data, now);
}

void session::inject(byte_view data, moment now)
{
	send({ .pieces = { { .data = bytes(data.begin(), data.end()),
			     .event = bytes(data.begin(), data.end()) } } },
	     now);
}

bytes session::advance(moment now)
{
	bytes sent;

	while (const auto arrival = m_in.take(now))
		arrive(arrival->byte, arrival->at);
	work(now);
	const bytes junk = m_reader.take_junk();
	if (!junk.empty())
		tell(now, happened::notice, junk, "bytes that begin no packet");
	while (const auto departure = m_out.take(now)) {
		sent.push_back(departure->byte);
		m_sending.front().left--;
		finish_sent(departure->at);
	}
	return sent;
}

std::optional<moment> session::next() const
{
	std::optional<moment> soonest = m_in.next();
	const auto work_at = m_buffer.empty() ? std::nullopt : std::optional(m_busy_until);

	for (const auto &other : { m_out.next(), work_at })
		if (other && (!soonest || *other < *soonest))
			soonest = other;
	return soonest;
}

size_t session::room() const
{
	const size_t used = m_buffer.size() + m_in.waiting();

	return used < m_settings.buffer_size ? m_settings.buffer_size - used : 0;
}

} // namespace sim
