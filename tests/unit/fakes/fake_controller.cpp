// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_controller.h"

#include "hci/serial.h"
#include "tests/far_end.h"

#include <cstdlib>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

static int far_end = -1;

void fake_plug()
{
	int ends[2];

	if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
		abort();
	ble_fd = ends[0];
	far_end = ends[1];
}

void fake_answers(const std::string &hex)
{
	const std::string bytes = bytes_of(hex);

	if (write(far_end, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
		abort();
}

void fake_hang_up()
{
	close(far_end);
	far_end = -1;
}

std::string fake_heard()
{
	std::string heard;
	char byte;

	while (far_end >= 0 && recv(far_end, &byte, 1, MSG_DONTWAIT) == 1)
		heard += byte;
	return hex_of(heard);
}

size_t fake_unread()
{
	int count = 0;

	ioctl(ble_fd, FIONREAD, &count);
	return static_cast<size_t>(count);
}

void fake_unplug()
{
	if (ble_fd > 0)
		close(ble_fd);
	if (far_end >= 0)
		close(far_end);
	ble_fd = -1;
	far_end = -1;
}
