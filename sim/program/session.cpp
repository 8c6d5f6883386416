// SPDX-License-Identifier: Apache-2.0
/* A controller on its line: bytes and time in, bytes at their time out. */
#include "sim/program/session.h"

#include <algorithm>

namespace sim
{

constexpr uint16_t STANDARD_RESET = 0x0C03;
constexpr uint16_t TI_RESET = 0xFC1D;
constexpr uint16_t PATCH_DOWNLOAD = 0xFC00;
constexpr uint8_t PATCH_SEGMENT = 0x1E;
constexpr uint8_t EVENT_COMMAND_COMPLETE = 0x0E;
constexpr uint8_t EVENT_COMMAND_STATUS = 0x0F;
constexpr uint8_t EVENT_HARDWARE_ERROR = 0x10;
constexpr moment LATE_RESET = std::chrono::milliseconds(5500); /* hosts give up after 5 s */
constexpr uint8_t LOST_SYNC = 0x01;                            /* the code of its hardware error */
constexpr size_t SWALLOWED = 8;
constexpr size_t MOST_UNSENT = 1024; /* bytes of reports that a controller keeps */

static std::vector<bytes> resets_of(enum vendor vendor)
{
	if (vendor == vendor::ti)
		return { standard_reset_head(), ti_reset_head() };
	return { standard_reset_head() };
}

session::session(const session_settings &settings, recorder report)
    : m_settings(settings), m_report(std::move(report)), m_controller(settings.controller),
      m_faults(settings.seed, settings.baud),
      m_reader(settings.controller.quirks & QUIRK_STRAY_IGNORED ? stray::skip : stray::lose_sync,
	       resets_of(settings.controller.kind->vendor)),
      m_in(settings.baud), m_out(settings.baud)
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

static bool is_reset(uint16_t opcode)
{
	return opcode == STANDARD_RESET || opcode == TI_RESET;
}

moment session::latency_of(uint16_t opcode) const
{
	const auto own = m_settings.latency_of.find(opcode);

	if (is_reset(opcode) && m_settings.controller.quirks & QUIRK_LATE_RESET)
		return LATE_RESET;
	return own == m_settings.latency_of.end() ? m_settings.latency : own->second;
}

/* The number of a patch segment, from 1 in each download; 0 for any other command. */
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

/* Power-up: some firmware reports at once that the host may send a command. */
void session::start(moment at)
{
	const bytes first_credit = { PACKET_EVENT, 0x0E, 0x03, 0x01, 0x00, 0x00 };

	m_has_started = true;
	if (m_faults.announces_start())
		send({ .pieces = { { .data = first_credit, .event = first_credit } } }, at);
	tell_struck(at);
}

void session::restart(moment now, moment down_for)
{
	m_in.clear();
	m_out.clear();
	m_buffer.clear();
	m_sending.clear();
	m_busy_until = now;
	m_credit_since = now;
	m_deaf_until = now + down_for;
	m_segment = 0;
	start_reader();
	tell(now, happened::notice, {}, "the controller starts anew");
	publish(m_controller.restart(), now);
	start(m_deaf_until);
}

/* Completes answers whose bytes are sent; such an end may restart or unplug the controller. */
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

/* Sends an answer; returns when its first whole event is sent, if there is one. */
std::optional<moment> session::send(const answer_plan &plan, moment at)
{
	moment start = at + plan.delay;
	std::optional<moment> answered;

	for (const piece &part : plan.pieces) {
		start = std::max(start, m_out.free_at()) + part.pause;
		m_out.push(part.data, start);
		m_sending.push_back({ .left = part.data.size(), .event = part.event });
		if (!answered && !part.event.empty())
			answered = std::max(start, m_out.free_at());
	}
	m_busy_until = std::max(start, m_out.free_at());
	if (plan.after != answer_plan::stays)
		m_sending.push_back({ .after = plan.after, .away = plan.away });
	finish_sent(start);
	return answered;
}

/* Whether the host may send a command after it; vendor events have no such field: they allow it. */
static bool gives_credit(const bytes &event)
{
	if (event[1] == EVENT_COMMAND_COMPLETE)
		return event[3] > 0;
	if (event[1] == EVENT_COMMAND_STATUS)
		return event[4] > 0;
	return true;
}

/* A host may send its next command only after an answer has allowed it. */
void session::spend_credit(const bytes &packet, moment began, moment at)
{
	if (!m_credit_since || began < *m_credit_since)
		tell(at, happened::notice, packet, "the host had no credit for this command");
	m_credit_since.reset();
}

void session::execute(const bytes &packet, moment at)
{
	const uint16_t opcode = low_first_16(packet, 1);

	if (const auto code = m_faults.hardware_error(opcode)) {
		fail(*code, at);
		return;
	}
	const auto status = m_faults.refusal(opcode, segment_number(packet));
	const outcome result =
		status ? m_controller.refuse(packet, *status) : m_controller.handle(packet);

	publish(result, at);
	const auto answered = send(m_faults.plan(opcode, result.events), at + latency_of(opcode));
	if (std::ranges::any_of(result.events, gives_credit))
		m_credit_since = answered;
	if (is_reset(opcode))
		be_deaf(m_faults.deafness(opcode));
	tell_struck(at);
}

/* A hardware error: the controller accepts only a reset then. */
void session::fail(uint8_t code, moment at)
{
	const bytes error = { PACKET_EVENT, EVENT_HARDWARE_ERROR, 0x01, code };

	tell_struck(at);
	m_reader.lose_sync();
	send({ .pieces = { { .data = error, .event = error } } }, at);
}

/* Counted from the end of the answer; bytes before that are lost too. */
void session::be_deaf(moment how_long)
{
	if (how_long.count() == 0)
		return;
	m_deaf_until = m_busy_until + how_long;
	m_buffer.clear();
}

void session::take_packet(const bytes &packet, moment began, moment at)
{
	tell(at, happened::command, packet, "");
	if (packet[0] != PACKET_COMMAND)
		return;
	spend_credit(packet, began, at);
	const bytes bent = m_faults.bend_command(packet);
	if (bent == packet) {
		execute(packet, at);
		return;
	}
	tell_struck(at);
	for (const uint8_t byte : bent)
		if (const auto other = read(byte, at); other && other->front() == PACKET_COMMAND)
			execute(*other, at);
}

std::optional<bytes> session::read(uint8_t byte, moment at)
{
	const bool was_lost = m_reader.is_lost();
	auto packet = m_reader.take(byte);

	if (m_reader.is_lost() && !was_lost)
		fail(LOST_SYNC, at);
	return packet;
}

/* A controller works on one command at a time; others wait. */
void session::work(moment now)
{
	while (!m_buffer.empty() && m_busy_until <= now) {
		const auto [byte, at] = m_buffer.front();
		m_buffer.pop_front();
		if (m_swallow > 0) {
			m_swallow--;
			continue;
		}
		if (m_reader.pending() == 0)
			m_packet_began = at;
		if (const auto packet = read(byte, std::max(at, m_busy_until)))
			take_packet(*packet, m_packet_began, std::max(at, m_busy_until));
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
	m_in.push(m_faults.limit_write(data), now);
	tell_struck(now);
}

void session::inject(byte_view data, moment now)
{
	send({ .pieces = { { .data = bytes(data.begin(), data.end()),
			     .event = bytes(data.begin(), data.end()) } } },
	     now);
}

void session::notify(const bytes &event, moment now)
{
	if (m_out.waiting() > MOST_UNSENT || now < m_deaf_until)
		return;
	m_out.push(event, now);
	m_sending.push_back({ .left = event.size(), .event = event });
}

bytes session::advance(moment now)
{
	bytes sent;

	if (!m_has_started)
		start(now);
	while (const auto arrival = m_in.take(now))
		arrive(arrival->byte, arrival->at);
	work(now);
	const bytes junk = m_reader.take_junk();
	if (!junk.empty())
		tell(now, happened::notice, junk,
		     m_reader.is_lost() ? "bytes while waiting for a reset"
					: "bytes that begin no packet");
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
