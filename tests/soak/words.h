// SPDX-License-Identifier: Apache-2.0
/* Random words: for the client, for the daemon, and for the simulator's faults. */
#pragma once

#include "tests/soak/chance.h"

/* The words of a command line of vorlinctl, without the program; most are as they should be. */
std::vector<std::string> client_words(chance &dice);

/* The words of a command to the daemon. */
std::vector<std::string> daemon_words(chance &dice);

/* A fault as the simulator takes it; `name` tells which. */
std::string fault_text(chance &dice, std::string *name);

/* The file that `apply` is given, in the folder where clients start. */
extern const char beacons_file[];
extern const char beacons_text[];
