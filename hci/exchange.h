// SPDX-License-Identifier: Apache-2.0
/*
 * One exchange with the controller over the HCI UART transport (Bluetooth Core 5.3, Vol 4,
 * Part A): a command packet out, its event packets in.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

/* One HCI command, with the figures of the controller's manual. */
struct hci_command {
	uint16_t opcode;
	uint8_t params;     /* parameter bytes */
	uint8_t event;      /* bytes of the answering event, packet indicator included */
	uint8_t event2 = 0; /* bytes of the second event; 0: none comes */
};

/* A 16-bit parameter, low byte first: { id, LE16(value) }. */
#define LE16(v) static_cast<uint8_t>(v), static_cast<uint8_t>((v) >> 8)

constexpr size_t HCI_EVENT_MAX = 258; /* the reader assumes this size of every buffer */

/*
 * Results here and in all command functions: 0 success; -1 not sent, or no valid event;
 * a positive value is the controller's HCI status.
 */

/* Build `command` with its `params` and send it: 0 or -1. */
int32_t hci_send(const hci_command &command, const void *params);

/*
 * Receive the first event that answers `command`. When one came, whatever its status, at
 * most `command.event` bytes of it are copied to `answer` (null: not wanted); a shorter
 * event leaves the rest of `answer` unchanged.
 */
int32_t hci_receive(const hci_command &command, uint8_t *answer);

/* hci_send, then hci_receive: the whole exchange of a command with one event. */
int32_t hci_run(const hci_command &command, const void *params, uint8_t *answer = nullptr);

/*
 * Write one whole packet, indicator included: 0 or -1. Without a descriptor (ble_fd -1) it
 * writes nothing and returns 0.
 */
int32_t hci_send_command(const uint8_t *packet, size_t length);

/*
 * Read one event into `buffer`, which holds HCI_EVENT_MAX bytes; `length` is only the number
 * of bytes that the trace shows. `event_sequ`: 1 for the event that answers the command, 2 for
 * one that follows. The event's status, or -1.
 */
int32_t hci_receive_event(uint8_t *buffer, size_t length, int32_t event_sequ);

/* Read the bytes of one event from `fd`: its status, or -1. Does not clear `buffer`. */
int32_t read_hci_event(int32_t fd, uint8_t *buffer);

/*
 * Wait at most 5 seconds for `fd`, with the signals of ble_sig_set blocked, then read one
 * byte: 1; 0 for timeout and errors; or read's own negative result.
 */
ssize_t ble_select_read(int32_t fd, uint8_t *buffer);

/* Print bytes to stderr, `per_line` on a line (0 or less: all on one), each after `prefix`. */
void hex_dump(const char *prefix, int32_t per_line, const uint8_t *data, size_t length);
