// SPDX-License-Identifier: Apache-2.0
#include "hci/serial.h"

#include "daemon/bleipc.h"
#include "daemon/trace.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

int32_t ble_fd = -1;

// clang-format off
static const char *const serial_devices[] = { /* tried in this order */
	"/dev/ttyMSM1",
	"/dev/ttyBT0",
	"/dev/ttyACM0",
	"/dev/ttyS1",
	"/dev/ttyUSB0",
};
// clang-format on

/* Open the first device that opens: its path, or null. */
static const char *open_first_device()
{
	for (const char *path : serial_devices) {
		TRACE_AS("tty_init", __LINE__, TRACE_FLOW, "Try to open the interface %s\n", path);
		ble_fd = open(path, O_RDWR | O_NOCTTY);
		/* Descriptor 0 counts as a failure and stays open: both on purpose. */
		if (ble_fd > 0)
			return path;
		TRACE_AS("tty_init", __LINE__, TRACE_WARNING,
			 "WARNING: can't open serial port (%s) for HCI operation\n", path);
	}
	return nullptr;
}

int32_t tty_set_speed(int32_t fd, termios *tio)
{
	if (cfsetospeed(tio, B115200) < 0 || cfsetispeed(tio, B115200) < 0)
		return -1;
	return tcsetattr(fd, TCSANOW, tio) < 0 ? -1 : 0;
}

/* Lock the open line and make it raw: 0 or -1. `path` is for the messages. */
static int32_t configure_line(const char *path)
{
	termios tty_io;

	if (flock(ble_fd, LOCK_EX | LOCK_NB) < 0) {
		fputs("WARNING: flock failed.\n", stderr);
		return -1;
	}
	tcflush(ble_fd, TCIOFLUSH);
	if (tcgetattr(ble_fd, &tty_io) < 0) {
		TRACE_AS("tty_init", __LINE__, TRACE_FLOW,
			 "tcgetattr() failed. Can't get port settings for %s\n", path);
		return -1;
	}
	cfmakeraw(&tty_io);
	tty_io.c_cflag |= CRTSCTS | CLOCAL;
	TRACE_AS("tty_init", __LINE__, TRACE_FLOW, "tty_io.c_cflag=0x%x\n", tty_io.c_cflag);
	if (tcsetattr(ble_fd, TCSANOW, &tty_io) < 0) {
		TRACE_AS("tty_init", __LINE__, TRACE_FLOW,
			 "tcsetattr() failed. Can't set port settings for %s\n", path);
		return -1;
	}
	/* The initial and the actual rate are the same today; both stages are kept. */
	if (tty_set_speed(ble_fd, &tty_io) < 0) {
		TRACE_AS("tty_init", __LINE__, TRACE_FLOW,
			 "tty_set_speed() failed. Can't set initial baud rate for %s\n", path);
		return -1;
	}
	tcflush(ble_fd, TCIOFLUSH);
	if (tty_set_speed(ble_fd, &tty_io) < 0) {
		TRACE_AS("tty_init", __LINE__, TRACE_FLOW,
			 "tty_set_speed() failed. Can't set actual baud rate for %s\n", path);
		return -1;
	}
	return 0;
}

int32_t tty_deinit()
{
	TRACE(TRACE_FLOW, "ble_config->opt.status=%d\n", static_cast<int>(ble_config->opt.status));

	if (ble_fd > 0) {
		flock(ble_fd, LOCK_UN);
		TRACE(TRACE_FLOW, "close(ble_fd=%d)\n", ble_fd);
		close(ble_fd);
		ble_fd = -1;
	}
	ble_config->opt.status = BLE_STATUS_UNCONFIRMED; /* also if no line was open */
	return 0;
}

int32_t tty_init()
{
	const char *path = open_first_device();

	if (path)
		TRACE(TRACE_FLOW, "Opened the %s interface, ble_fd=%d\n", path, ble_fd);
	/* A device that opens but fails later ends the search: the next is not tried. */
	if (!path || configure_line(path) != 0) {
		tty_deinit();
		ble_config->opt.status = BLE_STATUS_NONE;
		TRACE_AS("ble_chip_init", __LINE__, TRACE_FLOW, "Can't initialize tty device.\n");
		return -1;
	}
	ble_config->opt.status = BLE_STATUS_UNCONFIRMED;
	return 0;
}
