// SPDX-License-Identifier: Apache-2.0
/*
 * The simulator with a host that sends anything and, in every other input, a user who sets
 * faults. Without the user each answer is compared with the controllers' manuals. The input: four
 * bytes of settings, then the actions of host and user, each with a tag.
 */
#include "sim/air/advertisement.h"
#include "sim/controller/packet.h"
#include "sim/program/control.h"
#include "sim/program/session.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <iterator>

using sim::byte_view;
using sim::bytes;
using sim::happened;
using std::chrono::milliseconds;

// clang-format off
enum tag : uint8_t { /* any other value: 0 */
	HOST_COMMANDS = 0, /* row of the table, parameter bytes, parameters */
	HOST_SENDS    = 1, /* length, raw bytes */
	TIME_PASSES   = 2, /* 16 bits of milliseconds */
	USER_SAYS     = 3, /* length, a line for the control socket */
};

/* The answer to a command: the bytes of the first event after a success, and of a second one. */
static const struct manual_row {
	uint16_t opcode;
	uint8_t params;
	size_t first;
	uint16_t second_code = 0;
	size_t second = 0;
} standard_manual[] = {
	{ 0x0C03,  0,  7 },
	{ 0x1001,  0, 15 },
	{ 0x1009,  0, 13 },
	{ 0x2006, 15,  7 },
	{ 0x2007,  0,  8 },
	{ 0x2008, 32,  7 },
	{ 0x200A,  1,  7 },
	{ 0x201D,  1,  7 },
	{ 0x201E,  3,  7 },
	{ 0x201F,  0,  9 },
}, further_manual[] = {
	{ 0x0C01,  8,  7 },
	{ 0x0C63,  8,  7 },
	{ 0x1002,  0, 71 },
	{ 0x1003,  0, 15 },
	{ 0x1005,  0, 14 },
	{ 0x2001,  8,  7 },
	{ 0x2002,  0, 10 },
	{ 0x2003,  0, 15 },
	{ 0x2005,  6,  7 },
	{ 0x2009, 32,  7 },
	{ 0x200B,  7,  7 },
	{ 0x200C,  2,  7 },
	{ 0x200F,  0,  8 },
	{ 0x2010,  0,  7 },
	{ 0x2011,  7,  7 },
	{ 0x2012,  7,  7 },
	{ 0x2018,  0, 15 },
	{ 0x201C,  0, 15 },
}, ti_manual[] = {
	{ 0xFC01,  1,  8 },
	{ 0xFC0C,  6,  8 },
	{ 0xFC1B,  3, 12 },
	{ 0xFC1D,  1,  8 },
	{ 0xFE00, 38,  9, 0x0600, 47 },
	{ 0xFE06, 10,  9, 0x0603,  6 },
	{ 0xFE07, 32,  9, 0x0602,  7 },
	{ 0xFE08,  0,  9, 0x0604,  6 },
	{ 0xFE30,  3,  9 },
	{ 0xFE31,  3, 11 },
}, qualcomm_manual[] = {
	{ 0xFC00, 30,  8 },
	{ 0xFC14,  6,  8 },
};
// clang-format on

constexpr uint8_t PATCH_VERSION = 0x19;
constexpr size_t PATCH_VERSION_ANSWER = 14;
constexpr uint8_t STATUS_UNKNOWN = 0x01;

/* A simulated controller, and its record so far. */
class bench
{
      public:
	bench(const sim::session_settings &settings, bool has_user)
	    : m_settings(settings), m_is_bent(has_user),
	      m_session(settings, [this](const sim::record &what) { note(what); })
	{
	}

	void run(input in);

      private:
	void note(const sim::record &what);
	void check_event(const bytes &event);
	void check_first(const bytes &event);
	void check_second(const bytes &event);
	void check_air(const sim::air_state &air) const;
	void check_patch(const bytes &patch) const;
	void send_command(input &in);
	void say(const std::string &line);
	void pass(sim::moment time);
	void recover();

	bool is_ti() const
	{
		return m_settings.controller.kind->vendor == sim::vendor::ti;
	}
	bool has(uint32_t quirk) const
	{
		return m_settings.controller.quirks & quirk;
	}
	const manual_row *manual(size_t opcode) const;

	sim::session_settings m_settings;
	bool m_is_bent; /* with faults or reboots any answer is right */
	sim::session m_session;
	sim::moment m_now = {};
	size_t m_commands = 0; /* arrived */
	size_t m_answered = 0; /* answered */
	bytes m_last;          /* the last answered command */
	bytes m_queue;         /* the commands not answered yet, joined */
	bool m_second_is_due = false;
	bool m_segment_event_seen = false;
	bytes m_events; /* recorded */
	bytes m_sent;   /* sent */
};

