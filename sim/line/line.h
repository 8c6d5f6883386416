// SPDX-License-Identifier: Apache-2.0
/* The pty that stands for the serial port, and the link under which the host finds it. */
#pragma once

#include "sim/controller/bytes.h"

namespace sim
{

class line
{
      public:
	line() = default;
	~line()
	{
		close();
	}
	line(const line &) = delete;
	line &operator=(const line &) = delete;

	/* Opens a pty and makes the link; what is wrong, or nothing. An empty link: none. */
	std::string open(const std::string &link);

	/* Takes the port away: whoever has it open finds it hung up. */
	void close();

	bool is_open() const
	{
		return m_host_side >= 0;
	}
	int descriptor() const
	{
		return m_host_side;
	}
	const std::string &port() const
	{
		return m_port;
	}

	/* Up to `most` bytes of the host; empty: there are none now. */
	bytes read(size_t most) const;

	/* Sends what the port takes of `data` and drops that from its front. */
	void write(bytes &data) const;

	/* Has the host asked its port for RTS/CTS? */
	bool has_flow_control() const;

      private:
	std::string make_link();

	int m_host_side = -1; /* the pty's master: the other end of the host's cable */
	int m_port_side = -1; /* kept open so that a host that closes the port ends nothing */
	std::string m_port;
	std::string m_link;
};

} // namespace sim
