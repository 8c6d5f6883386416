// SPDX-License-Identifier: Apache-2.0
#include "ble/address.h"

#include "daemon/bleipc.h"
#include "daemon/trace.h"
#include "hci/command_tables.h"
#include "util/text.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

static const char mrd_path[] = "/proc/MRD";
constexpr size_t MRD_BASE = 232; /* the base address, most significant byte first */
constexpr size_t MRD_SIZE = 240; /* all that is read */
constexpr size_t ADDRESS_DIGITS = 12;

/* Add to the last byte; a carry goes on to the byte before, and is dropped at the first. */
static void add_to_address(uint8_t *address, int32_t add)
{
	int32_t carry = add;

	for (int i = 5; i >= 0 && carry != 0; i--) {
		const int32_t sum = address[i] + carry;
		address[i] = static_cast<uint8_t>(sum);
		carry = sum < 256 ? 0 : 1;
	}
}

int32_t read_mrd_mac(int32_t add, char *out)
{
	uint8_t raw[MRD_SIZE] = {}; /* a short read leaves zeros */

	const int fd = open(mrd_path, O_RDONLY);
	if (fd < 0) {
		fprintf(stderr, "Open %s failed.\n", mrd_path);
		return -1;
	}
	const ssize_t length = read(fd, raw, sizeof(raw));
	(void)length; /* a short read is accepted, on purpose */
	close(fd);

	uint8_t *b = raw + MRD_BASE;
	add_to_address(b, add);
	snprintf(out, MRD_MAC_SIZE, "%02X:%02X:%02X:%02X:%02X:%02X", b[0], b[1], b[2], b[3], b[4],
		 b[5]);
	return 0;
}

int32_t write_ble_mac(const char *mac)
{
	char address[MRD_MAC_SIZE] = ""; /* stays empty without manufacturing data */

	TRACE(TRACE_FLOW, "mac=%s\n", mac);
	if (strlen(mac) == ADDRESS_DIGITS) {
		memcpy(address, mac, ADDRESS_DIGITS + 1); /* the characters are not checked */
	} else if (strcmp(mac, "by-mrd") == 0) {
		read_mrd_mac(MRD_BLE_ADDRESS, address);
		remove_char(':', address, address);
		TRACE(TRACE_FLOW, "Got BLE MAC from MRD: %s\n", address);
	} else {
		return -1;
	}

	set_field(ble_config->mac, sizeof(ble_config->mac), address);
	TRACE(TRACE_FLOW, "ble_config->mac=%s\n", address);
	for (beacon_entry &entry : ble_config->beacon)
		set_field(entry.mac, sizeof(entry.mac), address);

	const int32_t status = hci_call(func_set_bdaddr, address);
	if (status != 0)
		fprintf(stderr, "WARNING: func_set_bdaddr() failed, hci_status=0x%x\n", status);
	return status;
}
