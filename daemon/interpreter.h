// SPDX-License-Identifier: Apache-2.0
/* The command words that a client writes into the segment, and what each does. */
#pragma once

/*
 * Take the lock, carry out the pending command, and release the lock. Results and failures go
 * to stderr as lines for the operator; opt.action is the task that the event loop does next.
 */
void user_cmd_change();

/* The three commands that do something, with the words that user_cmd_change has copied. */
void cmd_show();
void cmd_config();
void cmd_ibeacon();
