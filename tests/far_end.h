// SPDX-License-Identifier: Apache-2.0
/* The controller's end of a serial line, and packets as text. */
#pragma once

#include <functional>
#include <string>
#include <thread>

/* "01 03 0C 00", in upper case. */
std::string hex_of(const std::string &bytes);

/* The bytes of such a text; '|' only separates. */
std::string bytes_of(const std::string &hex);

/* A pty, with a thread that passes each whole command to a function. */
class FarEnd
{
      public:
	explicit FarEnd(std::function<void(const std::string &packet)> take);
	~FarEnd();
	FarEnd(const FarEnd &) = delete;

	/* The path that the daemon opens. */
	std::string path() const;

	void send(const std::string &bytes) const;

      private:
	void serve();

	const std::function<void(const std::string &)> take;
	int master = -1;
	int slave = -1; /* kept open: the line stays when the daemon closes it */
	int wake[2] = { -1, -1 };
	std::thread thread;
};
