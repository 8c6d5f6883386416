// SPDX-License-Identifier: Apache-2.0
/* The event log, the access controller, the handlers and the default settings. */
#include "daemon/reports.h"

#include "daemon/lifecycle.h"
#include "tests/default_beacons.h"
#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

class Reports : public DaemonTest
{
};

TEST_F(Reports, AnyStatusBut0IsAConnectedDevice)
{
	for (const uint32_t status : { 1U, 2U, 3U, 5U, 77U }) {
		fake_event_log.clear();
		ble_config->opt.status = status;
		write_to_qvlog();
		EXPECT_EQ(fake_event_log,
			  std::vector<std::string>{
				  "67 5 67 0 0 0 0 \"\" \"BLE device has been connected.\"" });
	}
}

TEST_F(Reports, Status0IsADisconnectedDevice)
{
	dbg_level = TRACE_QVLOG;
	ble_config->opt.status = 0;
	write_to_qvlog();
	EXPECT_EQ(fake_event_log,
		  std::vector<std::string>{
			  "67 5 67 0 0 0 0 \"\" \"BLE device has been disconnected.\"" });
	EXPECT_EQ(without_lines(console()),
		  "write_to_qvlog(N) BLE device has been disconnected.\n");
}

TEST_F(Reports, AReportGoesThroughADescriptorThatIsThenClosed)
{
	dbg_level = TRACE_REPORT;
	fake_ac_result = 1;
	EXPECT_EQ(info_forward_to_ac(), 0);
	EXPECT_EQ(fake_reports, 1);
	EXPECT_GT(fake_ac_fd, 0);
	EXPECT_EQ(fcntl(fake_ac_fd, F_GETFD), -1);
	EXPECT_EQ(without_lines(console()), "info_forward_to_ac(N) Start...\n");
}

TEST_F(Reports, ADescriptorOf0OrLessIsNoReport)
{
	for (const int result : { 0, -1 }) {
		fake_ac_result = result;
		EXPECT_EQ(stderr_of([] { EXPECT_EQ(info_forward_to_ac(), 0); }), "");
	}
	EXPECT_EQ(fake_reports, 0);
	EXPECT_EQ(fake_report_attempts, 2);
	EXPECT_NE(fcntl(0, F_GETFD), -1) << "descriptor 0 is not closed";
}

class Start : public DaemonTest
{
};

TEST_F(Start, TheHandlersSetTheirFlagAndNothingElse)
{
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(system_data_init(), 0); }), "");
	EXPECT_EQ(sigismember(&ble_sig_set, SIGUSR1), 1);
	EXPECT_EQ(sigismember(&ble_sig_set, SIGUSR2), 1);
	EXPECT_EQ(sigismember(&ble_sig_set, SIGTERM), 0);
	EXPECT_EQ(sigismember(&ble_sig_set, SIGINT), 0);

	raise(SIGUSR1);
	EXPECT_EQ(flag_cmd_change, 1);
	EXPECT_EQ(flag_uevent_change + flag_daemon_quit, 0);
	raise(SIGUSR2);
	EXPECT_EQ(flag_uevent_change, 1);
	EXPECT_EQ(flag_daemon_quit, 0);
	for (const int signo : { SIGINT, SIGTERM }) {
		flag_daemon_quit = 0;
		raise(signo);
		EXPECT_EQ(flag_daemon_quit, 1);
	}
	EXPECT_EQ(console(), "");
	for (const int signo : { SIGINT, SIGTERM, SIGUSR1, SIGUSR2 })
		signal(signo, SIG_DFL);
}

TEST_F(Start, TheHandlersTraceAndKeepErrno)
{
	const std::string pid = std::to_string(getpid());

	system_data_init();
	dbg_level = TRACE_FLOW;
	trace_console = "/nowhere/console"; /* the open fails, and sets errno */
	errno = ETIMEDOUT;
	raise(SIGUSR1);
	EXPECT_EQ(errno, ETIMEDOUT);
	const std::string path = folder + "/console";
	trace_console = path.c_str();
	for (const int signo : { SIGUSR1, SIGUSR2, SIGTERM })
		raise(signo);
	const auto line = [&](const char *handler, int signo) {
		return std::string(handler) + "(N) Received signo=" + std::to_string(signo) +
		       ", getpid()=" + pid + "\n";
	};
	EXPECT_EQ(without_lines(console()), line("signal_usr1", SIGUSR1) +
						    line("signal_usr2", SIGUSR2) +
						    line("signal_daemon_quit", SIGTERM));
	for (const int signo : { SIGINT, SIGTERM, SIGUSR1, SIGUSR2 })
		signal(signo, SIG_DFL);
}

TEST_F(Start, TheDefaultSettingsAreWrittenAndNothingElse)
{
	const std::string mrd = folder + "/mrd";
	std::ofstream(mrd, std::ios::binary) << std::string(232, 'x') << "\x10\x32\x54\x76\x98\xFF";
	fake_file("/proc/MRD", mrd);
	memset(static_cast<void *>(ble_config), 0x5A, sizeof(*ble_config));
	dbg_level = TRACE_FLOW;
	ble_data_init();
	EXPECT_EQ(without_lines(console()),
		  "ble_data_init(N) Start...\n"
		  "ble_data_init(N) Got BLE MAC from MRD: 103254769904\n");
	EXPECT_EQ(ble_config->opt.action, 0x5A5A5A5AU);
	EXPECT_EQ(ble_config->opt.unused, 0x5A5A5A5AU);
	EXPECT_EQ(ble_config->opt.status, 0x5A5A5A5AU);
	EXPECT_EQ(ble_config->reserved, 0x5A);
	EXPECT_STREQ(ble_config->interval, "100");
	EXPECT_STREQ(ble_config->mac, "103254769904");
	EXPECT_STREQ(ble_config->measured_power, "202");
	EXPECT_STREQ(ble_config->power_index, "max");
	expect_default_beacons(*ble_config);
}

TEST_F(Start, WithoutManufacturingDataTheAddressIsEmpty)
{
	write_field(ble_config->mac, "001122334455");
	EXPECT_EQ(stderr_of([] { ble_data_init(); }), "Open /proc/MRD failed.\n");
	EXPECT_STREQ(ble_config->mac, "");
}
