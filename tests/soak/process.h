// SPDX-License-Identifier: Apache-2.0
/* What /proc tells about a process: its size, its descriptors, what it waits for. */
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

/* True when the process has installed the last of vorlind's handlers. */
bool takes_signals(pid_t pid);

struct process_size {
	uint64_t resident = 0; /* KiB */
	uint64_t data = 0;     /* KiB */
	size_t descriptors = 0;
};
process_size size_of(pid_t pid);

/* What the daemon is about, by the system call that it sleeps in. */
enum class pursuit : uint8_t {
	running, /* or in a call that is none of these */
	pausing, /* between two polls, or while a beacon has its turn */
	awaiting_event,
	within_event, /* the line owes it the rest */
	awaiting_lock,
};
pursuit pursuit_of(pid_t pid);

/* How often it has begun to wait, for whatever: the same number is the same wait. */
uint64_t waits_of(pid_t pid);
const char *pursuit_name(pursuit what);

struct process_row {
	pid_t pid;
	pid_t parent;
	std::string name;
	char state; /* 'Z': a zombie */
};
std::vector<process_row> processes();

/* True in a sandbox with namespaces of its own. */
bool is_private();

/* System V objects of the kind on this machine, or in this sandbox. */
int segments_in_use();
int semaphores_in_use();
