// SPDX-License-Identifier: Apache-2.0
/* How vorlinctl ends: a contract with the scripts that call it. */
#pragma once

// clang-format off
enum exit_status : int {
	EXIT_DONE          = 0,
	EXIT_USAGE         = 1, /* nothing was sent */
	EXIT_NO_DAEMON     = 2, /* or no permission to talk to it */
	EXIT_NO_CONTROLLER = 3,
	EXIT_REFUSED       = 4, /* by the daemon or the controller */
	EXIT_TIMEOUT       = 5, /* the command may still be carried out */
	EXIT_UNKNOWN       = 6, /* done, but the daemon's messages cannot tell how it went */
	EXIT_FAILED        = 7, /* a production test went well, and fewer packets came than must */
};
// clang-format on
