// SPDX-License-Identifier: Apache-2.0
/* Unix stream sockets that carry lines of text: the control socket and the shared air. */
#pragma once

#include <string>
#include <vector>

namespace sim
{

/* Closes its socket at the end of its lifetime. */
class text_socket
{
      public:
	text_socket() = default;
	explicit text_socket(int descriptor) : m_descriptor(descriptor) {}
	text_socket(text_socket &&other) noexcept;
	text_socket &operator=(text_socket &&other) noexcept;
	~text_socket();

	int descriptor() const
	{
		return m_descriptor;
	}
	bool is_open() const
	{
		return m_descriptor >= 0;
	}
	void close();

	/* The whole lines received, without line ends; closes at the end of the stream. */
	std::vector<std::string> read_lines();

	/* False when the other end no longer reads. */
	bool write(const std::string &text);

      private:
	int m_descriptor = -1;
	std::string m_partial;
};

/* Listens at `path`; replaces a stale socket without a listener. */
std::string listen_at(const std::string &path, text_socket &result);

/* Connects to `path`; returns a fault or an empty text. */
std::string connect_to(const std::string &path, text_socket &result);

/* Accepts a connection; not open if there is none. */
text_socket accept_from(const text_socket &listener);

} // namespace sim
