// SPDX-License-Identifier: Apache-2.0
/* The other end of a running simulator: a command to its control socket, a look at its air. */
#pragma once

#include "sim/line/pace.h"

namespace sim
{

/* Sends a command and prints its answer; the exit status. */
int remote_control(const std::string &path, const std::string &command);

/* Listens to an air for a while and lists who is there; the exit status. */
int remote_scan(const std::string &path, moment listen_for);

} // namespace sim
