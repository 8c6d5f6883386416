// SPDX-License-Identifier: Apache-2.0
/* The shipped daemon's surroundings: console, event log, access controller, manufacturing data. */
#include "tests/system/line.h"
#include "tests/system/stage.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using strings = std::vector<std::string>;

/* A terminal whose far end is open but never read. */
struct Pty {
	Pty() : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
	{
		EXPECT_EQ(grantpt(master), 0);
		EXPECT_EQ(unlockpt(master), 0);
		name = ptsname(master);
	}
	~Pty()
	{
		close(master);
	}
	Pty(const Pty &) = delete;

	int master;
	std::string name;
};

/* Uses paths that only a private sandbox lets a test replace. */
class Surroundings : public SystemTest
{
      protected:
	void SetUp() override
	{
		const char *sandbox = getenv("VORLIND_SANDBOX");
		if (!sandbox || strcmp(sandbox, "private") != 0)
			GTEST_SKIP() << "console and sockets of the machine are not for a test";
		SystemTest::SetUp();
		/* A pipe keeps all lines, although the daemon reopens it for each. */
		std::filesystem::remove("/dev/console");
		ASSERT_EQ(mkfifo("/dev/console", 0600), 0);
		console_fd = open("/dev/console", O_RDWR | O_NONBLOCK | O_CLOEXEC);
		log_fd = bound_socket("/dev/log", SOCK_DGRAM);
		std::filesystem::create_directories("/run/vorlind");
		report_fd = bound_socket("/run/vorlind/ac.sock", SOCK_STREAM);
		ASSERT_EQ(listen(report_fd, 16), 0);
	}

	void TearDown() override
	{
		if (console_fd < 0)
			return; /* skipped */
		SystemTest::TearDown();
		close(console_fd);
		close(log_fd);
		close(report_fd);
		std::filesystem::remove("/dev/console");
		std::ofstream("/dev/console") << "";
	}

	/* The traces since the last call; line numbers are N. */
	std::string console() const
	{
		const std::string raw = read_all(console_fd);
		std::string text;

		for (size_t i = 0; i < raw.size(); i++) {
			text += raw[i];
			const size_t end = raw.find_first_not_of("0123456789", i + 1);
			if (raw[i] == '(' && end > i + 1 && end != std::string::npos &&
			    raw[end] == ')') {
				text += "N";
				i = end - 1;
			}
		}
		return text;
	}

	/* The next line of the event log without syslog's prefix; "" if none comes. */
	std::string logged() const
	{
		char text[512] = "";

		if (!readable(log_fd))
			return "";
		const ssize_t length = recv(log_fd, text, sizeof(text) - 1, 0);
		const std::string line(text, static_cast<size_t>(std::max<ssize_t>(length, 0)));
		const size_t at = line.find(": ");
		return at == std::string::npos ? line : line.substr(at + 2);
	}

	/* The next report to the access controller; "" if none comes. */
	std::string reported() const
	{
		if (!readable(report_fd))
			return "";
		const int one = accept4(report_fd, nullptr, nullptr, SOCK_CLOEXEC);
		std::string text;
		char byte;
		while (read(one, &byte, 1) == 1) /* to the end: the daemon closes the connection */
			text += byte;
		close(one);
		return text;
	}

	bool nothing_reported() const
	{
		pollfd one = { report_fd, POLLIN, 0 };
		return poll(&one, 1, 300) == 0;
	}

      private:
	static int bound_socket(const char *path, int type)
	{
		sockaddr_un address = {};
		const int fd = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);

		unlink(path);
		address.sun_family = AF_UNIX;
		strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
		EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
		return fd;
	}

	static bool readable(int fd)
	{
		pollfd one = { fd, POLLIN, 0 };
		return poll(&one, 1, PATIENCE_MS) == 1;
	}

	static std::string read_all(int fd)
	{
		std::string text;
		char some[4096];

		for (ssize_t n; (n = read(fd, some, sizeof(some))) > 0;)
			text.append(some, static_cast<size_t>(n));
		return text;
	}

	int console_fd = -1;
	int log_fd = -1;
	int report_fd = -1;
};

TEST_F(Surroundings, WithoutADebugLevelTheConsoleStaysEmpty)
{
	Line line("ti-06");
	const program daemon = start_daemon();

	say_and_wait(daemon, { "show", "mac" });
	say_and_wait(daemon, { "show", "bogus" });
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_EQ(console(), "");
}