const manual_row *bench::manual(size_t opcode) const
{
	const auto find = [opcode](const auto &rows) -> const manual_row * {
		const auto *const row = std::ranges::find(rows, opcode, &manual_row::opcode);
		return row == std::end(rows) ? nullptr : row;
	};
	const manual_row *const own = is_ti() ? find(ti_manual) : find(qualcomm_manual);
	const manual_row *const standard = find(standard_manual);

	return own ? own : standard ? standard : find(further_manual);
}

void bench::note(const sim::record &what)
{
	if (what.what == happened::air)
		check_air(what.air);
	if (what.what == happened::patch)
		check_patch(what.packet);
	if (m_is_bent)
		return;
	must(what.what != happened::fault, "no fault strikes that was not asked for");
	if (what.what == happened::event)
		check_event(what.packet);
	if (what.what != happened::command || what.packet[0] != sim::PACKET_COMMAND)
		return;
	if (m_commands++ == 0 && has(sim::QUIRK_FIRST_UNANSWERED))
		m_answered++;
	else
		sim::append(m_queue, what.packet);
}

void bench::check_event(const bytes &event)
{
	static const bytes lost_step = { 0x04, 0x10, 0x01, 0x01 };

	sim::append(m_events, event);
	if (event == lost_step) {
		must(!has(sim::QUIRK_STRAY_IGNORED), "no step is lost where bytes are ignored");
		return;
	}
	must(event.size() >= 6 && event[0] == 0x04 && event.size() == size_t{ 3 } + event[2],
	     "an event is one whole packet");
	must(event[1] == 0x0E || event[1] == 0x0F || event[1] == 0xFF,
	     "an event has one of the three codes");
	if (m_second_is_due)
		check_second(event);
	else
		check_first(event);
}

/* The older form of event that accompanies the answer to a segment. */
static bool is_segment_event(const bytes &event)
{
	return event.size() == 6 && event[1] == 0xFF && event[3] == 0x00 && event[4] == 0x04;
}

void bench::check_first(const bytes &event)
{
	must(!m_queue.empty(), "no answer comes without a command");
	if (has(sim::QUIRK_SEGMENT_EVENT) && !m_segment_event_seen && is_segment_event(event) &&
	    sim::low_first_16(m_queue, 1) == 0xFC00) {
		m_segment_event_seen = true;
		return;
	}
	const size_t length = sim::packet_length(m_queue);
	m_last.assign(m_queue.begin(), m_queue.begin() + static_cast<ptrdiff_t>(length));
	m_queue.erase(m_queue.begin(), m_queue.begin() + static_cast<ptrdiff_t>(length));
	m_segment_event_seen = false;
	m_answered++;

	const uint16_t opcode = sim::low_first_16(m_last, 1);
	const bool is_vendor = is_ti() && opcode >= 0xFC00;
	const uint8_t credit = has(sim::QUIRK_CREDIT_0) ? 0 : 1;
	const manual_row *const row = manual(opcode);
	if (event[1] == 0x0F) {
		must(!row && !is_vendor && !has(sim::QUIRK_LONE_STATUS) &&
			     event == bytes{ 0x04, 0x0F, 0x04, STATUS_UNKNOWN, credit, m_last[1],
					     m_last[2] },
		     "a Command Status tells that a command is unknown");
		return;
	}
	must(event[1] == (is_vendor ? 0xFF : 0x0E), "the answer is of the command's kind");
	must(event.size() >= (is_vendor ? 8u : 7u), "the answer has room for its status");
	must(sim::low_first_16(event, is_vendor ? 6 : 4) == opcode, "the answer names its command");
	if (!is_vendor)
		must(event[3] == credit, "the credit is as it was set");
	const uint8_t status = is_vendor ? event[5] : event[6];
	must((row != nullptr) == (status != STATUS_UNKNOWN), "an unknown command is told so");
	if (status != 0) {
		if (!is_vendor && !has(sim::QUIRK_LONE_STATUS) && opcode < 0xFC00)
			must(event.size() == row->first, "a refusal is as long as an answer");
		return;
	}
	const bool is_version = opcode == 0xFC00 && m_last[4] == PATCH_VERSION;
	must(event.size() == (is_version ? PATCH_VERSION_ANSWER : row->first),
	     "the answer has the length of the manual");
	m_second_is_due = row->second != 0;
}

void bench::check_second(const bytes &event)
{
	const manual_row *const row = manual(sim::low_first_16(m_last, 1));
	const size_t more = row->second_code == 0x0603 && has(sim::QUIRK_LONG_DISCOVERABLE) ? 2 : 0;

	must(event[1] == 0xFF && sim::low_first_16(event, 3) == row->second_code &&
		     event[5] == 0x00 && event.size() == row->second + more,
	     "the second event is that of the manual");
	m_second_is_due = false;
}

