// SPDX-License-Identifier: Apache-2.0
#include "client/settings/apply.h"

#include "client/settings/fields.h"

#include <cstring>

constexpr int LINE_WORDS = 40;
constexpr size_t LINE_SIZE = 1024;
static const char blanks[] = " \t\r";

static bool fault_in_line(plan *p, int number, const char *what)
{
	fault whole;

	set_fault(&whole, "line %d: %s", number, what);
	p->wrong = whole;
	return false;
}

static bool is_action(const char *word)
{
	return strcmp(word, "start") == 0 || strcmp(word, "stop") == 0 ||
	       strcmp(word, "restart") == 0;
}

/* Split a line into words, up to a comment: their number, or -1 for too many. */
static int split(char *line, const char **words)
{
	int count = 0;
	char *rest = nullptr;

	for (char *word = strtok_r(line, blanks, &rest); word && word[0] != '#';
	     word = strtok_r(nullptr, blanks, &rest)) {
		if (count == LINE_WORDS)
			return -1;
		words[count++] = word;
	}
	return count;
}

static bool edit_by_line(ble_record *record, plan *p, const char *text, int number)
{
	char line[LINE_SIZE];
	const char *words[LINE_WORDS] = {};

	const size_t length = strlen(text);
	if (length >= sizeof(line))
		return fault_in_line(p, number, "too long: up to 1023 characters");
	memcpy(line, text, length + 1);
	const int count = split(line, words);
	if (count < 0)
		return fault_in_line(p, number, "too many words: up to 40");
	if (count == 0)
		return true;
	if (p->action)
		return fault_in_line(p, number, "nothing may follow start, stop or restart");
	if (is_action(words[0])) {
		p->action = words[0][0] == 'r' ? "restart" : words[0][2] == 'a' ? "start" : "stop";
		return count == 1 || fault_in_line(p, number, "takes no arguments");
	}
	fault inner = {};
	fault passed_over = {};
	if (!edit_record(record, count, words, &inner, &passed_over))
		return fault_in_line(p, number, inner.text);
	if (passed_over.text[0] && !p->note.text[0])
		set_fault(&p->note, "line %d: %s", number, passed_over.text);
	return true;
}

bool edit_by_plan(ble_record *record, plan *p)
{
	int number = 1;

	p->action = nullptr;
	p->note = {};
	for (const char *line = p->text; line < p->text + p->size; line += strlen(line) + 1)
		if (!edit_by_line(record, p, line, number++))
			return false;
	return true;
}

bool read_plan(FILE *file, plan *p)
{
	static ble_record scratch;

	p->size = fread(p->text, 1, sizeof(p->text) - 1, file);
	if (ferror(file) || p->size == sizeof(p->text) - 1) {
		set_fault(&p->wrong,
			  ferror(file) ? "cannot be read" : "too long: up to 32766 bytes");
		return false;
	}
	if (memchr(p->text, '\0', p->size)) {
		set_fault(&p->wrong, "is not a text file");
		return false;
	}
	p->text[p->size] = '\0';
	for (char *at = p->text; *at; at++)
		if (*at == '\n')
			*at = '\0';
	return edit_by_plan(&scratch, p);
}

static int print_field_differences(FILE *out, const char *owner, const text_field *fields,
				   const void *before, const void *after)
{
	int count = 0;
	char old_text[FIELD_TEXT];
	char new_text[FIELD_TEXT];

	for (; fields->name; fields++) {
		user_text(fields, before, old_text);
		user_text(fields, after, new_text);
		if (strcmp(old_text, new_text) == 0)
			continue;
		fprintf(out, "%s%s: %s -> %s\n", owner, fields->name,
			old_text[0] ? printable(old_text) : "(empty)", printable(new_text));
		count++;
	}
	return count;
}

int print_differences(FILE *out, const ble_record *before, const ble_record *after)
{
	int count = print_field_differences(out, "", setting_fields, before, after);

	for (size_t i = 0; i < BLE_BEACONS; i++) {
		char owner[16];
		snprintf(owner, sizeof(owner), "beacon %zu ", i + 1);
		count += print_field_differences(out, owner, beacon_fields, &before->beacon[i],
						 &after->beacon[i]);
	}
	return count;
}

bool needs_reset(const ble_record *before, const ble_record *after)
{
	return memcmp(before->interval, after->interval, sizeof(after->interval)) != 0 ||
	       memcmp(before->mac, after->mac, sizeof(after->mac)) != 0 ||
	       memcmp(before->power_index, after->power_index, sizeof(after->power_index)) != 0;
}

/* Only a value that can be read back: a field may have any bytes. */
static void print_field(FILE *out, const char *before, const text_field *field, const void *base,
			const char *after)
{
	char text[FIELD_TEXT];
	char value[FIELD_TEXT];

	if (field->read(user_text(field, base, text), value))
		fprintf(out, "%s%s %s%s", before, field->name, is_power(field) ? text : value,
			after);
}

static bool differs(const text_field *field, const beacon_entry *one, const beacon_entry *other)
{
	char text[FIELD_TEXT];
	char usual[FIELD_TEXT];

	return strcmp(field_text(field, one, text), field_text(field, other, usual)) != 0;
}

/* Only the differences from an entry of a new daemon. */
static void print_entry(FILE *out, const beacon_entry *entry, int number)
{
	beacon_entry untouched;
	bool is_untouched = true;

	clear_entry(&untouched, number);
	for (const text_field *field = beacon_fields; field->name; field++)
		is_untouched &= !differs(field, entry, &untouched);
	if (is_untouched)
		return;
	fprintf(out, "beacon %d", number);
	for (const text_field *field = beacon_fields; field->name; field++)
		if (strcmp(field->name, "enable") != 0 && differs(field, entry, &untouched))
			print_field(out, " --", field, entry, "");
	fprintf(out, " %s\n",
		strncmp(entry->enable, "1", sizeof(entry->enable)) == 0 ? "on" : "off");
}

void print_plan(FILE *out, const ble_record *record)
{
	const uint32_t action = record->opt.action;

	fputs("# Beacons and settings of vorlind; vorlinctl apply FILE makes them so again.\n",
	      out);
	for (const text_field *field = setting_fields; field->name; field++)
		print_field(out, "set ", field, record, "\n");
	fputs("beacon clear all\n", out);
	for (size_t i = 0; i < BLE_BEACONS; i++)
		print_entry(out, &record->beacon[i], static_cast<int>(i) + 1);
	fprintf(out, "%s\n", action == ACTION_START || action == ACTION_RESTART ? "start" : "stop");
}
