// SPDX-License-Identifier: Apache-2.0
/* A host at a simulator's port: it writes commands and reads events. */
#pragma once

#include "tests/system/sim_stage.h"

#include <algorithm>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

/* The host's end of the serial line. */
class host
{
      public:
	explicit host(const std::string &path)
	{
		EXPECT_TRUE(comes_true([&] {
			m_port = open(path.c_str(), O_RDWR | O_NOCTTY);
			return m_port >= 0;
		}));
	}
	~host()
	{
		close(m_port);
	}
	host(const host &) = delete;
	host &operator=(const host &) = delete;

	void use_flow_control()
	{
		struct termios settings;

		EXPECT_EQ(tcgetattr(m_port, &settings), 0);
		settings.c_cflag |= CRTSCTS;
		EXPECT_EQ(tcsetattr(m_port, TCSANOW, &settings), 0);
	}

	/* Sends a command and reads `length` bytes of its answer. */
	std::string say(const std::string &command, size_t length)
	{
		std::string answer;
		pollfd watched = { m_port, POLLIN, 0 };

		EXPECT_EQ(write(m_port, command.data(), command.size()),
			  static_cast<ssize_t>(command.size()));
		while (answer.size() < length && poll(&watched, 1, PATIENCE_MS) == 1) {
			char data[256];
			const ssize_t count =
				read(m_port, data, std::min(sizeof(data), length - answer.size()));
			if (count <= 0)
				break;
			answer.append(data, static_cast<size_t>(count));
		}
		return answer;
	}

	/* The next whole event, "04 0E 04 ..."; empty when none comes. */
	std::string next_event()
	{
		std::string event = say("", 3);
		if (event.size() < 3)
			return "";
		return in_hex(event + say("", static_cast<uint8_t>(event[2])));
	}

	/* Sends a command in hexadecimal; returns the next event. */
	std::string ask(const std::string &command)
	{
		EXPECT_EQ(say(from_hex(command), 0), "");
		return next_event();
	}

	static std::string in_hex(const std::string &data)
	{
		std::string text;
		for (const char byte : data) {
			char digits[4];
			snprintf(digits, sizeof(digits), "%s%02X", text.empty() ? "" : " ",
				 static_cast<uint8_t>(byte));
			text += digits;
		}
		return text;
	}

	static std::string from_hex(const std::string &text)
	{
		std::string data;
		for (size_t i = 0; i + 1 < text.size(); i += 3)
			data += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
		return data;
	}

      private:
	int m_port = -1;
};

/* Downloads a complete patch to a Qualcomm controller in one segment, and starts it with a reset.
 */
inline void load_patch(host &peer)
{
	EXPECT_EQ(peer.ask("01 00 FC 1E 1E 1C 02 18 00 00 18 00 00 00 00 00 00 00 00 00 00 00 00 "
			   "00 00 00 00 00 00 00 00 00 00 00"),
		  "04 0E 05 01 00 FC 00 1E");
	EXPECT_EQ(peer.ask("01 03 0C 00"), "04 0E 04 01 03 0C 00");
}
