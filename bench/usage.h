// SPDX-License-Identifier: Apache-2.0
/* What a running process has used of the machine, as the kernel counts it. */
#pragma once

#include <cstdint>
#include <sys/types.h>

struct usage {
	double cpu_seconds;  /* on a processor, to the nanosecond */
	double wakeups;      /* it slept, and was run again */
	double resident_kib; /* in memory, shared pages counted whole */
	double share_kib;    /* shared pages divided among those who have them */
	double private_kib;  /* written to, and nobody else's */
	double mappings;     /* ranges of its address space */
	double write_calls;  /* write() and the like */
};

usage usage_of(pid_t pid);
