// SPDX-License-Identifier: Apache-2.0
/* The daemon's only loop: three flags polled, one task dispatched, one report. */
#pragma once

/* Serve events and commands until flag_daemon_quit is set; failures go to stderr only. */
void run_daemon_task();

/*
 * A controller may have come or gone: look for it anew and write the event log. What came of it
 * is opt.status.
 */
void uevent_change();
