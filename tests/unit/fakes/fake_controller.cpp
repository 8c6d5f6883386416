// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_controller.h"

#include "hci/serial.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

static int far_end = -1;

static std::vector<uint8_t> bytes_of(const std::string &hex)
{
	std::vector<uint8_t> bytes;

	for (size_t i = 0; i < hex.size();) {
		if (hex[i] == ' ' || hex[i] == '|') {
			i++;
			continue;
		}
		bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
		i += 2;
	}
	return bytes;
}

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
	const std::vector<uint8_t> bytes = bytes_of(hex);

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
	uint8_t byte;

	while (far_end >= 0 && recv(far_end, &byte, 1, MSG_DONTWAIT) == 1) {
		char text[4];
		snprintf(text, sizeof(text), "%02X", byte);
		heard += (heard.empty() ? "" : " ") + std::string(text);
	}
	return heard;
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
