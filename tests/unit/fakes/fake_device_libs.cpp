// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_device_libs.h"

#include "platform/device_libs.h"

#include <fcntl.h>

std::vector<std::string> fake_event_log;
int fake_reports;
int fake_report_attempts;
int fake_ac_result;
int fake_ac_fd;
std::function<void()> fake_during_report;

void fake_device_libs_clear()
{
	fake_event_log.clear();
	fake_reports = 0;
	fake_report_attempts = 0;
	fake_ac_result = -1;
	fake_ac_fd = -1;
	fake_during_report = nullptr;
}

int qvlog(int a, int b, int c, long d, long e, long f, long g, const char *h, const char *message)
{
	std::string line;

	for (const long number :
	     { static_cast<long>(a), static_cast<long>(b), static_cast<long>(c), d, e, f, g })
		line += std::to_string(number) + " ";
	fake_event_log.push_back(line + "\"" + h + "\" \"" + message + "\"");
	return 0;
}

int init_domain_socket(void)
{
	fake_report_attempts++;
	if (fake_ac_result <= 0)
		return fake_ac_result;
	return openat(AT_FDCWD, "/dev/null", O_RDWR);
}

int send_wtp_state_chg(int fd)
{
	fake_reports++;
	fake_ac_fd = fd;
	if (fake_during_report)
		fake_during_report();
	return 0;
}
