// SPDX-License-Identifier: Apache-2.0
/* The command words that a client leaves in the segment, and what each does. */
#pragma once

/*
 * Take the lock, carry out the pending command, and give the lock back. Results and failures go
 * to stderr, as lines for whoever waits; opt.action is the task that is left for the loop.
 */
void user_cmd_change();

/* The three commands that do something; the words are those user_cmd_change has taken. */
void cmd_show();
void cmd_config();
void cmd_ibeacon();
