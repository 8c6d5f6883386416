// SPDX-License-Identifier: Apache-2.0
/* The device's closed libraries for tests: they record every call. */
#pragma once

#include <functional>
#include <string>
#include <vector>

extern std::vector<std::string> fake_event_log; /* "67 5 67 0 0 0 0 \"\" \"message\"" */
extern int fake_reports;                        /* calls of send_wtp_state_chg */
extern int fake_report_attempts;                /* calls of init_domain_socket */
extern int fake_ac_result; /* result of init_domain_socket: 0 or -1; 1: a real descriptor */
extern int fake_ac_fd;     /* the descriptor last returned, and last reported to */
extern std::function<void()> fake_during_report; /* called in each send_wtp_state_chg */

void fake_device_libs_clear();
