// SPDX-License-Identifier: Apache-2.0
/*
 * The daemon's system calls in memory: the line, the device's files, the lock, the console. A
 * socket pair would be several times slower, and could not fail on demand. Other descriptors and
 * paths go to the kernel.
 */
#pragma once

#include "tests/fuzz/fuzz.h"

#include <functional>

/* Below FD_SETSIZE, above all descriptors that a fuzz program opens. */
constexpr int FAKE_LINE = 900;
constexpr int FAKE_MRD = 901;
constexpr int FAKE_PATCH = 902;
constexpr int FAKE_CONSOLE = 903;

struct fake_system {
	byte_span line;            /* sent by the controller, not read by the daemon */
	uint8_t single = 0;        /* a bit for each of eight reads: it returns one byte only */
	uint8_t spared = 0;        /* a bit for each of eight writes: it leaves one byte out */
	int at_end = 0;            /* result of select without bytes to read */
	bool hung_up = false;      /* read without bytes to read fails; else end of file */
	bool line_refuses = false; /* writing to the line fails */
	bool line_locked = false;  /* by another process */
	bool line_missing = false; /* no serial device */

	bool mrd_missing = false;
	byte_span mrd;
	bool patch_missing = false;
	bool patch_unreadable = false;
	byte_span patch;
	size_t patch_size = 0; /* reported by stat */

	std::function<void(byte_span)> heard;  /* called with each write to the line */
	std::function<void(byte_span)> traced; /* called with each write to the console */

	/* What the daemon has done. */
	size_t reads = 0;
	size_t writes = 0;
	int locks = 0; /* of the semaphore, now */
	int open_line = 0;
	int open_files = 0;
};

extern fake_system fake;

/* Reset everything: a line that exists and is silent, no files. */
void fake_system_clear();
