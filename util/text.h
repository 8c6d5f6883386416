// SPDX-License-Identifier: Apache-2.0
/* Text and hexadecimal helpers on the caller's buffers; none allocates. */
#pragma once

#include <cstddef>
#include <cstdint>

/*
 * Copy a field of fixed width to `text`, which holds width + 1: at most `width` characters
 * and a NUL. The field may have no NUL, and another process may change it meanwhile. Returns
 * `text`.
 */
const char *copy_field(char *text, const char *field, size_t width);

/* Store a text in a field of `width` with a NUL: cut if too long, the rest zero. */
void set_field(char *field, size_t width, const char *text);

/*
 * The number: 0 for an empty text, -1 if any character, a sign included, is not a digit. A number
 * too large for the type gives INT32_MAX, which is beyond every limit.
 */
int32_t is_decimal_text(const char *text);

/*
 * Convert `count` characters, two hexadecimal digits a byte: (count + 1) / 2 bytes into `out`.
 * A pair that is no number, or lies after the text's end, gives 0. Always returns 0.
 */
int32_t hex_to_bytes(uint8_t *out, const char *text, int32_t count);

/* Reverse six bytes in place: from text order to the controller's, or back. */
void reverse_addr_bytes(uint8_t *addr);

/* Copy `src` without any `ch` to `dst`, which is as large; both may be the same buffer. */
void remove_char(char ch, const char *src, char *dst);

/* Write 32 digits as 8-4-4-4-12 into `dst`, which holds 37: 0, or -1 for any other length. */
int32_t format_uuid_text(const char *text, char *dst);

/* In place, ASCII letters only: to upper case if `upper` is not 0, else to lower case. */
void convert_case(char *text, int32_t upper);

/*
 * Write a random identifier of the kernel to `dst`, which holds 38, in upper case and with its
 * newline: 0, or -1 after a message to stderr. `random_based` is only traced.
 */
int32_t uuid_gen(int32_t random_based, char *dst);
