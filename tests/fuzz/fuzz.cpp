// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

static bool line_is_open; /* the last character for stderr was no newline */

void must(bool holds, const char *promise)
{
	if (holds)
		return;
	dprintf(STDERR_FILENO, "\nbroken promise: %s\n", promise);
	abort();
}

uint8_t input::byte()
{
	const byte_span one = take(1);

	return one.empty() ? uint8_t{ 0 } : one[0];
}

uint16_t input::word()
{
	const uint8_t low = byte();

	return static_cast<uint16_t>(low | byte() << 8);
}

byte_span input::take(size_t most)
{
	const byte_span taken = m_left.first(std::min(most, m_left.size()));

	m_left = m_left.subspan(taken.size());
	return taken;
}

static ssize_t no_output(void *, const char *, size_t size)
{
	must(size == 0, "nothing is written to stdout");
	return 0;
}

static ssize_t printable_output(void *, const char *text, size_t size)
{
	for (size_t i = 0; i < size; i++)
		must(text[i] == '\n' || (text[i] >= ' ' && text[i] <= '~'),
		     "only printable characters go to stderr");
	line_is_open = size > 0 && text[size - 1] != '\n';
	return static_cast<ssize_t>(size);
}

void check_streams()
{
	fflush(stdout);
	fflush(stderr);
	must(!line_is_open, "what goes to stderr ends with a newline");
}

/*
 * Redirects the streams of the tested code only: libFuzzer and the sanitizers have opened the
 * terminal before this. Buffered, to save a system call for each message.
 */
extern "C" int LLVMFuzzerInitialize(int *, char ***);
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
	static char buffer[1 << 16];

	stdout = fopencookie(nullptr, "w", { nullptr, no_output, nullptr, nullptr });
	stderr = fopencookie(nullptr, "w", { nullptr, printable_output, nullptr, nullptr });
	setvbuf(stderr, buffer, _IOFBF, sizeof(buffer));
	return 0;
}
