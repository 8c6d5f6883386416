// SPDX-License-Identifier: Apache-2.0
/* A process's use of the machine, counted by the kernel. */
#pragma once

#include <cstdint>
#include <sys/types.h>

struct usage {
	double cpu_seconds;  /* on a processor, in steps of a nanosecond */
	double wakeups;      /* it slept, and was run again */
	double resident_kib; /* in memory, with shared pages in full */
	double share_kib;    /* with shared pages divided by their users */
	double private_kib;  /* written to, and not shared */
	double mappings;     /* ranges of its address space */
	double write_calls;  /* write() and the like */
};

usage usage_of(pid_t pid);
