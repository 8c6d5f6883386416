// SPDX-License-Identifier: Apache-2.0
/* The output of a run: the display and the files. */
#include "sim/program/records.h"

#include "sim/output/json.h"
#include "sim/output/live_view.h"
#include "sim/output/svg_report.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace sim
{

constexpr moment VIEW_EVERY = std::chrono::milliseconds(200);

/* A variable of the environment, or "". */
static std::string_view environment(const char *name)
{
	const char *value = getenv(name);

	return value ? value : "";
}

static bool can_move_pictures()
{
	const std::string_view terminal = environment("TERM");

	return isatty(STDOUT_FILENO) == 1 && !terminal.empty() && terminal != "dumb";
}

/* By the locale's name only: the locale itself may not be installed. */
static letters terminal_letters()
{
	for (const char *name : { "LC_ALL", "LC_CTYPE", "LANG" }) {
		std::string locale(environment(name));
		if (locale.empty())
			continue;
		std::ranges::transform(locale, locale.begin(), tolower);
		return locale.find("utf") != std::string::npos ? letters::utf8 : letters::ascii;
	}
	return letters::ascii;
}

records::records(const options &settings)
    : m_options(settings), m_is_terminal(settings.live_size.columns > 0 || can_move_pictures()),
      m_colours(m_is_terminal && environment("NO_COLOR").empty() ? colours::terminal
								 : colours::none),
      m_letters(terminal_letters()), m_air_log(settings.summary_every)
{
}

/* Tries at the start whether a file can be written at the end, without a change of it. */
static bool is_writable(const std::string &path)
{
	const int made = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);

	if (made >= 0) {
		::close(made);
		return unlink(path.c_str()) == 0;
	}
	if (errno != EEXIST)
		return false;
	const int there = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
	if (there >= 0)
		::close(there);
	return there >= 0;
}

std::string records::open()
{
	for (const std::string &name : m_options.logs) {
		m_logs.emplace_back(fopen(name.c_str(), "w"));
		if (!m_logs.back())
			return "cannot write " + name + ": " + strerror(errno);
		setvbuf(m_logs.back().get(), nullptr, _IOLBF, 0);
	}
	for (const std::string *path : { &m_options.report, &m_options.patch_out })
		if (!path->empty() && !is_writable(*path))
			return "cannot write " + *path + ": " + strerror(errno);
	if (m_options.capture.empty())
		return "";
	return m_capture.open(m_options.capture, m_options.capture_most);
}

/* A run goes on without a record that cannot be written, but then fails. */
void records::complain(const std::string &problem)
{
	if (std::ranges::find(m_problems, problem) != m_problems.end())
		return;
	m_problems.push_back(problem);
	fprintf(stderr, "vorlin-sim: %s\n", problem.c_str());
}

void records::check_output()
{
	if (ferror(stdout)) {
		complain(std::string("cannot write the standard output: ") + strerror(errno));
		clearerr(stdout);
	}
}

void records::begin(const std::string &title)
{
	m_title = title;
	m_start = std::chrono::system_clock::now();
	const std::string line = m_options.shown == view::json
					 ? json_start(title, m_options.session.seed)
					 : title + "\n";
	fputs(line.c_str(), stdout);
	check_output();
}

/* The live view needs a terminal; otherwise there are lines, and one picture at the end.
 */
bool records::shows_changes() const
{
	return m_options.shown == view::changes ||
	       (m_options.shown == view::live && !m_is_terminal);
}

static bool write_whole(const std::string &path, byte_view data)
{
	FILE *const out = fopen(path.c_str(), "wb");

	if (!out)
		return false;
	const bool is_written = fwrite(data.data(), 1, data.size(), out) == data.size();
	return fclose(out) == 0 && is_written;
}

void records::write_patch(const bytes &patch)
{
	if (!write_whole(m_options.patch_out, patch))
		complain("cannot write " + m_options.patch_out + ": " + strerror(errno));
}

void records::show_change(const record &what)
{
	const std::string text = m_air_log.change(what.air, m_timeline, what.at);

	m_timeline.change(what.air, what.at);
	if (shows_changes())
		fputs(text.c_str(), stdout);
}

void records::note(const record &what)
{
	const bool is_packet = what.what == happened::command || what.what == happened::event;
	const auto way = what.what == happened::command ? capture::direction::from_host
							: capture::direction::to_host;

	if (!m_logs.empty() || m_options.shown == view::json) {
		const std::string line = json_line(what, m_options.session.controller.kind->vendor);
		for (size_t i = 0; i < m_logs.size(); i++)
			if (fputs(line.c_str(), m_logs[i].get()) < 0)
				complain("cannot write " + m_options.logs[i] + ": " +
					 strerror(errno));
		if (m_options.shown == view::json)
			fputs(line.c_str(), stdout);
	}
	if (is_packet)
		m_capture.add(
			what.packet, way,
			m_start + std::chrono::duration_cast<std::chrono::microseconds>(what.at));
	if (what.what == happened::patch && !m_options.patch_out.empty())
		write_patch(what.packet);
	if (what.what == happened::air)
		show_change(what);
	if (what.what == happened::fault && shows_changes())
		printf("%sfault   %s\n", time_text(what.at).c_str(), what.text.c_str());
	check_output();
}

void records::draw(moment now)
{
	struct winsize size = {};
	view_size view;

	if (m_options.live_size.columns > 0)
		view = m_options.live_size;
	else if (m_is_terminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
		view = { size.ws_col, size.ws_row };
	std::string picture = draw_view(m_title, m_timeline, now, view, m_colours, m_letters);
	std::string frame;

	if (m_is_terminal)
		picture.pop_back(); /* after the terminal's last line it would scroll */
	/* Each line clears the rest of its line: a cleared screen would flicker. */
	for (const char letter : picture)
		frame += m_is_terminal && letter == '\n' ? "\033[K\n" : std::string(1, letter);
	if (m_is_terminal)
		frame = "\033[H" + frame + "\033[J";
	fputs(frame.c_str(), stdout);
	fflush(stdout);
	check_output();
}

void records::tick(moment now)
{
	m_capture.flush();
	if (!m_capture.problem().empty())
		complain(m_capture.problem());
	if (shows_changes())
		fputs(m_air_log.summary(m_timeline, now).c_str(), stdout);
	if (m_options.shown != view::live || !m_is_terminal || now < m_next_view)
		return;
	if (m_next_view.count() == 0)
		fputs("\033[2J", stdout);
	m_next_view = now + VIEW_EVERY;
	draw(now);
}

std::optional<moment> records::next() const
{
	if (shows_changes())
		return m_air_log.next();
	return m_options.shown == view::live ? std::optional(m_next_view) : std::nullopt;
}

void records::write_report(moment now)
{
	const std::string picture = svg_report(m_title, m_timeline, now);
	const auto *const data = reinterpret_cast<const uint8_t *>(picture.data());

	if (!write_whole(m_options.report, { data, picture.size() }))
		complain("cannot write " + m_options.report + ": " + strerror(errno));
}

bool records::finish(moment now)
{
	m_capture.flush();
	if (!m_capture.problem().empty())
		complain(m_capture.problem());
	if (m_options.shown == view::live)
		draw(now);
	if (!m_options.report.empty())
		write_report(now);
	fflush(stdout);
	check_output();
	return m_problems.empty();
}

} // namespace sim
