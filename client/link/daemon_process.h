// SPDX-License-Identifier: Apache-2.0
/* Finds the daemon of the segment: by its name, and by the attached segment. */
#pragma once

#include <sys/shm.h>
#include <sys/types.h>

/*
 * The vorlind that has segment `shm_id` attached, or 0. A process of that name without it is
 * just starting or ending. The segment's creator is no proof: after a crash the next daemon
 * takes the segment of the dead one over.
 */
pid_t find_daemon(int shm_id, const shmid_ds *info);

/* Whether `pid` is still that daemon: false when it is dead or a zombie. */
bool is_daemon(pid_t pid, int shm_id, const shmid_ds *info);

/* Whether `pid` lives and has the segment attached; true if that may not be read. */
bool may_have_attached(pid_t pid, int shm_id);

/* Whether it has its handler for SIGUSR1; before that the signal would end it. */
bool takes_commands(pid_t pid);
