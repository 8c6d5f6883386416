// SPDX-License-Identifier: Apache-2.0
#include "hci/exchange.h"

#include "daemon/bleipc.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/serial.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/select.h>
#include <unistd.h>

// clang-format off
enum : uint8_t { /* packet indicators and event codes of the transport */
	HCI_COMMAND_PACKET         = 0x01,
	HCI_EVENT_PACKET           = 0x04,
	HCI_EVENT_COMMAND_COMPLETE = 0x0E,
	HCI_EVENT_VENDOR           = 0xFF,
};
// clang-format on

constexpr size_t HEADER = 3; /* of an event: indicator, code, parameter length */

void hex_dump(const char *prefix, int32_t per_line, const uint8_t *data, size_t length)
{
	const size_t width = per_line > 0 ? static_cast<size_t>(per_line) : length;

	for (size_t i = 0; i < length; i++) {
		if (i % width == 0)
			fputs(prefix, stderr);
		fprintf(stderr, "%2.2X ", data[i]);
		if (i % width == width - 1 || i == length - 1)
			fputc('\n', stderr);
	}
}

static void dump_packet(const uint8_t *packet, size_t length)
{
	hex_dump(" ", 16, packet, length);
	fflush(stdout);
}

int32_t hci_send_command(const uint8_t *packet, size_t length)
{
	TRACE(TRACE_HCI, "Start...\n");
	if (ble_fd == -1) {
		TRACE(TRACE_HCI, "Unknown fd\n");
		return 0; /* on purpose: nothing to send to is no error */
	}

	TRACE(TRACE_HCI_TX, "length=%zu\n", length);
	TRACE(TRACE_HCI_TX, "OP Code: 0x%04x\n", packet[1] | packet[2] << 8);
	if (dbg_level & TRACE_HCI_TX)
		dump_packet(packet, length);
	if (ble_config->opt.status == BLE_STATUS_NONE) {
		TRACE(TRACE_HCI_TX, "WARNING: can't send HCI command without BLE device!!\n");
		return -1;
	}

	TRACE(TRACE_HCI_TX, "write(), length=%zu\n", length);
	const ssize_t written = write(ble_fd, packet, length);
	TRACE(TRACE_HCI_TX, "Finished write()\n\n");
	if (written < 0) {
		fputs("WARNING: failed to write HCI command !!\n", stderr);
		return -1;
	}
	if (static_cast<size_t>(written) < length) {
		/* "4 bytes" whatever the length: scripts grep this line. No second write. */
		fprintf(stderr, "WARNING: wanted to write 4 bytes, could only write %zd. Stop\n",
			written);
		return -1;
	}
	return 0;
}

ssize_t ble_select_read(int32_t fd, uint8_t *buffer)
{
	TRACE(TRACE_HCI, "Start...\n");
	if (fd == -1) {
		TRACE(TRACE_HCI, "Unknown fd\n");
		return 0;
	}
	if (fd < 0 || fd >= FD_SETSIZE)
		return 0; /* does not fit into an fd_set */

	fd_set readable;
	FD_ZERO(&readable);
	FD_SET(fd, &readable);
	timeval timeout = { 5, 0 }; /* set for each call: select counts it down */
	TRACE(TRACE_HCI, "Timeout setting: %ld.%06ld seconds.\n", static_cast<long>(timeout.tv_sec),
	      static_cast<long>(timeout.tv_usec));

	/* A command or an attach event must not cut the wait short; it is handled right after. */
	sigprocmask(SIG_BLOCK, &ble_sig_set, nullptr);
	const int ready = select(fd + 1, &readable, nullptr, nullptr, &timeout);
	const int error = errno; /* saved before a handler runs */
	sigprocmask(SIG_UNBLOCK, &ble_sig_set, nullptr);

	if (ready == 0) {
		TRACE(TRACE_HCI, "select() timeout \"%s\".\n", strerror(error));
		return 0;
	}
	if (ready < 0) {
		TRACE(TRACE_HCI, "select() failed \"%s\"\n", strerror(error));
		return 0;
	}
	if (ready != 1 || !FD_ISSET(fd, &readable))
		return 0;
	TRACE(TRACE_HCI_RX, "read()\n");
	return read(fd, buffer, 1);
}

/* Skip bytes up to an event's indicator: true when buffer[0] holds it. */
static bool read_indicator(int32_t fd, uint8_t *buffer)
{
	do {
		const ssize_t n = ble_select_read(fd, buffer);
		TRACE_AS("read_hci_event", __LINE__, TRACE_HCI_RX,
			 "Finished 1st read(nbytes=1), len=%zd, buf[0]=0x%02x\n", n, buffer[0]);
		if (n < 1)
			return false;
	} while (buffer[0] != HCI_EVENT_PACKET);
	return true;
}

