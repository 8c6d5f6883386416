// SPDX-License-Identifier: Apache-2.0
#include "client/output.h"

#include <cstdarg>

void complain(const char *format, ...)
{
	va_list arguments;

	fflush(stdout); /* results and complaints in the order in which they came */
	fputs("vorlinctl: ", stderr);
	va_start(arguments, format);
	vfprintf(stderr, format, arguments);
	va_end(arguments);
	fputc('\n', stderr);
}

static void json_character(FILE *out, unsigned char c)
{
	if (c == '"' || c == '\\')
		fprintf(out, "\\%c", c);
	else if (c < 0x20 || c > 0x7e)
		fprintf(out, "\\u%04x", c);
	else
		fputc(c, out);
}

void json_string(FILE *out, const char *text)
{
	fputc('"', out);
	for (; *text; text++)
		json_character(out, static_cast<unsigned char>(*text));
	fputc('"', out);
}

void json_member(FILE *out, const char *name, const char *text)
{
	fprintf(out, ", \"%s\": ", name);
	json_string(out, text);
}
