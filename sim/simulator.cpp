// SPDX-License-Identifier: Apache-2.0
/* The running program: the line, the session and all records, turned by one loop. */
#include "sim/simulator.h"

#include "sim/json.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>

namespace sim
{

constexpr size_t READ_AT_ONCE = 4096;
constexpr moment LONGEST_WAIT = std::chrono::hours(1);

simulator::simulator(const options &settings)
    : m_options(settings), m_session(settings.session, [this](const record &what) { note(what); }),
      m_air_log(settings.summary_every)
{
}

moment simulator::now() const
{
	return std::chrono::steady_clock::now() - m_start;
}

void simulator::write_patch(const bytes &patch)
{
	const file out(fopen(m_options.patch_out.c_str(), "wb"));

	if (!out || fwrite(patch.data(), 1, patch.size(), out.get()) != patch.size())
		fprintf(stderr, "vorlin-sim: cannot write %s: %s\n", m_options.patch_out.c_str(),
			strerror(errno));
}

void simulator::note(const record &what)
{
	for (const file &log : m_logs)
		fputs(json_line(what, m_options.session.controller.kind->vendor).c_str(),
		      log.get());
	if (what.what == happened::patch && !m_options.patch_out.empty())
		write_patch(what.packet);
	if (what.what == happened::air) {
		const std::string text = m_air_log.change(what.air, m_timeline, what.at);
		m_timeline.change(what.air, what.at);
		if (!m_options.quiet)
			fputs(text.c_str(), stdout);
	}
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
	prctl(PR_SET_TIMERSLACK, 1); /* a byte takes less than the usual slack */
	m_signals = open_signals();
	if (m_signals < 0)
		return std::string("cannot watch for signals: ") + strerror(errno);
	for (const std::string &name : m_options.logs) {
		m_logs.emplace_back(fopen(name.c_str(), "w"));
		if (!m_logs.back())
			return "cannot write " + name + ": " + strerror(errno);
		setvbuf(m_logs.back().get(), nullptr, _IOLBF, 0);
	}
	const std::string problem = m_line.open(m_options.link);
	if (!problem.empty())
		return problem;
	m_start = std::chrono::steady_clock::now();
	printf("vorlin-sim: %s on %s", m_options.session.controller.kind->name,
	       m_line.port().c_str());
	if (!m_options.link.empty())
		printf(", linked as %s", m_options.link.c_str());
	printf("\n");
	return "";
}

/* A host with RTS/CTS is made to wait by leaving its bytes in the pty. */
void simulator::take_from_host()
{
	const size_t room = m_line.has_flow_control() ? m_session.room() : READ_AT_ONCE;

	if (room == 0 || !m_unsent.empty())
		return;
	const bytes data = m_line.read(std::min(room, READ_AT_ONCE));
	if (!data.empty())
		m_session.receive(data, now());
}

void simulator::give_to_host()
{
	const bytes sent = m_session.advance(now());

	append(m_unsent, sent);
	if (!m_unsent.empty())
		m_line.write(m_unsent);
}

moment simulator::wait_until() const
{
	moment until = now() + LONGEST_WAIT;

	if (m_options.run_time.count() > 0)
		until = std::min(until, m_options.run_time);
	for (const auto &other : { m_session.next(), m_air_log.next() })
		if (other)
			until = std::min(until, *other);
	return until;
}

/* Sleeps until something is to be done; false when it is time to end. */
bool simulator::wait()
{
	const bool can_take = m_unsent.empty() && m_session.room() > 0;
	pollfd watched[] = {
		{ m_signals, POLLIN, 0 },
		{ m_line.descriptor(), 0, 0 },
	};
	watched[1].events =
		static_cast<short>((can_take ? POLLIN : 0) | (m_unsent.empty() ? 0 : POLLOUT));
	const moment left = std::max(wait_until() - now(), moment{});
	const timespec timeout = { left.count() / 1'000'000'000, left.count() % 1'000'000'000 };

	ppoll(watched, std::size(watched), &timeout, nullptr);
	if (watched[0].revents != 0)
		return false;
	return m_options.run_time.count() == 0 || now() < m_options.run_time;
}

void simulator::run()
{
	while (wait()) {
		take_from_host();
		give_to_host();
		if (!m_options.quiet)
			fputs(m_air_log.summary(m_timeline, now()).c_str(), stdout);
	}
	m_line.close();
}

} // namespace sim