TEST_F(Surroundings, EachCategoryTracesItsOwnLines)
{
	Line line("ti-08");
	const program daemon = start_daemon();

	const auto traced = [&](const std::string &level, const strings &words) {
		say_and_wait(daemon, { "config", "debug-level", level });
		console(); /* drops the traces of the round that sets it */
		say_and_wait(daemon, words);
		return console();
	};
	EXPECT_EQ(traced("2000000", { "show", "bogus" }),
		  "cmd_show(N) WARNING: Invalid option \"bogus\"\n");
	EXPECT_EQ(traced("10", { "show", "mac" }), "_hci_func_read_bd_addr(N) Start...\n"
						   "hci_send_command(N) Start...\n"
						   "hci_send_command(N) length=4\n"
						   "hci_send_command(N) OP Code: 0x1009\n"
						   "hci_send_command(N) write(), length=4\n"
						   "hci_send_command(N) Finished write()\n\n"
						   "hci_receive_event(N) Start...\n"
						   "read_hci_event(N) Start...\n"
						   "ble_select_read(N) Start...\n"
						   "ble_select_read(N) Timeout setting: 5.000000 "
						   "seconds.\n");
	EXPECT_EQ(traced("200000", { "show", "version" }),
		  "run_daemon_task(N) ble_config->opt.status=2, ble_ipc.buf->cmd_doing=1\n"
		  "info_forward_to_ac(N) Start...\n");
	EXPECT_EQ(traced("1000", { "show", "version" }), "bleipc_dolock(N) bleipc_errno=0\n");
	EXPECT_EQ(traced("1000000", { "show", "version" }),
		  "signal_usr1(N) Received signo=10, getpid()=" + std::to_string(daemon.pid) +
			  "\n"
			  "run_daemon_task(N) flag_cmd_change=1\n"
			  "user_cmd_change(N) Start...\n"
			  "user_cmd_change(N) argc=2\n"
			  "user_cmd_change(N) argv[0]=show\n"
			  "user_cmd_change(N) argv[1]=version\n"
			  "cmd_show(N) Start...\n"
			  "cmd_show(N) ble_available=1\n");
	EXPECT_EQ(traced("0", { "show", "mac" }), "");
}

TEST_F(Surroundings, AConsoleThatNobodyReadsIsNotWaitedFor)
{
	Line line("ti-08");
	const Pty terminal; /* its buffer has a few thousand bytes */
	std::filesystem::remove("/dev/console");
	std::filesystem::create_symlink(terminal.name, "/dev/console");
	const program daemon = start_daemon();

	say_and_wait(daemon, { "config", "debug-level", "ffffffff" });
	for (int i = 0; i < 100 && !HasFailure(); i++)
		say_and_wait(daemon, { "show", "mac" });
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}

TEST_F(Surroundings, AnAttachEventIsTracedLoggedAndReported)
{
	auto line = std::make_unique<Line>("ti-08");
	const program daemon = start_daemon();

	EXPECT_EQ(reported(), "state-change\n") << "the loop's start";
	EXPECT_EQ(reported(), "state-change\n") << "the first command";
	say_and_wait(daemon, { "config", "debug-level", "110000" });
	EXPECT_EQ(reported(), "state-change\n");
	console();

	kill(daemon.pid, SIGUSR2);
	EXPECT_EQ(logged(), "BLE device has been connected.") << "though nothing has changed";
	EXPECT_EQ(reported(), "state-change\n");
	EXPECT_EQ(console(), "uevent_change(N) Start...\n"
			     "uevent_change(N) write_to_qvlog()\n"
			     "write_to_qvlog(N) BLE device has been connected.\n");

	line.reset();
	kill(daemon.pid, SIGUSR2);
	EXPECT_EQ(logged(), "BLE device has been disconnected.");
	EXPECT_EQ(reported(), "state-change\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_NONE);
	EXPECT_TRUE(nothing_reported());
}

TEST_F(Surroundings, BeaconsOnTheAirAreReportedOnce)
{
	Line line("ti-06");
	const program daemon = start_daemon();
	beacon_entry &entry = segment->config.beacon[1];

	reported();
	reported();
	memcpy(entry.enable, "1", 2);
	memcpy(entry.uuid, "E2C56DB5DFFB48D2B060D0F5A71096E0", 33);
	say_and_wait(daemon, { "ibeacon", "start" });
	EXPECT_EQ(reported(), "state-change\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_TRUE(nothing_reported());
}

TEST_F(Surroundings, TheAddressOfTheManufacturingDataIsTheControllers)
{
#ifdef VORLIND_SANITIZED
	GTEST_SKIP() << "a sanitizer's library wants to be the first one loaded";
#endif
	Line line("ti-06");
	const std::string mrd = folder + "/mrd";
	std::ofstream(mrd, std::ios::binary) << std::string(232, 'x') << "\x10\x32\x54\x76\x98\xFB";
	setenv("VORLIND_TEST_MRD", mrd.c_str(), 1);
	/* LD_PRELOAD is split at spaces, and the build folder's path may have one. */
	const std::string shim = folder + "/mrd_shim.so";
	std::filesystem::create_symlink(built("tests/libmrd_shim.so"), shim);
	setenv("LD_PRELOAD", shim.c_str(), 1);
	const program daemon = start({ built("vorlind") });
	unsetenv("LD_PRELOAD");
	unsetenv("VORLIND_TEST_MRD");

	strings heard;
	ASSERT_TRUE(comes_true([&] {
		for (const std::string &command : line.heard())
			heard.push_back(command);
		return !heard.empty() && heard.back().starts_with("01 0C FC");
	})) << content_of(daemon.err);
	EXPECT_EQ(heard.back(), "01 0C FC 06 00 99 76 54 32 10");
	segment = attach();
	ASSERT_NE(segment, nullptr);
	EXPECT_TRUE(comes_true([&] { return segment->config.opt.status == BLE_STATUS_AVAILABLE; }));
	EXPECT_STREQ(segment->config.mac, "103254769900");
	EXPECT_TRUE(comes_true(
		[&] { return strcmp(segment->config.beacon[4].mac, "103254769900") == 0; }));
	EXPECT_EQ(content_of(daemon.err), "Start vorlind daemon...\n");
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}
