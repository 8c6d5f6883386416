// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_pty_controller.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

PtyController::PtyController(std::map<std::string, std::string> table) : answers(std::move(table))
{
	master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
	if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
	    pipe2(wake, O_CLOEXEC) != 0)
		abort();
	path = ptsname(master);
	slave = openat(AT_FDCWD, path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
	termios raw;
	tcgetattr(slave, &raw);
	cfmakeraw(&raw);
	tcsetattr(slave, TCSANOW, &raw);
	thread = std::thread([this] { serve(); });
}

PtyController::~PtyController()
{
	close(wake[1]);
	thread.join();
	close(wake[0]);
	close(slave);
	close(master);
}

std::vector<std::string> PtyController::heard()
{
	const std::lock_guard lock(mutex);
	return commands;
}

void PtyController::answer(const std::string &packet)
{
	std::string hex;
	for (const char byte : packet) {
		char text[4];
		snprintf(text, sizeof(text), "%02X ", static_cast<uint8_t>(byte));
		hex += text;
	}
	hex.pop_back();

	const std::lock_guard lock(mutex);
	commands.push_back(hex);
	for (const auto &[command, events] : answers) {
		if (!hex.starts_with(command))
			continue;
		std::string bytes;
		for (size_t i = 0; i < events.size(); i += 3)
			bytes.push_back(
				static_cast<char>(std::stoi(events.substr(i, 2), nullptr, 16)));
		if (write(master, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
			abort();
	}
}

void PtyController::serve()
{
	std::string stream;
	char buffer[512];

	for (;;) {
		pollfd ends[] = { { master, POLLIN, 0 }, { wake[0], POLLIN, 0 } };
		poll(ends, 2, -1);
		if (ends[1].revents != 0)
			return;
		const ssize_t n = read(master, buffer, sizeof(buffer));
		if (n <= 0)
			continue;
		stream.append(buffer, static_cast<size_t>(n));
		while (stream.size() >= 4 &&
		       stream.size() >= size_t{ 4 } + static_cast<uint8_t>(stream[3])) {
			const size_t whole = size_t{ 4 } + static_cast<uint8_t>(stream[3]);
			answer(stream.substr(0, whole));
			stream.erase(0, whole);
		}
	}
}
