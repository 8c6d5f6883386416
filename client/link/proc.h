// SPDX-License-Identifier: Apache-2.0
/* Reads what the kernel shows of a process in /proc. */
#pragma once

#include <cstdio>
#include <sys/types.h>

/* Open /proc/PID/`file` for reading; null with errno. */
FILE *open_proc(pid_t pid, const char *file);

/* Its first line without the line end; false with an empty text if there is none. */
bool proc_line(pid_t pid, const char *file, char *text, int size);

/* The number in `base` after `name` at the beginning of a line; -1 if there is none. */
long long proc_number(pid_t pid, const char *file, const char *name, int base);
