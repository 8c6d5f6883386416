// SPDX-License-Identifier: Apache-2.0
/* Random words: for the client, for the daemon, and for the simulator's faults. */
#pragma once

#include "tests/soak/chance.h"

/* The arguments of a vorlinctl command line; most are valid. */
std::vector<std::string> client_words(chance &dice);

/* The words of a command to the daemon. */
std::vector<std::string> daemon_words(chance &dice);

/* A fault in the simulator's syntax; sets `name` to its name. */
std::string fault_text(chance &dice, std::string *name);

/* The file for `apply`, in the folder where clients start. */
extern const char beacons_file[];
extern const char beacons_text[];
