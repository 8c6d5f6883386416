// SPDX-License-Identifier: Apache-2.0
/* The commands of a soak run for the daemon, its output, and the time it takes. */
#include "tests/soak/world.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using std::chrono::steady_clock;
using namespace std::chrono_literals;

/* How long a line with faults may block the daemon before the run ends the block. */
constexpr std::chrono::milliseconds WITHIN_EVENT = 120ms;
constexpr std::chrono::milliseconds SILENCE = 500ms;
constexpr std::chrono::milliseconds ANY_WAIT = 15s; /* two silent exchanges, and a patch */

/* Whether the line blocks the daemon: it has been in the same wait for too long. */
static bool is_block(pursuit what, steady_clock::duration lasted)
{
	if (what == pursuit::within_event)
		return lasted > WITHIN_EVENT;
	if (what == pursuit::awaiting_event)
		return lasted > SILENCE;
	return false;
}

/*
 * Wait until the condition is true; false when the line blocks the daemon. A clean line never
 * does, however long a busy machine takes.
 */
bool world::wait_for(const std::function<bool()> &condition)
{
	if (m_is_clean) {
		bool holds = false;
		comes_true([&] {
			holds = condition();
			return holds || has_ended(daemon.pid);
		});
		return holds;
	}

	const auto start = steady_clock::now();
	auto since = start;
	uint64_t before = 0;

	while (!condition()) {
		const auto now = steady_clock::now();
		const pursuit what = pursuit_of(daemon.pid);
		const uint64_t waits = waits_of(daemon.pid);
		if (waits != before)
			since = now;
		before = waits;
		if (is_block(what, now - since) || now - start > ANY_WAIT || has_ended(daemon.pid))
			return false;
		usleep(1000);
	}
	return true;
}

size_t world::printed_size() const
{
	struct stat file = {};

	stat(daemon.err.c_str(), &file);
	return static_cast<size_t>(file.st_size);
}

std::string world::printed_from(size_t offset) const
{
	std::string text(printed_size() - offset, '\0');
	const int fd = ::open(daemon.err.c_str(), O_RDONLY | O_CLOEXEC);
	const ssize_t length = pread(fd, text.data(), text.size(), static_cast<off_t>(offset));

	::close(fd);
	text.resize(length > 0 ? static_cast<size_t>(length) : 0);
	return text;
}

bool world::lock()
{
	return wait_for([] { return try_lock(); });
}

void world::put_words(const std::vector<std::string> &words)
{
	const auto argc = static_cast<int32_t>(words.size());

	m_guard.put(const_cast<int32_t *>(&segment->cmd.argc), &argc, sizeof(argc));
	for (size_t i = 0; i < words.size() && i < BLE_WORDS; i++)
		m_guard.put_text(segment->cmd.argv[i], BLE_WORD_SIZE,
				 words[i].substr(0, BLE_WORD_SIZE - 1));
}

bool world::post(const std::vector<std::string> &words)
{
	if (!lock())
		return false;
	put_words(words);
	segment->cmd_doing = 1;
	unlock();
	signal_daemon(SIGUSR1);
	counted.commands["written into the segment"]++;
	return true;
}

bool world::ask(const std::vector<std::string> &words, const std::function<bool()> &is_done)
{
	/* The end of an earlier round may clear cmd_doing: that alone is not enough. */
	return post(words) && wait_for([&] {
		       return segment->cmd_doing == 0 && lock_value() == 1 &&
			      lock_user() == daemon.pid && is_done();
	       });
}

bool world::ask(const std::vector<std::string> &words, const std::string &expected)
{
	const size_t from = printed_size();

	return ask(words, [&] { return printed_from(from).find(expected) != std::string::npos; });
}

std::string world::last_words() const
{
	const size_t size = printed_size();

	return printed_from(size > 3000 ? size - 3000 : 0);
}

std::string world::state() const
{
	char text[160];

	if (!segment)
		return "no segment";
	snprintf(text, sizeof(text), "status %u, action %u, cmd_doing %u, lock %d, daemon %d %s",
		 segment->config.opt.status, segment->config.opt.action, segment->cmd_doing,
		 lock_value(), daemon.pid, pursuit_name(pursuit_of(daemon.pid)));
	return text;
}
