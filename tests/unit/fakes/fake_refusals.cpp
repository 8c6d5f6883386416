// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_refusals.h"

#include <cerrno>
#include <cstdio>
#include <dlfcn.h>
#include <map>
#include <sys/sem.h>
#include <sys/shm.h>
#include <termios.h>

struct refusal {
	int error;
	int allowed;
};

static std::map<std::string, refusal> &refusals()
{
	static std::map<std::string, refusal> map;
	return map;
}

void fake_refuse(const std::string &function, int error, int allowed)
{
	refusals()[function] = { error, allowed };
}

void fake_refusals_clear()
{
	refusals().clear();
}

static bool refused(const char *function)
{
	const auto found = refusals().find(function);

	if (found == refusals().end() || found->second.allowed-- > 0)
		return false;
	errno = found->second.error;
	return true;
}

/* The C library's function of this name. */
template <typename Function> static Function *next(Function *, const char *name)
{
	return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/* The program's own definitions, used instead of the C library's. */
extern "C" FILE *popen(const char *command, const char *mode)
{
	return refused("popen") ? nullptr : next(popen, "popen")(command, mode);
}

extern "C" int tcsetattr(int fd, int when, const termios *settings) noexcept
{
	return refused("tcsetattr") ? -1 : next(tcsetattr, "tcsetattr")(fd, when, settings);
}

extern "C" int semget(key_t key, int count, int flags) noexcept
{
	return refused("semget") ? -1 : next(semget, "semget")(key, count, flags);
}

extern "C" int shmget(key_t key, size_t size, int flags) noexcept
{
	return refused("shmget") ? -1 : next(shmget, "shmget")(key, size, flags);
}

/* Fails with null, not with all bits set: that is what the daemon checks. */
extern "C" void *shmat(int id, const void *address, int flags) noexcept
{
	return refused("shmat") ? nullptr : next(shmat, "shmat")(id, address, flags);
}
