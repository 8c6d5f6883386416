// SPDX-License-Identifier: Apache-2.0
/*
 * Redirects the fixed paths of the device: /proc/MRD, the serial devices, the firmware folder.
 * One that is not redirected does not exist.
 */
#pragma once

#include <string>
#include <vector>

/* Redirect `path` to `to`. */
void fake_file(const std::string &path, const std::string &to);

/* Remove all redirections. */
void fake_files_clear();

/* The device paths opened or examined since then, in order. */
extern std::vector<std::string> fake_file_uses;
