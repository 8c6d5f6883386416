// SPDX-License-Identifier: Apache-2.0
/* Text and hexadecimal helpers over buffers of the caller; none allocates. */
#pragma once

#include <cstddef>
#include <cstdint>

/*
 * A fixed-width text field, which may fill its width without a NUL and may change while it
 * is read, as a text of its own: at most `width` characters and a NUL into `text`, which
 * holds width + 1. Returns `text`.
 */
const char *copy_field(char *text, const char *field, size_t width);

/* Store a text and its NUL in a field of `width`, cut if it does not fit, the rest zero. */
void set_field(char *field, size_t width, const char *text);

/*
 * The number, 0 for an empty text, -1 if any character is not a digit (a sign as well). One
 * that is too large for the type is INT32_MAX, and so beyond every limit.
 */
int32_t is_decimal_text(const char *text);

/*
 * Two hexadecimal digits a byte over `count` characters: (count + 1) / 2 bytes into `out`.
 * A pair that is no number, or lies behind the text's end, gives 0. Returns 0 always.
 */
int32_t hex_to_bytes(uint8_t *out, const char *text, int32_t count);

/* Between text order and the controller's: six bytes reversed in place. */
void reverse_addr_bytes(uint8_t *addr);

/* Copy `src` to `dst`, which holds as much, without any `ch`; both may be the same buffer. */
void remove_char(char ch, const char *src, char *dst);

/* 32 digits as 8-4-4-4-12 into `dst`, which holds 37: 0, or -1 for any other length. */
int32_t format_uuid_text(const char *text, char *dst);

/* In place, ASCII letters only: to upper case when `upper` is not 0, else to lower case. */
void convert_case(char *text, int32_t upper);

/*
 * A random identifier from the kernel, in upper case with its newline, into `dst`, which
 * holds 38: 0, or -1 after a message to stderr. `random_based` is only traced.
 */
int32_t uuid_gen(int32_t random_based, char *dst);