/* Read event code and parameter length, which may arrive one at a time: true with both. */
static bool read_header(int32_t fd, uint8_t *buffer, size_t *count)
{
	do {
		const size_t wanted = HEADER - *count;
		TRACE_AS("read_hci_event", __LINE__, TRACE_HCI_RX, "read()\n");
		const ssize_t n = read(fd, buffer + *count, wanted);
		TRACE_AS("read_hci_event", __LINE__, TRACE_HCI_RX,
			 "Finished 2nd read(nbytes=%zu), len=%zd\n", wanted, n);
		if (n < 1)
			return false;
		*count += static_cast<size_t>(n);
	} while (*count < HEADER);
	return true;
}

/* Read the parameters that the header announced, at most 255: true with all of them. */
static bool read_parameters(int32_t fd, uint8_t *buffer, size_t *count)
{
	const size_t whole = HEADER + buffer[2];

	while (*count < whole) {
		const size_t wanted = whole - *count;
		const ssize_t n = read(fd, buffer + *count, wanted);
		TRACE_AS("read_hci_event", __LINE__, TRACE_HCI_RX,
			 "Finished 3rd read(nbytes=%zu), len=%zd\n", wanted, n);
		if (n < 1)
			return false;
		*count += static_cast<size_t>(n);
	}
	return true;
}

/* Read the three parts of an event: its status, or -1. */
static int32_t frame_event(int32_t fd, uint8_t *buffer, size_t *count)
{
	if (!read_indicator(fd, buffer))
		return -1;
	*count = 1;
	if (!read_header(fd, buffer, count))
		return -1;
	/* The rest of any other event stays unread; the next read skips it. */
	if (buffer[1] != HCI_EVENT_COMMAND_COMPLETE && buffer[1] != HCI_EVENT_VENDOR)
		return -1;
	const int is_hci_ext_event = buffer[1] == HCI_EVENT_VENDOR;
	TRACE_AS("read_hci_event", __LINE__, TRACE_HCI_RX, "buf[1]=0x%02x, remain=buf[2]=0x%02x\n",
		 buffer[1], buffer[2]);
	if (!read_parameters(fd, buffer, count))
		return -1;
	TRACE_AS("read_hci_event", __LINE__, TRACE_HCI_RX,
		 "is_hci_ext_event=%d, buf[5]=0x%02x, buf[6]=0x%02x\n", is_hci_ext_event, buffer[5],
		 buffer[6]);
	return is_hci_ext_event ? buffer[5] : buffer[6];
}

int32_t read_hci_event(int32_t fd, uint8_t *buffer)
{
	size_t count = 0;

	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI_RX, "fd=%d\n", fd);
	const int32_t retval = frame_event(fd, buffer, &count);
	TRACE(TRACE_HCI_RX, "count=%zu, return retval=%d\n", count, retval);
	return retval;
}

int32_t hci_receive_event(uint8_t *buffer, size_t length, int32_t event_sequ)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI_RX, "length=%zu, event_sequ=%d\n", length, event_sequ);
	if (ble_config->opt.status == BLE_STATUS_NONE) {
		TRACE(TRACE_HCI_RX, "WARNING: can't read HCI command without BLE device!!\n");
		return -1;
	}

	const int32_t retval = read_hci_event(ble_fd, buffer);
	if (retval < 0)
		fputs("WARNING: failed to read HCI response.\n", stderr);
	else if (dbg_level & TRACE_HCI_RX) {
		const uint8_t *opcode = buffer + (buffer[1] == HCI_EVENT_VENDOR ? 6 : 4);
		if (event_sequ == 1)
			TRACE(TRACE_HCI_RX, "OP Code: 0x%04x\n", opcode[0] | opcode[1] << 8);
		dump_packet(buffer, length);
	}
	TRACE(TRACE_HCI_RX, "Return retval=%d\n\n", retval);
	return retval;
}

int32_t hci_send(const hci_command &command, const void *params)
{
	uint8_t packet[4 + 255] = { HCI_COMMAND_PACKET, LE16(command.opcode), command.params };

	if (command.params > 0)
		memcpy(packet + 4, params, command.params);
	return hci_send_command(packet, size_t{ 4 } + command.params);
}

int32_t hci_receive(const hci_command &command, uint8_t *answer)
{
	uint8_t event[HCI_EVENT_MAX] = {}; /* zeroed: a short event has no status byte */
	const int32_t status = hci_receive_event(event, command.event, 1);

	if (status >= 0 && answer)
		memcpy(answer, event, std::min<size_t>(command.event, HEADER + event[2]));
	return status;
}

int32_t hci_run(const hci_command &command, const void *params, uint8_t *answer)
{
	if (hci_send(command, params) != 0)
		return -1;
	return hci_receive(command, answer);
}
