// SPDX-License-Identifier: Apache-2.0
/* Functions of the C library that a test can have fail, by name. */
#pragma once

#include <string>

/*
 * From now on the named function fails, with errno set to `error`, after `allowed` calls that
 * do what they always do. Known names: popen, tcsetattr, semget, shmget, shmat.
 */
void fake_refuse(const std::string &function, int error, int allowed = 0);

/* Nothing is refused any more. */
void fake_refusals_clear();
