// SPDX-License-Identifier: Apache-2.0
/*
 * The vendor commands of the Qualcomm controller: its patch and its address. Results: 0;
 * -1 not sent, or no valid event; a positive HCI status.
 */
#pragma once

#include <cstdint>

/*
 * Send the patch file "mpnv10.bin" of the current directory, else of the firmware folder, in
 * segments, and wait 1.5 s. -1 after a message to stderr without a usable file; else 0, or the
 * result of the first segment that failed.
 */
int32_t _hci_func_download_patch_file_qualcomm();

/* One segment of 1 to 243 bytes. */
int32_t _hci_func_download_patch_segment_qualcomm(const uint8_t *segment_ptr, uint8_t segment_size);

/* Twelve hexadecimal digits, most significant pair first; sent in the same order. */
int32_t _hci_func_set_bdaddr_qualcomm(const char *address);
