// SPDX-License-Identifier: Apache-2.0
/* The exit statuses of vorlinctl: a contract with the scripts that call it. */
#pragma once

// clang-format off
enum exit_status : int {
	EXIT_DONE          = 0,
	EXIT_USAGE         = 1, /* nothing was sent */
	EXIT_NO_DAEMON     = 2, /* also without permission to talk to it */
	EXIT_NO_CONTROLLER = 3,
	EXIT_REFUSED       = 4, /* by the daemon or the controller */
	EXIT_TIMEOUT       = 5, /* the command may still be carried out */
	EXIT_UNKNOWN       = 6, /* done, but the daemon's messages do not show the result */
	EXIT_FAILED        = 7, /* a production test ran, but received too few packets */
};
// clang-format on
