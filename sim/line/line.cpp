// SPDX-License-Identifier: Apache-2.0
/* The pty that acts as the serial port, and the link to it for the host. */
#include "sim/line/line.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace sim
{

/* The target of a link; empty if it is no link. */
static std::string link_target(const std::string &path)
{
	char target[PATH_MAX];
	const ssize_t length = readlink(path.c_str(), target, sizeof(target));

	return length < 0 ? "" : std::string(target, static_cast<size_t>(length));
}

/* A killed simulator leaves its link to a pty that no longer exists. */
static std::string clear_old_link(const std::string &path)
{
	struct stat status;

	if (lstat(path.c_str(), &status) != 0)
		return "";
	const std::string target = link_target(path);
	if (!target.starts_with("/dev/pts/"))
		return path + " exists and is not a link of a simulator; it is left alone";
	if (stat(target.c_str(), &status) == 0)
		return path + " exists and leads to " + target + ", which is in use";
	if (unlink(path.c_str()) != 0)
		return "cannot remove the old link " + path + ": " + strerror(errno);
	return "";
}

static bool set_raw(int fd)
{
	struct termios settings;

	if (tcgetattr(fd, &settings) != 0)
		return false;
	cfmakeraw(&settings);
	return tcsetattr(fd, TCSANOW, &settings) == 0;
}

std::string line::make_link()
{
	if (m_link.empty())
		return "";
	if (symlink(m_port.c_str(), m_link.c_str()) != 0) {
		const std::string path = std::exchange(m_link, "");
		return "cannot make the link " + path + ": " + strerror(errno);
	}
	return "";
}

std::string line::open(const std::string &link)
{
	char port[64];

	/* Before the pty exists: it may get the number that the old link has. */
	std::string problem = link.empty() ? "" : clear_old_link(link);
	if (!problem.empty())
		return problem;
	m_host_side = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
	if (m_host_side < 0 || grantpt(m_host_side) != 0 || unlockpt(m_host_side) != 0 ||
	    ptsname_r(m_host_side, port, sizeof(port)) != 0)
		return std::string("cannot open a pty: ") + strerror(errno);
	m_port = port;
	m_port_side = ::open(port, O_RDWR | O_NOCTTY | O_CLOEXEC);
	if (m_port_side < 0 || !set_raw(m_port_side))
		return "cannot set up " + m_port + ": " + strerror(errno);
	m_link = link;
	return make_link();
}

void line::close()
{
	if (!m_link.empty() && link_target(m_link) == m_port)
		unlink(m_link.c_str());
	m_link.clear();
	if (m_port_side >= 0)
		::close(m_port_side);
	if (m_host_side >= 0)
		::close(m_host_side);
	m_port_side = m_host_side = -1;
}

bytes line::read(size_t most) const
{
	bytes data(most);
	const ssize_t count = ::read(m_host_side, data.data(), data.size());

	data.resize(count > 0 ? static_cast<size_t>(count) : 0);
	return data;
}

void line::write(bytes &data) const
{
	const ssize_t count = ::write(m_host_side, data.data(), data.size());

	if (count > 0)
		data.erase(data.begin(), data.begin() + count);
}

bool line::has_flow_control() const
{
	struct termios settings;

	return tcgetattr(m_port_side, &settings) == 0 && settings.c_cflag & CRTSCTS;
}

} // namespace sim
