// SPDX-License-Identifier: Apache-2.0
/* Shared by all fuzz programs: splits the input, and aborts when a promise is broken. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

using byte_span = std::span<const uint8_t>;

/* One execution. Each program defines it; libFuzzer and the replay call it. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

/* Abort and print the promise if it does not hold. */
void must(bool holds, const char *promise);

/*
 * Check what the code has written since the last call: nothing to stdout, and only whole lines
 * of printable characters to stderr.
 */
void check_streams();

/* Reads an input from its beginning; after its end come zeros. */
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
