// SPDX-License-Identifier: Apache-2.0
/* The text fields of the segment: their limits, and how a user writes them. */
#pragma once

#include "daemon/segment.h"

constexpr size_t FIELD_TEXT = 48; /* room for any field's text, a hyphenated UUID included */

constexpr unsigned LONGEST_INTERVAL = 10240; /* milliseconds; no controller takes more */

struct text_field {
	const char *name;
	const char *other_name; /* its name in the entry, or null */
	size_t offset;
	size_t width;
	const char *limit;                           /* the right values, for a complaint */
	bool (*read)(const char *text, char *value); /* user's text -> field's text (FIELD_TEXT) */
};

extern const text_field beacon_fields[];  /* of a beacon_entry; ends with a null name */
extern const text_field setting_fields[]; /* of the ble_record; ends with a null name */

/* The field with this name (of `length` characters), or null. */
const text_field *find_field(const text_field *fields, const char *name, size_t length);

/* The explanation for a field of an entry that the daemon does not read; null for other names. */
const char *why_unread(const char *name, size_t length);

/* Copy the text of a field at `base`, which may have no NUL, to `text` (FIELD_TEXT). */
char *field_text(const text_field *field, const void *base, char *text);
/* The same for `width` characters at `field`; both return `text`. */
char *bounded_text(const char *field, size_t width, char *text);

/* Whether a user writes the field as a power in dBm. */
bool is_power(const text_field *field);
char *user_text(const text_field *field, const void *base, char *text);

/* Write a text that fits to a field at `base`, the rest zeros; a full field has no NUL. */
void put_field(const text_field *field, void *base, const char *value);

/* Make the entry as the daemon does at its start; `number` from 1. */
void clear_entry(beacon_entry *entry, int number);

/* Whether the daemon counts the entry as an active beacon. */
bool is_active(const beacon_entry *entry);

/* "0123..." -> "01234567-89AB-..." in `text` (FIELD_TEXT); other text stays the same. */
char *hyphenated(const char *uuid, char *text);

/* In place, '?' for each character that is not printable; returns `text`. */
char *printable(char *text);

/* Read decimal digits, at most `limit`: false for anything else. */
bool read_number(const char *text, unsigned limit, unsigned *number);
/* Exactly this many hexadecimal digits and no more. */
bool is_hexadecimal(const char *text, size_t digits);
