// SPDX-License-Identifier: Apache-2.0
#include "client/link/daemon_process.h"

#include "client/link/proc.h"
#include "daemon/segment.h"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <unistd.h>

static const char daemon_name[] = "vorlind";

static bool is_named(pid_t pid)
{
	char name[32];

	return proc_line(pid, "comm", name, sizeof(name)) && strcmp(name, daemon_name) == 0;
}

/* The kernel shows a System V mapping with its key as name and its identifier as inode. */
static bool is_segment(const char *map, int shm_id)
{
	char key_name[32];
	char path[64];
	unsigned long inode;

	snprintf(key_name, sizeof(key_name), "/SYSV%08x", BLE_SHM_KEY);
	return sscanf(map, "%*s %*s %*s %*s %lu %63s", &inode, path) == 2 &&
	       strcmp(path, key_name) == 0 && inode == static_cast<unsigned long>(shm_id);
}

enum attachment { ATTACHED, NOT_ATTACHED, HIDDEN };

static attachment attachment_of(pid_t pid, int shm_id)
{
	char line[512];
	bool found = false;
	FILE *maps = open_proc(pid, "maps");

	if (!maps)
		return errno == ENOENT ? NOT_ATTACHED : HIDDEN;
	while (!found && fgets(line, sizeof(line), maps))
		found = is_segment(line, shm_id);
	fclose(maps);
	return found ? ATTACHED : NOT_ATTACHED;
}

bool is_daemon(pid_t pid, int shm_id, const shmid_ds *info)
{
	if (!is_named(pid))
		return false;
	const attachment attached = attachment_of(pid, shm_id);
	/* Without permission to read the process, use the segment's own record. */
	if (attached == HIDDEN)
		return pid == info->shm_cpid || pid == info->shm_lpid;
	return attached == ATTACHED;
}

bool may_have_attached(pid_t pid, int shm_id)
{
	return attachment_of(pid, shm_id) != NOT_ATTACHED;
}

pid_t find_daemon(int shm_id, const shmid_ds *info)
{
	pid_t found = 0;
	DIR *proc = opendir("/proc");

	if (!proc)
		return 0;
	for (const dirent *entry = readdir(proc); entry && !found; entry = readdir(proc)) {
		if (!isdigit(static_cast<unsigned char>(entry->d_name[0])))
			continue;
		const pid_t pid = atoi(entry->d_name);
		if (is_daemon(pid, shm_id, info))
			found = pid;
	}
	closedir(proc);
	return found;
}

bool takes_commands(pid_t pid)
{
	const long long caught = proc_number(pid, "status", "SigCgt:", 16);

	return caught > 0 && (caught >> (SIGUSR1 - 1) & 1) != 0;
}
