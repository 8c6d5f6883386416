// SPDX-License-Identifier: Apache-2.0
/* What every fuzz program needs: an input cut into pieces, and the end at a broken promise. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

using byte_span = std::span<const uint8_t>;

/* One execution; each program defines its own, and both libFuzzer and the replay call it. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

/* Abort with the promise that was broken, if it was. */
void must(bool holds, const char *promise);

/*
 * What the code has written to the standard streams since the last call is looked at: nothing
 * may have gone to stdout, and only whole lines of printable characters to stderr.
 */
void check_streams();

/* An input from its front to its end; behind the end it is all zeros. */
class input
{
      public:
	input(const uint8_t *data, size_t size) : m_left(data, size) {}
	explicit input(byte_span data) : m_left(data) {}

	uint8_t byte();
	uint16_t word();
	byte_span take(size_t most);
	byte_span rest()
	{
		return take(m_left.size());
	}
	bool empty() const
	{
		return m_left.empty();
	}

      private:
	byte_span m_left;
};
