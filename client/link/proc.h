// SPDX-License-Identifier: Apache-2.0
/* What the kernel tells of a process, in the files of /proc. */
#pragma once

#include <cstdio>
#include <sys/types.h>

/* /proc/PID/`file` to be read, or null with errno. */
FILE *open_proc(pid_t pid, const char *file);

/* The first line of it, without its end: false, and an empty text, if there is none. */
bool proc_line(pid_t pid, const char *file, char *text, int size);

/* The number behind `name` at the beginning of a line there, in `base`; -1 if there is none. */
long long proc_number(pid_t pid, const char *file, const char *name, int base);
