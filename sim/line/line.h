// SPDX-License-Identifier: Apache-2.0
/* The pty that acts as the serial port, and the link to it for the host. */
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

	/* Opens a pty and makes the link, if one is given; returns a fault or an empty text. */
	std::string open(const std::string &link);

	/* Removes the port: a host that has it open gets a hang-up. */
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

	/* Up to `most` bytes from the host; empty if there are none now. */
	bytes read(size_t most) const;

	/* Sends as much of `data` as the port takes, and removes that from its front. */
	void write(bytes &data) const;

	/* Whether the host has enabled RTS/CTS on its port. */
	bool has_flow_control() const;

      private:
	std::string make_link();

	int m_host_side = -1; /* the pty's master: the simulator's end of the host's cable */
	int m_port_side = -1; /* kept open, so that the pty survives a host that closes it */
	std::string m_port;
	std::string m_link;
};

} // namespace sim
