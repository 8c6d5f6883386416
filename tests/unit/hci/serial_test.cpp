// SPDX-License-Identifier: Apache-2.0
/* The serial line: which device is opened, its settings, and the state after failures. */
#include "hci/serial.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

class Serial : public DaemonTest
{
      protected:
	void SetUp() override
	{
		DaemonTest::SetUp();
		fake_unplug();
		ble_config->opt.status = 0;
		master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
		ASSERT_GE(master, 0);
		grantpt(master);
		unlockpt(master);
		pty = ptsname(master);
	}

	void TearDown() override
	{
		close(master);
		DaemonTest::TearDown();
	}

	static const std::vector<std::string> all;
	int master = -1;
	std::string pty;
};

const std::vector<std::string> Serial::all = { "/dev/ttyMSM1", "/dev/ttyBT0", "/dev/ttyACM0",
					       "/dev/ttyS1", "/dev/ttyUSB0" };

TEST_F(Serial, WithNoDeviceAllFiveAreTriedInOrderAndTheStatusIs0)
{
	ble_config->opt.status = 3;
	dbg_level = TRACE_WARNING;
	EXPECT_EQ(tty_init(), -1);
	EXPECT_EQ(fake_file_uses, all);
	std::string warnings;
	for (const std::string &path : all)
		warnings += "tty_init(N) WARNING: can't open serial port (" + path +
			    ") for HCI operation\n";
	EXPECT_EQ(without_lines(console()), warnings);
	EXPECT_EQ(ble_fd, -1);
	EXPECT_EQ(ble_config->opt.status, 0U);
}

TEST_F(Serial, TheFirstThatOpensIsUsed)
{
	fake_file("/dev/ttyACM0", pty);
	fake_file("/dev/ttyUSB0", pty);
	EXPECT_EQ(tty_init(), 0);
	EXPECT_EQ(fake_file_uses, std::vector<std::string>(all.begin(), all.begin() + 3));
	EXPECT_GT(ble_fd, 0);
	EXPECT_EQ(ble_config->opt.status, 1U);
}

TEST_F(Serial, TheLineIsRaw115200BaudWithRtsCtsAndLocked)
{
	fake_file("/dev/ttyMSM1", pty);
	ASSERT_EQ(tty_init(), 0);
	termios settings;
	tcgetattr(ble_fd, &settings);
	EXPECT_EQ(settings.c_cflag & 0x80000000, 0x80000000U);
	EXPECT_EQ(settings.c_cflag & 0x800, 0x800U);
	EXPECT_EQ(cfgetispeed(&settings), speed_t{ B115200 });
	EXPECT_EQ(cfgetospeed(&settings), speed_t{ B115200 });
	EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0U);
	EXPECT_EQ(settings.c_iflag & (ICRNL | IXON | ISTRIP), 0U);
	EXPECT_EQ(settings.c_oflag & OPOST, 0U);

	const int other = openat(AT_FDCWD, pty.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
	EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
	EXPECT_EQ(tty_deinit(), 0);
	EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
	close(other);
}

TEST_F(Serial, WhatWasPendingIsDropped)
{
	fake_file("/dev/ttyMSM1", pty);
	const int keeper = openat(AT_FDCWD, pty.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
	termios raw;
	tcgetattr(keeper, &raw);
	cfmakeraw(&raw);
	tcsetattr(keeper, TCSANOW, &raw);
	ASSERT_EQ(write(master, "stale", 5), 5);
	ASSERT_EQ(tty_init(), 0);
	int pending = -1;
	ioctl(ble_fd, FIONREAD, &pending);
	EXPECT_EQ(pending, 0);
	close(keeper);
}

TEST_F(Serial, ALockedDeviceEndsTheSearch)
{
	const std::string second = folder + "/second";
	std::ofstream(second) << "";
	fake_file("/dev/ttyMSM1", pty);
	fake_file("/dev/ttyBT0", second);
	const int other = openat(AT_FDCWD, pty.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
	ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(tty_init(), -1); }), "WARNING: flock failed.\n");
	EXPECT_EQ(fake_file_uses, std::vector<std::string>{ "/dev/ttyMSM1" });
	EXPECT_EQ(ble_fd, -1);
	EXPECT_EQ(ble_config->opt.status, 0U);
	close(other);
}

TEST_F(Serial, ADeviceThatIsNoTerminalEndsTheSearchToo)
{
	const std::string file = folder + "/file";
	std::ofstream(file) << "";
	fake_file("/dev/ttyBT0", file);
	fake_file("/dev/ttyACM0", pty);
	dbg_level = TRACE_FLOW;
	EXPECT_EQ(tty_init(), -1);
	const std::string text = without_lines(console());
	EXPECT_NE(
		text.find(
			"tty_init(N) tcgetattr() failed. Can't get port settings for /dev/ttyBT0\n"
			"tty_deinit(N) ble_config->opt.status=0\n"),
		std::string::npos)
		<< text;
	EXPECT_EQ(fake_file_uses.size(), 2U);
	EXPECT_EQ(ble_fd, -1);
	EXPECT_EQ(ble_config->opt.status, 0U);
}

