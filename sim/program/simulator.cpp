// SPDX-License-Identifier: Apache-2.0
/* The running program: the line, the session, the sockets and the records, in one loop. */
#include "sim/program/simulator.h"

#include "sim/program/control.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace sim
{

constexpr size_t READ_AT_ONCE = 4096;
constexpr moment LONGEST_WAIT = std::chrono::hours(1);

/* The process id alone is not unique: every sandbox has its own ids. */
static std::string own_name()
{
	char text[48];

	snprintf(text, sizeof(text), "sim%d-%08x", getpid(), std::random_device()());
	return text;
}

simulator::simulator(const options &settings)
    : m_options(settings), m_records(settings),
      m_session(settings.session, [this](const record &what) { note(what); }),
      m_listener(settings.rssi), m_chance(static_cast<uint32_t>(settings.session.seed)),
      m_name(own_name())
{
}

simulator::~simulator()
{
	if (m_control.is_open())
		unlink(m_options.control.c_str());
	if (m_signals >= 0)
		::close(m_signals);
}

moment simulator::now() const
{
	return std::chrono::steady_clock::now() - m_start;
}

std::string simulator::title() const
{
	std::string text = std::string("vorlin-sim: ") + m_options.session.controller.kind->name +
			   " on " + m_line.port();

	if (!m_options.link.empty())
		text += ", linked as " + m_options.link;
	if (!m_options.session.faults.empty() || !m_script.empty() || m_control.is_open())
		text += ", seed " + std::to_string(m_options.session.seed);
	return text;
}

void simulator::note(const record &what)
{
	m_records.note(what);
	if (what.what != happened::air)
		return;
	m_receiving_since.reset();
	if (what.air.doing == radio::receiving) {
		m_receiving_since = what.at;
		m_neighbours.begin_count();
	}
	/* A new payload keeps the rhythm; a new start begins another one. */
	const bool is_advertising = what.air.doing == radio::advertising;
	if (is_advertising && !m_was_advertising)
		m_chance_of_beacon = static_cast<uint32_t>(m_chance());
	m_was_advertising = is_advertising;
	m_air.say(air_message(m_name, what.air, m_chance_of_beacon));
}

static int open_signals()
{
	sigset_t wanted;

	sigemptyset(&wanted);
	for (const int number : { SIGINT, SIGTERM, SIGHUP })
		sigaddset(&wanted, number);
	signal(SIGPIPE, SIG_IGN);
	if (sigprocmask(SIG_BLOCK, &wanted, nullptr) != 0)
		return -1;
	return signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK);
}

std::string simulator::open()
{
	setvbuf(stdout, nullptr, _IOLBF, 0);
	prctl(PR_SET_TIMERSLACK, 1); /* a byte takes less than the default slack */
	m_signals = open_signals();
	if (m_signals < 0)
		return std::string("cannot watch for signals: ") + strerror(errno);
	std::string problem = m_records.open();
	if (problem.empty() && !m_options.script.empty())
		problem = read_script(m_options.script, m_script);
	if (problem.empty() && !m_options.control.empty())
		problem = listen_at(m_options.control, m_control);
	if (problem.empty() && !m_options.air.empty())
		problem = m_air.open(m_options.air);
	if (problem.empty())
		problem = m_line.open(m_options.link);
	if (!problem.empty())
		return problem;
	m_start = std::chrono::steady_clock::now();
	m_records.begin(title());
	m_air.say(AIR_HELLO);
	return "";
}

/*
 * How many bytes to read from the host now. With RTS/CTS they stay in the pty while the controller
 * has no room, so that the host waits. Like a UART, it never has more on the line than it can send
 * in a short time.
 */
size_t simulator::appetite() const
{
	if (!m_unsent.empty() || m_session.on_the_way() >= READ_AT_ONCE)
		return 0;
	const size_t room = std::min(m_session.room(), READ_AT_ONCE);
	if (room > 0)
		return room;
	return m_line.has_flow_control() ? 0 : READ_AT_ONCE;
}

void simulator::take_from_host()
{
	const size_t most = appetite();
	const bytes data = most == 0 ? bytes() : m_line.read(most);

	if (!data.empty())
		m_session.receive(data, now());
}

void simulator::give_to_host()
{
	append(m_unsent, m_session.advance(now()));
	if (!m_unsent.empty())
		m_line.write(m_unsent);
	if (const auto away = m_session.take_unplug())
		unplug(*away);
}

void simulator::unplug(moment away)
{
	note({ .at = now(), .what = happened::fault, .text = "the port goes" });
	m_line.close();
	m_unsent.clear();
	m_session.restart(now(), {});
	m_plug_in_at = now() + away;
}

