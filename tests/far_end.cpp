// SPDX-License-Identifier: Apache-2.0
#include "tests/far_end.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <termios.h>
#include <unistd.h>
#include <utility>

std::string hex_of(const std::string &bytes)
{
	std::string hex;
	char text[4];

	for (const char byte : bytes) {
		snprintf(text, sizeof(text), "%02X ", static_cast<uint8_t>(byte));
		hex += text;
	}
	if (!hex.empty())
		hex.pop_back();
	return hex;
}

std::string bytes_of(const std::string &hex)
{
	std::string bytes;

	for (size_t i = 0; i < hex.size();) {
		if (hex[i] == ' ' || hex[i] == '|') {
			i++;
			continue;
		}
		bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
		i += 2;
	}
	return bytes;
}

FarEnd::FarEnd(std::function<void(const std::string &packet)> taker) : take(std::move(taker))
{
	master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
	if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
	    pipe2(wake, O_CLOEXEC) != 0)
		throw std::runtime_error("no pty");
	/* not open(): some tests replace it */
	slave = openat(AT_FDCWD, path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
	termios raw;
	tcgetattr(slave, &raw);
	cfmakeraw(&raw);
	tcsetattr(slave, TCSANOW, &raw);
	thread = std::thread([this] { serve(); });
}

FarEnd::~FarEnd()
{
	close(wake[1]);
	thread.join();
	close(wake[0]);
	close(slave);
	close(master);
}

std::string FarEnd::path() const
{
	return ptsname(master);
}

void FarEnd::send(const std::string &bytes) const
{
	if (write(master, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
		abort();
}

void FarEnd::serve()
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
		while (stream.size() >= 4) {
			const size_t whole = size_t{ 4 } + static_cast<uint8_t>(stream[3]);
			if (stream.size() < whole)
				break;
			take(stream.substr(0, whole));
			stream.erase(0, whole);
		}
	}
}