void bench::check_air(const sim::air_state &air) const
{
	must(!sim::air_text(air).empty(), "what is on the air can be told");
	switch (air.doing) {
	case sim::radio::off:
		must(air == sim::air_state{}, "a radio that is off has nothing on the air");
		return;
	case sim::radio::advertising:
		must(air.payload.size() <= 31 && air.type <= 4 &&
			     (air.slots >= 0x20 || air.type == 1) && air.slots <= 0x4000,
		     "an advertisement is one that a radio can send");
		return;
	case sim::radio::receiving:
	case sim::radio::transmitting:
		must(air.channel <= 39 && air.test_pattern <= 7,
		     "a test is one that a radio can do");
	}
}

void bench::check_patch(const bytes &patch) const
{
	must(!is_ti() && !patch.empty(), "only the one controller takes a patch");
	if (!m_settings.controller.strict_patch)
		return;
	must(sim::patch_problem(patch).empty() && sim::announced_patch_size(patch) == patch.size(),
	     "a strict controller takes only a patch that holds");
}

void bench::send_command(input &in)
{
	const size_t standard = std::size(standard_manual);
	const size_t own = is_ti() ? std::size(ti_manual) : std::size(qualcomm_manual);
	const size_t i = in.byte() % (standard + own + std::size(further_manual));
	const manual_row &row = i < standard          ? standard_manual[i]
				: i >= standard + own ? further_manual[i - standard - own]
				: is_ti()             ? ti_manual[i - standard]
						      : qualcomm_manual[i - standard];
	const uint8_t told = in.byte(); /* 0: the number of parameters in the manual */
	const byte_span params = in.take(told == 0 ? row.params : told - 1);
	bytes packet = { 0x01 };

	sim::append_low_first_16(packet, row.opcode);
	packet.push_back(static_cast<uint8_t>(params.size()));
	sim::append(packet, params);
	m_session.receive(packet, m_now);
}

void bench::say(const std::string &line)
{
	static const sim::neighbours nobody;
	sim::controlled target = { m_session, nobody, m_now };
	const std::string answer = sim::run_control(line, target);
	const bool is_error = answer.starts_with("error: ");

	must(is_error || answer.ends_with("ok\n"), "an answer says how it went");
	must(is_error == !sim::check_control(line).empty(),
	     "what is wrong is known before it runs");
}

void bench::pass(sim::moment time)
{
	m_now += time;
	sim::append(m_sent, m_session.advance(m_now));
	m_session.take_unplug();
}

/* Without faults, a restarted controller must work, whatever was done before. */
void bench::recover()
{
	static const bytes reset = { 0x01, 0x03, 0x0C, 0x00 };
	const bytes done = { 0x04, 0x0E,
			     0x04, has(sim::QUIRK_CREDIT_0) ? uint8_t{ 0 } : uint8_t{ 1 },
			     0x03, 0x0C,
			     0x00 };

	m_session.faults().clear();
	m_session.restart(m_now, {});
	m_sent.clear();
	m_session.receive(reset, m_now);
	pass(std::chrono::seconds(10));
	must(m_sent == (has(sim::QUIRK_FIRST_UNANSWERED | sim::QUIRK_SWALLOW) ? bytes{} : done),
	     "a controller that starts anew answers a reset");
}

void bench::run(input in)
{
	while (!in.empty()) {
		switch (in.byte()) {
		case HOST_SENDS:
			m_session.receive(in.take(in.byte()), m_now);
			break;
		case TIME_PASSES:
			pass(milliseconds(in.word()));
			break;
		case USER_SAYS: {
			const byte_span text = in.take(in.byte());
			if (m_is_bent)
				say(std::string(text.begin(), text.end()));
			break;
		}
		default:
			send_command(in);
		}
	}
	while (m_session.next())
		pass(std::max(*m_session.next() - m_now, sim::moment{}));
	if (!m_is_bent) {
		must(m_answered == m_commands, "every command is answered");
		must(!m_second_is_due, "no second event is missing");
		must(m_sent == m_events, "what left is what was recorded");
	}
	recover();
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	input in(data, size);
	sim::session_settings settings;
	const uint8_t kind = in.byte();
	const uint8_t how = in.byte();

	settings.controller = sim::settings_of(sim::controller_kinds[kind % 3]);
	settings.controller.quirks = in.byte() | (how & 0x10 ? sim::QUIRK_STRAY_IGNORED : 0u);
	settings.controller.strict_patch = how & 0x02;
	settings.baud = how & 0x04 ? 0 : 115200;
	settings.buffer_size = how & 0x08 ? 64 : 1024;
	settings.latency = milliseconds(in.byte());
	bench(settings, how & 0x01).run(in);
	check_streams();
	return 0;
}
