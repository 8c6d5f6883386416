// SPDX-License-Identifier: Apache-2.0
/* Makes functions of the C library fail, by name. */
#pragma once

#include <string>

/*
 * After `allowed` normal calls the named function fails with errno `error`. Known names: popen,
 * tcsetattr, semget, shmget, shmat.
 */
void fake_refuse(const std::string &function, int error, int allowed = 0);

void fake_refusals_clear();
