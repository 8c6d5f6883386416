// SPDX-License-Identifier: Apache-2.0
/*
 * The fixed paths of the device, redirected: /proc/MRD, the serial devices, the firmware
 * folder. What is not redirected under those is not there.
 */
#pragma once

#include <string>
#include <vector>

/* From now on `path` leads to `to`. */
void fake_file(const std::string &path, const std::string &to);

/* No redirection any more. */
void fake_files_clear();

/* The device paths that were opened or examined since, in order. */
extern std::vector<std::string> fake_file_uses;
