// SPDX-License-Identifier: Apache-2.0
/* Which process serves the segment: found by name, proved by what it has attached. */
#pragma once

#include <sys/shm.h>
#include <sys/types.h>

/*
 * The vorlind that has segment `shm_id` attached, or 0. A process of that name that has not is
 * another one, starting or dying. Who created the segment does not tell: after a crash that
 * one is dead, and the next daemon takes its segment over.
 */
pid_t find_daemon(int shm_id, const shmid_ds *info);

/* Whether `pid` still is that daemon: false when it is dead, or a zombie. */
bool is_daemon(pid_t pid, int shm_id, const shmid_ds *info);

/* Whether `pid` is a living process with the segment; one that cannot be looked at counts. */
bool may_have_attached(pid_t pid, int shm_id);

/* Whether it has its handler for commands; before that the signal would end it. */
bool takes_commands(pid_t pid);