TEST_F(Serial, ALineThatCannotBeSetEndsTheSearchAtTheStepThatFails)
{
	static const char *const steps[] = {
		"tcsetattr() failed. Can't set port settings for ",
		"tty_set_speed() failed. Can't set initial baud rate for ",
		"tty_set_speed() failed. Can't set actual baud rate for ",
	};

	for (int allowed = 0; allowed < 3; allowed++) {
		SCOPED_TRACE(steps[allowed]);
		fake_file("/dev/ttyS1", pty);
		fake_file("/dev/ttyUSB0", pty);
		fake_refuse("tcsetattr", EIO, allowed);
		dbg_level = TRACE_FLOW;
		fake_file_uses.clear();
		EXPECT_EQ(stderr_of([] { EXPECT_EQ(tty_init(), -1); }), "");
		const std::string text = without_lines(console());
		const size_t at = text.find(std::string("tty_init(N) ") + steps[allowed]);
		ASSERT_NE(at, std::string::npos) << text;
		EXPECT_TRUE(text.substr(at).starts_with(std::string("tty_init(N) ") +
							steps[allowed] + "/dev/ttyS1\n" +
							"tty_deinit(N) ble_config->opt.status=0\n"))
			<< text;
		EXPECT_EQ(fake_file_uses.size(), 4U) << "the next device is not tried";
		EXPECT_EQ(ble_fd, -1);
		EXPECT_EQ(ble_config->opt.status, 0U);
	}
}

TEST_F(Serial, ADescriptor0CountsAsAFailureAndStaysOpen)
{
	const std::string file = folder + "/file";
	std::ofstream(file) << "";
	const int saved = fcntl(0, F_DUPFD_CLOEXEC, 3);
	close(0);
	fake_file("/dev/ttyUSB0", file); /* the last device gets descriptor 0 */
	EXPECT_EQ(tty_init(), -1);
	EXPECT_EQ(ble_fd, 0);
	EXPECT_EQ(fcntl(0, F_GETFD), 0) << "left open";
	EXPECT_EQ(ble_config->opt.status, 0U);
	close(0);

	fake_file_uses.clear();
	fake_file("/dev/ttyMSM1", file); /* the first device gets it: the search goes on */
	fake_file("/dev/ttyBT0", pty);
	EXPECT_EQ(tty_init(), 0);
	EXPECT_EQ(fake_file_uses.size(), 2U);
	tty_deinit();
	dup2(saved, 0);
	close(saved);
}

TEST_F(Serial, DeinitSetsStatus1AlsoWithNothingOpen)
{
	for (const uint32_t status : { 0U, 2U, 5U }) {
		ble_config->opt.status = status;
		EXPECT_EQ(tty_deinit(), 0);
		EXPECT_EQ(ble_config->opt.status, 1U);
		EXPECT_EQ(ble_fd, -1);
	}
}

TEST_F(Serial, TheLowestDescriptorOfALineIsClosedToo)
{
	fflush(stdout);
	const int saved = dup(STDOUT_FILENO);
	ble_fd = STDOUT_FILENO; /* the result of open when standard output was closed */
	EXPECT_EQ(tty_deinit(), 0);
	const bool is_closed = fcntl(STDOUT_FILENO, F_GETFD) < 0;
	dup2(saved, STDOUT_FILENO);
	close(saved);
	EXPECT_TRUE(is_closed);
	EXPECT_EQ(ble_fd, -1);
}

TEST_F(Serial, SetSpeedFailsOnWhatIsNoTerminal)
{
	termios settings = {};
	const int file = openat(AT_FDCWD, "/dev/null", O_RDWR | O_CLOEXEC);

	EXPECT_EQ(tty_set_speed(file, &settings), -1);
	close(file);
	const int line = openat(AT_FDCWD, pty.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
	tcgetattr(line, &settings);
	EXPECT_EQ(tty_set_speed(line, &settings), 0);
	EXPECT_EQ(cfgetospeed(&settings), speed_t{ B115200 });
	EXPECT_EQ(cfgetispeed(&settings), speed_t{ B115200 });
	close(line);
}

TEST_F(Serial, ItsWayIsTraced)
{
	fake_file("/dev/ttyBT0", pty);
	dbg_level = TRACE_FLOW;
	ASSERT_EQ(tty_init(), 0);
	termios settings;
	tcgetattr(ble_fd, &settings);
	std::string text = without_lines(console());
	const size_t flags = text.find("tty_init(N) tty_io.c_cflag=0x");
	EXPECT_EQ(text.substr(0, flags), "tty_init(N) Try to open the interface /dev/ttyMSM1\n"
					 "tty_init(N) Try to open the interface /dev/ttyBT0\n"
					 "tty_init(N) Opened the /dev/ttyBT0 interface, ble_fd=" +
						 std::to_string(ble_fd) + "\n");
	const std::string fd = std::to_string(ble_fd);
	tty_deinit();
	EXPECT_EQ(without_lines(console()), "tty_deinit(N) ble_config->opt.status=1\n"
					    "tty_deinit(N) close(ble_fd=" +
						    fd + ")\n");
	fake_files_clear();
	tty_init();
	text = without_lines(console());
	EXPECT_NE(text.find("tty_deinit(N) ble_config->opt.status=1\n"
			    "ble_chip_init(N) Can't initialize tty device.\n"),
		  std::string::npos);
}
