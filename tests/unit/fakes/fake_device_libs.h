// SPDX-License-Identifier: Apache-2.0
/* The device's closed libraries as the tests have them: every call is written down. */
#pragma once

#include <functional>
#include <string>
#include <vector>

extern std::vector<std::string> fake_event_log; /* "67 5 67 0 0 0 0 \"\" \"message\"" */
extern int fake_reports;                        /* calls of send_wtp_state_chg */
extern int fake_report_attempts;                /* calls of init_domain_socket */
extern int fake_ac_result; /* what init_domain_socket gives: 0 or -1; 1: a real descriptor */
extern int fake_ac_fd;     /* the last descriptor given and told of */
extern std::function<void()> fake_during_report; /* called in each send_wtp_state_chg */

void fake_device_libs_clear();
