// SPDX-License-Identifier: Apache-2.0
/*
 * A controller that is a list of answers. Each command is followed by its events, so the answers
 * can be queued before the command, without a thread.
 */
#pragma once

#include <string>

/* ble_fd becomes one end of a socket pair. */
void fake_plug();

/* Queue bytes for the daemon to read: "04 0E 04 01 03 0C 00 | 04 FF ..."; '|' only separates. */
void fake_answers(const std::string &hex);

/* Close the far end: reads end, writes fail. */
void fake_hang_up();

/* All bytes that the daemon has written since the last call, "01 03 0C 00" in upper case. */
std::string fake_heard();

/* The number of bytes that the daemon has not read. */
size_t fake_unread();

/* Close both ends; ble_fd becomes -1. */
void fake_unplug();
