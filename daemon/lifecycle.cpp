// SPDX-License-Identifier: Apache-2.0
#include "daemon/lifecycle.h"

#include "ble/address.h"
#include "daemon/bleipc.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "util/text.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

void open_closed_outputs()
{
	for (int fd = 1; fd <= 2; fd++) { /* standard output, standard error */
		if (fcntl(fd, F_GETFD) >= 0)
			continue;
		const int null = open("/dev/null", O_WRONLY);
		if (null < 0 || null == fd)
			continue;
		/* Standard input is closed too and stays so: the serial line may get its 0. */
		dup2(null, fd);
		close(null);
	}
}

struct signal_row {
	int signo;
	void (*handler)(int);
};

// clang-format off
static const signal_row signal_rows[] = {
	{ SIGINT,  signal_daemon_quit },
	{ SIGTERM, signal_daemon_quit },
	{ SIGUSR1, signal_usr1 },
	{ SIGUSR2, signal_usr2 },
	{ SIGPIPE, SIG_IGN }, /* the reader of standard error may end before the daemon does */
};
// clang-format on

int32_t system_data_init()
{
	int32_t result = 0;

	for (const signal_row &row : signal_rows)
		if (signal(row.signo, row.handler) == SIG_ERR)
			result = -1;
	if (result != 0)
		fprintf(stderr, "%s: Error on catching signal.\n", "vorlind");
	sigemptyset(&ble_sig_set);
	sigaddset(&ble_sig_set, SIGUSR1);
	sigaddset(&ble_sig_set, SIGUSR2);
	if (result != 0)
		fputs("system_data_init() failed\n", stderr);
	return result;
}

static void init_entry(beacon_entry *entry, int id)
{
	const char text[] = { static_cast<char>('0' + id), '\0' };

	set_field(entry->id, sizeof(entry->id), text);
	set_field(entry->enable, sizeof(entry->enable), "0");
	set_field(entry->option, sizeof(entry->option), "0");
	set_field(entry->type, sizeof(entry->type), "ibeacon");
	set_field(entry->interval, sizeof(entry->interval), "100");
	set_field(entry->mac, sizeof(entry->mac), "NONE");
	set_field(entry->prefix, sizeof(entry->prefix), "0201061AFF4C000215");
	set_field(entry->uuid, sizeof(entry->uuid), "NONE");
	set_field(entry->major, sizeof(entry->major), "0");
	set_field(entry->minor, sizeof(entry->minor), "0");
	set_field(entry->measured_power, sizeof(entry->measured_power), "202");
}

void ble_data_init()
{
	char mac[MRD_MAC_SIZE] = ""; /* stays empty without manufacturing data */

	TRACE(TRACE_FLOW, "Start...\n");
	set_field(ble_config->interval, sizeof(ble_config->interval), "100");
	read_mrd_mac(MRD_BLE_ADDRESS, mac);
	remove_char(':', mac, mac);
	TRACE(TRACE_FLOW, "Got BLE MAC from MRD: %s\n", mac);
	set_field(ble_config->mac, sizeof(ble_config->mac), mac);
	set_field(ble_config->measured_power, sizeof(ble_config->measured_power), "202");
	set_field(ble_config->power_index, sizeof(ble_config->power_index), "max");
	for (size_t i = 0; i < BLE_BEACONS; i++)
		init_entry(&ble_config->beacon[i], static_cast<int>(i) + 1);
}
