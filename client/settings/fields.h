// SPDX-License-Identifier: Apache-2.0
/* The text fields of the segment: what each may hold, and how a user writes it. */
#pragma once

#include "daemon/segment.h"

constexpr size_t FIELD_TEXT = 48; /* room for any field's text, a hyphenated UUID included */

constexpr unsigned LONGEST_INTERVAL = 10240; /* milliseconds; no controller takes more */

struct text_field {
	const char *name;
	const char *other_name; /* that it goes by in the entry, or null */
	size_t offset;
	size_t width;
	const char *limit; /* what is right, for the user who wrote something else */
	bool (*read)(const char *text, char *value); /* user's text -> field's text (FIELD_TEXT) */
};

extern const text_field beacon_fields[];  /* of a beacon_entry; ends with a null name */
extern const text_field setting_fields[]; /* of the ble_record; ends with a null name */

/* The field that goes by `name` (of `length` characters), or null. */
const text_field *find_field(const text_field *fields, const char *name, size_t length);

/* What to say of a field of an entry that the daemon does not read; null for any other name. */
const char *why_unread(const char *name, size_t length);

/* The text of a field as it stands at `base`, which need not be terminated: into FIELD_TEXT. */
char *field_text(const text_field *field, const void *base, char *text);
/* The same for `width` characters at `field`; both return `text`. */
char *bounded_text(const char *field, size_t width, char *text);

/* The same as a user writes it: a power in dBm. */
bool is_power(const text_field *field);
char *user_text(const text_field *field, const void *base, char *text);

/* Put text that fits into a field at `base`, filled up with zeros; a full one has no NUL. */
void put_field(const text_field *field, void *base, const char *value);

/* An entry as the daemon makes it at its start, `number` from 1. */
void clear_entry(beacon_entry *entry, int number);

/* Whether the daemon counts the entry as a beacon to advertise. */
bool is_active(const beacon_entry *entry);

/* "0123..." -> "01234567-89AB-..." in `text` (FIELD_TEXT); text that is no UUID stays as it is. */
char *hyphenated(const char *uuid, char *text);

/* In place, with '?' for each character that might upset a terminal; returns `text`. */
char *printable(char *text);

/* A whole number of decimal digits, at most `limit`: false for anything else. */
bool read_number(const char *text, unsigned limit, unsigned *number);
/* Exactly so many hexadecimal digits, and nothing behind them. */
bool is_hexadecimal(const char *text, size_t digits);
