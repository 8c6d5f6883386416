// SPDX-License-Identifier: Apache-2.0
#include "client/link/hci_errors.h"

#include <cstddef>

// clang-format off
static const char *const standard_names[] = { /* from code 0x00 on */
	"Success",
	"Unknown HCI Command",
	"Unknown Connection Identifier",
	"Hardware Failure",
	"Page Timeout",
	"Authentication Failure",
	"PIN or Key Missing",
	"Memory Capacity Exceeded",
	"Connection Timeout",
	"Connection Limit Exceeded",
	"Synchronous Connection Limit Exceeded",
	"Connection Already Exists",
	"Command Disallowed",
	"Connection Rejected: Limited Resources",
	"Connection Rejected: Security Reasons",
	"Connection Rejected: Unacceptable Address",
	"Connection Accept Timeout Exceeded",
	"Unsupported Feature or Parameter Value",
	"Invalid HCI Command Parameters",
	"Remote User Terminated Connection",
	"Remote Device Terminated Connection: Low Resources",
	"Remote Device Terminated Connection: Power Off",
	"Connection Terminated by Local Host",
	"Repeated Attempts",
	"Pairing Not Allowed",
	"Unknown LMP PDU",
	"Unsupported Remote Feature",
	"SCO Offset Rejected",
	"SCO Interval Rejected",
	"SCO Air Mode Rejected",
	"Invalid LMP or LL Parameters",
	"Unspecified Error",
	"Unsupported LMP or LL Parameter Value",
	"Role Change Not Allowed",
	"LMP or LL Response Timeout",
	"LMP or LL Collision",
	"LMP PDU Not Allowed",
	"Encryption Mode Not Acceptable",
	"Link Key Cannot Be Changed",
	"Requested QoS Not Supported",
	"Instant Passed",
	"Pairing with Unit Key Not Supported",
	"Different Transaction Collision",
};

static const struct {
	int code;
	const char *name;
} vendor_names[] = {
	{ 0x01, "Failure" },
	{ 0x02, "Invalid Parameter" },
	{ 0x03, "Invalid Task" },
	{ 0x11, "Not Available" },
	{ 0x12, "Wrong Role or Mode, or Invalid Parameter" },
};
// clang-format on

const char *hci_error_name(int code, hci_code_kind kind)
{
	if (kind == HCI_TI_VENDOR)
		for (const auto &row : vendor_names)
			if (row.code == code)
				return row.name;
	if (code < 0 || static_cast<size_t>(code) >= sizeof(standard_names) / sizeof(char *))
		return "unknown code";
	return standard_names[code];
}
