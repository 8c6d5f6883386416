// SPDX-License-Identifier: Apache-2.0
/* Uses a running simulator: sends a command to its control socket, or scans its air. */
#pragma once

#include "sim/line/pace.h"

namespace sim
{

/* Sends a command and prints its answer; returns the exit status. */
int remote_control(const std::string &path, const std::string &command);

/* Listens to an air for a while and lists its simulators; returns the exit status. */
int remote_scan(const std::string &path, moment listen_for);

} // namespace sim
