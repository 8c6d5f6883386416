// SPDX-License-Identifier: Apache-2.0
/* The daemon's only loop: poll three flags, dispatch one task, send one report. */
#pragma once

/* Serve events and commands until flag_daemon_quit is set; failures go to stderr only. */
void run_daemon_task();

/*
 * A controller may have come or gone: look for it again and write the event log. The result is
 * in opt.status.
 */
void uevent_change();