void simulator::plug_in_again()
{
	if (!m_plug_in_at || now() < *m_plug_in_at)
		return;
	m_plug_in_at.reset();
	const std::string problem = m_line.open(m_options.link);
	if (problem.empty()) {
		note({ .at = now(), .what = happened::fault, .text = "the port comes back" });
		return;
	}
	fprintf(stderr, "vorlin-sim: cannot come back: %s\n", problem.c_str());
	m_failed = true;
	m_quit = true;
}

std::string simulator::command(const std::string &text)
{
	controlled target = { m_session, m_neighbours, now() };
	std::string answer = run_control(text, target);

	if (target.unplug_for && m_line.is_open())
		unplug(*target.unplug_for);
	if (target.plug && m_plug_in_at)
		m_plug_in_at = now();
	m_quit = m_quit || target.quit;
	return answer;
}

void simulator::serve_clients()
{
	while (m_control.is_open()) {
		text_socket client = accept_from(m_control);
		if (!client.is_open())
			break;
		m_clients.push_back(std::move(client));
	}
	for (text_socket &client : m_clients)
		for (const std::string &line : client.read_lines())
			if (client.is_open())
				client.write(command(line));
	std::erase_if(m_clients, [](const text_socket &client) { return !client.is_open(); });
}

void simulator::run_script()
{
	while (m_script_done < m_script.size() && m_script[m_script_done].at <= now())
		command(m_script[m_script_done++].text);
}

void simulator::tell_air()
{
	m_air.say(air_message(m_name, m_session.chip().air(), m_chance_of_beacon));
}

/* A host that does not read loses reports: they cannot be kept without limit. */
void simulator::listen()
{
	const moment at = now();
	const bool is_told = m_session.chip().reports_advertisements() && m_unsent.empty();

	for (const bytes &report : m_listener.hear(m_neighbours, m_session.chip().scan(), at))
		if (is_told)
			m_session.notify(report, at);
}

void simulator::share_air()
{
	if (m_options.air.empty())
		return;
	for (const std::string &message : m_air.hear()) {
		listen();
		if (!m_neighbours.take(message, now()))
			tell_air();
	}
	if (m_air.take_loss()) {
		m_neighbours.clear();
		m_air.say(AIR_HELLO);
		tell_air();
	}
	listen();
	if (m_receiving_since)
		m_session.chip().hear(m_neighbours.new_packets(m_session.chip().air().channel,
							       *m_receiving_since, now()));
	else
		m_neighbours.begin_count();
}

moment simulator::wait_until() const
{
	moment until = now() + LONGEST_WAIT;

	if (m_options.run_time.count() > 0)
		until = std::min(until, m_options.run_time);
	if (m_script_done < m_script.size())
		until = std::min(until, m_script[m_script_done].at);
	for (const auto &other :
	     { m_session.next(), m_records.next(), m_listener.next(), m_plug_in_at })
		if (other)
			until = std::min(until, *other);
	return until;
}

/* The descriptors to wait for; the signals are first. */
std::vector<pollfd> simulator::watched() const
{
	std::vector<pollfd> all = { { m_signals, POLLIN, 0 } };

	if (m_line.is_open()) {
		const int events = (appetite() > 0 ? POLLIN : 0) | (m_unsent.empty() ? 0 : POLLOUT);
		all.push_back({ m_line.descriptor(), static_cast<short>(events), 0 });
	}
	for (const int descriptor : m_air.descriptors())
		all.push_back({ descriptor, POLLIN, 0 });
	if (m_control.is_open())
		all.push_back({ m_control.descriptor(), POLLIN, 0 });
	for (const text_socket &client : m_clients)
		all.push_back({ client.descriptor(), POLLIN, 0 });
	return all;
}

/* Sleeps until there is work; false at the end of the run. */
bool simulator::wait()
{
	std::vector<pollfd> all = watched();
	const moment left = std::max(wait_until() - now(), moment{});
	const timespec timeout = { left.count() / 1'000'000'000, left.count() % 1'000'000'000 };

	ppoll(all.data(), all.size(), &timeout, nullptr);
	if (all[0].revents != 0)
		return false;
	return m_options.run_time.count() == 0 || now() < m_options.run_time;
}

bool simulator::run()
{
	/* Its end may have been asked for by the script, after which nothing may happen. */
	while (!m_quit && wait()) {
		share_air();
		serve_clients();
		run_script();
		plug_in_again();
		if (m_line.is_open())
			take_from_host();
		give_to_host();
		listen(); /* a scan that has begun must wake for the next beacon */
		m_records.tick(now());
	}
	const bool is_written = m_records.finish(now());
	m_air.say(air_message(m_name, {}, 0));
	m_line.close();
	return is_written && !m_failed;
}

} // namespace sim
