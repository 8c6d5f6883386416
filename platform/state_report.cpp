// SPDX-License-Identifier: Apache-2.0
/* Stand-in for libinfo_transfer.so: state reports go to a listener on a Unix stream socket. */
#include "platform/device_libs.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int init_domain_socket(void)
{
	const sockaddr_un address = { AF_UNIX, "/run/vorlind/ac.sock" };
	/* Non-blocking: a listener that no longer accepts must not stop the daemon. */
	const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);

	if (fd < 0)
		return -1;
	if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
		close(fd);
		return -1;
	}
	return fd;
}

int send_wtp_state_chg(int fd)
{
	static const char line[] = "state-change\n";
	const size_t length = sizeof(line) - 1;

	/* No signal: a listener that has gone must not end the daemon. */
	return send(fd, line, length, MSG_NOSIGNAL) == static_cast<ssize_t>(length) ? 0 : -1;
}
