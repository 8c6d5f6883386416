// SPDX-License-Identifier: Apache-2.0
/* Reads from /proc a process's size, its descriptors, and what it waits for. */
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

/* What the daemon does, judged by the system call that it sleeps in. */
enum class pursuit : uint8_t {
	running, /* or in any other call */
	pausing, /* between two polls, or in a dwell */
	awaiting_event,
	within_event, /* waits for the rest of an event */
	awaiting_lock,
};
pursuit pursuit_of(pid_t pid);

/* How often it has begun to wait: the same number means the same wait. */
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

/* The number of System V objects on this machine, or in this sandbox. */
int segments_in_use();
int semaphores_in_use();
