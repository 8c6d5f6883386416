// SPDX-License-Identifier: Apache-2.0
/*
 * The daemon's system calls, kept in memory: the line, the device's files, the lock, the
 * console. A socket pair costs several times as much as all that is read from it, and could not
 * fail at will. Other descriptors and paths are the kernel's.
 */
#pragma once

#include "tests/fuzz/fuzz.h"

#include <functional>

/* Below FD_SETSIZE, above what a fuzz program ever opens. */
constexpr int FAKE_LINE = 900;
constexpr int FAKE_MRD = 901;
constexpr int FAKE_PATCH = 902;
constexpr int FAKE_CONSOLE = 903;

struct fake_system {
	byte_span line;            /* what the controller has sent and the daemon not read */
	uint8_t single = 0;        /* of eight reads in turn, those that give one byte only */
	uint8_t spared = 0;        /* of eight writes in turn, those that take all but one byte */
	int at_end = 0;            /* select with nothing there: its result */
	bool hung_up = false;      /* read with nothing there: fails; else end of file */
	bool line_refuses = false; /* writing to the line fails */
	bool line_locked = false;  /* by another process */
	bool line_missing = false; /* no serial device */

	bool mrd_missing = false;
	byte_span mrd;
	bool patch_missing = false;
	bool patch_unreadable = false;
	byte_span patch;
	size_t patch_size = 0; /* as stat has it */

	std::function<void(byte_span)> heard;  /* each write to the line, whole */
	std::function<void(byte_span)> traced; /* each write to the console */

	/* What the daemon has done. */
	size_t reads = 0;
	size_t writes = 0;
	int locks = 0; /* of the semaphore, now */
	int open_line = 0;
	int open_files = 0;
};

extern fake_system fake;

/* Everything back to the start: a silent line that is there, no files. */
void fake_system_clear();
