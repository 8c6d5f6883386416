// SPDX-License-Identifier: Apache-2.0
/* Unix stream sockets that carry lines of text: the control socket and the shared air. */
#include "sim/air/socket.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace sim
{

constexpr size_t LONGEST_LINE = 65536;
constexpr int WAITING_CONNECTIONS = 8;

text_socket::text_socket(text_socket &&other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_partial(std::move(other.m_partial))
{
}

text_socket &text_socket::operator=(text_socket &&other) noexcept
{
	std::swap(m_descriptor, other.m_descriptor);
	std::swap(m_partial, other.m_partial);
	return *this;
}

text_socket::~text_socket()
{
	close();
}

void text_socket::close()
{
	if (m_descriptor >= 0)
		::close(m_descriptor);
	m_descriptor = -1;
}

std::vector<std::string> text_socket::read_lines()
{
	std::vector<std::string> lines;
	char data[4096];
	const ssize_t count = recv(m_descriptor, data, sizeof(data), MSG_DONTWAIT);

	if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
		close();
	if (count > 0)
		m_partial.append(data, static_cast<size_t>(count));
	for (size_t end; (end = m_partial.find('\n')) != std::string::npos;) {
		lines.push_back(m_partial.substr(0, end));
		m_partial.erase(0, end + 1);
	}
	if (m_partial.size() > LONGEST_LINE)
		close();
	return lines;
}

bool text_socket::write(const std::string &text)
{
	const ssize_t count =
		send(m_descriptor, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);

	if (count == static_cast<ssize_t>(text.size()))
		return true;
	close(); /* the other end does not read: give it up */
	return false;
}

static std::string address_of(const std::string &path, sockaddr_un &address)
{
	address = {};
	address.sun_family = AF_UNIX;
	if (path.size() >= sizeof(address.sun_path))
		return "the path " + path + " is too long for a socket";
	memcpy(address.sun_path, path.c_str(), path.size() + 1);
	return "";
}

std::string connect_to(const std::string &path, text_socket &result)
{
	sockaddr_un address;
	std::string problem = address_of(path, address);

	if (!problem.empty())
		return problem;
	result = text_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
	if (connect(result.descriptor(), reinterpret_cast<sockaddr *>(&address), sizeof(address)) !=
	    0) {
		const std::string reason = strerror(errno);
		result.close();
		return "cannot reach " + path + ": " + reason;
	}
	return "";
}

/* Removes a socket without a listener, and nothing else. */
static std::string clear_old_socket(const std::string &path)
{
	struct stat status;

	if (lstat(path.c_str(), &status) != 0)
		return "";
	if (!S_ISSOCK(status.st_mode))
		return path + " exists and is no socket; it is left alone";
	if (unlink(path.c_str()) != 0)
		return "cannot remove the old socket " + path + ": " + strerror(errno);
	return "";
}

std::string listen_at(const std::string &path, text_socket &result)
{
	sockaddr_un address;
	text_socket other;
	std::string problem = address_of(path, address);

	if (!problem.empty())
		return problem;
	if (connect_to(path, other).empty())
		return path + " is in use";
	problem = clear_old_socket(path);
	if (!problem.empty())
		return problem;
	result = text_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
	if (bind(result.descriptor(), reinterpret_cast<sockaddr *>(&address), sizeof(address)) !=
		    0 ||
	    listen(result.descriptor(), WAITING_CONNECTIONS) != 0) {
		const std::string reason = strerror(errno);
		result.close();
		return "cannot wait at " + path + ": " + reason;
	}
	return "";
}

text_socket accept_from(const text_socket &listener)
{
	return text_socket(accept4(listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
}

} // namespace sim
