// SPDX-License-Identifier: Apache-2.0
/* The names of the controllers' status codes. */
#pragma once

enum hci_code_kind {
	HCI_STANDARD,
	HCI_TI_VENDOR, /* for TI's own commands */
};

/* "unknown code" for a code without a name. */
const char *hci_error_name(int code, hci_code_kind kind);
