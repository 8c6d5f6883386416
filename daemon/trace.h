// SPDX-License-Identifier: Apache-2.0
/* The diagnostic trace: the mask, its categories, and the call. */
#pragma once

#include <cstdint>

// clang-format off
enum : uint32_t { /* categories: bits of dbg_level */
	TRACE_HCI_TX  = 0x10,
	TRACE_HCI_RX  = 0x20,
	TRACE_HCI     = TRACE_HCI_TX | TRACE_HCI_RX, /* on with either bit */
	TRACE_IPC     = 0x1000,
	TRACE_UEVENT  = 0x10000,
	TRACE_QVLOG   = 0x100000,
	TRACE_REPORT  = 0x200000,
	TRACE_FLOW    = 0x1000000,
	TRACE_WARNING = 0x2000000,
};
// clang-format on

extern uint32_t dbg_level;        /* 0 at start; set by "config" "debug-level" */
extern const char *trace_console; /* "/dev/console" */

/*
 * Trace one message when a bit of `mask` is on; otherwise the arguments are not
 * evaluated. TRACE_AS is for a function that traces under its caller's name.
 */
#define TRACE_AS(function, line, mask, format, ...)                                              \
	do {                                                                                     \
		if (dbg_level & (mask))                                                          \
			trace_line("%s(%d) " format, function, line __VA_OPT__(, ) __VA_ARGS__); \
	} while (0)
#define TRACE(mask, format, ...) \
	TRACE_AS(__func__, __LINE__, mask, format __VA_OPT__(, ) __VA_ARGS__)

/*
 * Write one message to the console, cut to 511 bytes, and flush the standard streams, so that
 * messages and traces come out in order. If the console cannot be opened or is full, the message
 * is lost: the daemon never waits for the console. Keeps errno.
 */
void trace_line(const char *format, ...) __attribute__((format(printf, 1, 2)));

/*
 * The same for signal handlers, without the flush: the interrupted code may hold a stream's lock.
 * No flush is needed: standard output is never written, standard error has no buffer. Only for
 * numbers and texts: the C libraries format these without allocation or locks.
 */
void trace_in_handler(const char *format, ...) __attribute__((format(printf, 1, 2)));
