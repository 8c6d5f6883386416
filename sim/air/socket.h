// SPDX-License-Identifier: Apache-2.0
/* Unix stream sockets that carry lines of text: the control socket and the shared air. */
#pragma once

#include <string>
#include <vector>

namespace sim
{

/* A socket that ends with its owner. */
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

	/* The whole lines that are there, without their ends; closes at the end of the stream. */
	std::vector<std::string> read_lines();

	/* False when the other end takes nothing any more. */
	bool write(const std::string &text);

      private:
	int m_descriptor = -1;
	std::string m_partial;
};

/* Waits at `path`; a stale socket there, without a listener, is replaced. */
std::string listen_at(const std::string &path, text_socket &result);

/* The other end at `path`; what is wrong, or nothing. */
std::string connect_to(const std::string &path, text_socket &result);

/* Somebody who wants in at a listening socket; not open: there is nobody. */
text_socket accept_from(const text_socket &listener);

} // namespace sim
