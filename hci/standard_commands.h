// SPDX-License-Identifier: Apache-2.0
/*
 * The standard HCI commands that the daemon uses (Bluetooth Core 5.3, Vol 4, Part E, 7).
 * Each sends one packet and reads its Command Complete. Results: 0; -1 not sent, or no valid
 * event; a positive HCI status.
 *
 * An event buffer receives the whole event, indicator included; its size is in its name.
 */
#pragma once

#include <cstdint>

/* Sends the same Reset for `type` 0 (hard) and 1 (soft). */
int32_t _hci_func_reset_system_cmd(uint8_t type);

/* Status at 6, HCI version at 7, manufacturer at 11-12. */
int32_t _hci_func_read_local_version_information(uint8_t *event15);

/* Address at 7-12, least significant byte first. */
int32_t _hci_func_read_bd_addr(uint8_t *event13);

/* Non-connectable, all three channels; uses the interval's low 16 bits, in slots of 0.625 ms. */
int32_t _hci_func_le_set_advertising_parameters(uint32_t baseband_slot_interval);

/* Power level in dBm, signed, at 7. */
int32_t _hci_func_le_read_advertising_channel_tx_power(uint8_t *event8);

/* Thirty bytes of payload; the packet's 31st is 0. */
int32_t _hci_func_le_set_advertising_data(const uint8_t *data30);
int32_t _hci_func_le_set_advertise_enable(uint8_t enable); /* 0 off, 1 on */

/* Channel 0 to 39: 2402 MHz and up in steps of 2. Neither test checks its arguments. */
int32_t _hci_func_le_receiver_test(uint8_t channel);
/* `length` bytes in each packet; `data` is the number of their pattern. */
int32_t _hci_func_le_transmitter_test(uint8_t channel, uint8_t length, uint8_t data);

/* Number of received packets at 7-8, low byte first. */
int32_t _hci_func_le_test_end_command(uint8_t *event9);
