// SPDX-License-Identifier: Apache-2.0
#include "util/text.h"

#include "daemon/trace.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

const char *copy_field(char *text, const char *field, size_t width)
{
	size_t i = 0;

	for (; i < width; i++) {
		text[i] = field[i];
		if (text[i] == '\0') /* checked in the copy: the field may change meanwhile */
			return text;
	}
	text[i] = '\0';
	return text;
}

void set_field(char *field, size_t width, const char *text)
{
	const size_t length = strnlen(text, width - 1);

	memcpy(field, text, length);
	memset(field + length, 0, width - length);
}

int32_t is_decimal_text(const char *text)
{
	for (const char *c = text; *c != '\0'; c++)
		if (*c < '0' || *c > '9')
			return -1;
	return static_cast<int32_t>(std::min<long long>(strtoll(text, nullptr, 10), INT32_MAX));
}

int32_t hex_to_bytes(uint8_t *out, const char *text, int32_t count)
{
	for (int32_t i = 0; i < count; i += 2) {
		char pair[3] = {};

		if (text[0] != '\0') {
			pair[0] = *text++;
			if (text[0] != '\0')
				pair[1] = *text++;
		}
		*out++ = static_cast<uint8_t>(strtol(pair, nullptr, 16));
	}
	return 0;
}

void reverse_addr_bytes(uint8_t *addr)
{
	for (int i = 0; i < 3; i++)
		std::swap(addr[i], addr[5 - i]);
}

void remove_char(char ch, const char *src, char *dst)
{
	for (; *src != '\0'; src++)
		if (*src != ch)
			*dst++ = *src;
	*dst = '\0';
}

int32_t format_uuid_text(const char *text, char *dst)
{
	if (strlen(text) != 32)
		return -1;
	for (int i = 0; i < 32; i++) {
		if (i == 8 || i == 12 || i == 16 || i == 20)
			*dst++ = '-';
		*dst++ = text[i];
	}
	*dst = '\0';
	return 0;
}

void convert_case(char *text, int32_t upper)
{
	const char first = upper ? 'a' : 'A';
	const char last = upper ? 'z' : 'Z';

	for (; *text != '\0'; text++)
		if (*text >= first && *text <= last)
			*text = static_cast<char>(*text ^ 0x20);
}

int32_t uuid_gen(int32_t random_based, char *dst)
{
	const char *cmd = "cat /proc/sys/kernel/random/uuid";
	TRACE(TRACE_FLOW, "random_based=%d, cmd=%s\n", random_based, cmd);

	dst[0] = '\0';
	FILE *pipe = popen(cmd, "r");
	if (!pipe) {
		fprintf(stderr, "Could not run %s\n", cmd);
		return -1;
	}
	if (!fgets(dst, 38, pipe))
		dst[0] = '\0';
	pclose(pipe);
	convert_case(dst, 1);
	return 0;
}
