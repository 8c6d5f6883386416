// SPDX-License-Identifier: Apache-2.0
/* The names of the status codes that controllers answer. */
#pragma once

enum hci_code_kind {
	HCI_STANDARD,
	HCI_TI_VENDOR, /* what TI's own commands answer instead */
};

/* "unknown code" for one that has none. */
const char *hci_error_name(int code, hci_code_kind kind);
