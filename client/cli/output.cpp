// SPDX-License-Identifier: Apache-2.0
#include "client/cli/output.h"

#include <cstdarg>
#include <cstring>

/* Collected for the object at the end of --json. */
static struct {
	bool is_wanted;
	bool is_begun; /* the command writes its own object */
	FILE *text;    /* lines for people, or null without any */
	char *lines;   /* the content of `text` */
	size_t size;
	char complaints[2048]; /* each with its line end; what does not fit goes to stderr only */
} kept;

static void keep_complaint(const char *text)
{
	const size_t used = strlen(kept.complaints);

	if (kept.is_wanted && used + strlen(text) + 2 <= sizeof(kept.complaints))
		snprintf(kept.complaints + used, sizeof(kept.complaints) - used, "%s\n", text);
}

void complain(const char *format, ...)
{
	char text[1024];
	va_list arguments;

	fflush(stdout); /* keeps results and complaints in order */
	va_start(arguments, format);
	vsnprintf(text, sizeof(text), format, arguments);
	va_end(arguments);
	fprintf(stderr, "vorlinctl: %s\n", text);
	keep_complaint(text);
}

void json_mode()
{
	kept.is_wanted = true;
}

FILE *text_output()
{
	if (kept.is_wanted && !kept.text)
		kept.text = open_memstream(&kept.lines, &kept.size);
	return kept.is_wanted && kept.text ? kept.text : stdout;
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

void json_number(FILE *out, const char *name, int number)
{
	fprintf(out, number < 0 ? ", \"%s\": null" : ", \"%s\": %d", name, number);
}

/* An array of the lines of a text, each with its line end. */
static void json_lines(FILE *out, const char *name, char *text)
{
	const char *comma = "";

	fprintf(out, ", \"%s\": [", name);
	for (char *end = strchr(text, '\n'); end; end = strchr(text, '\n')) {
		*end = '\0';
		fputs(comma, out);
		json_string(out, text);
		comma = ", ";
		text = end + 1;
	}
	fputc(']', out);
}

void json_begin(FILE *out, const char *command)
{
	kept.is_begun = true;
	fputs("{\"command\": ", out);
	json_string(out, command);
}

void json_end(const char *command, exit_status status)
{
	if (!kept.is_wanted || kept.is_begun)
		return;
	json_begin(stdout, command);
	printf(", \"exit_status\": %d", status);
	json_lines(stdout, "messages", kept.complaints);
	if (kept.text && fclose(kept.text) == 0)
		json_lines(stdout, "output", kept.lines);
	fputs("}\n", stdout);
}
