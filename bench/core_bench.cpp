// SPDX-License-Identifier: Apache-2.0
/* The cost of the daemon's own code, without the line and without sleeps. */
#include "ble/beacon.h"
#include "daemon/bleipc.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/command_tables.h"
#include "hci/exchange.h"
#include "hci/serial.h"
#include "platform/device_libs.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

constexpr size_t EVENTS_IN_MEMORY = 4096;
constexpr int32_t EMPTY_SLOT = 3; /* of the command tables: every step is skipped */

static ble_segment segment;

/* Instead of the library's: the cost of a report is not the daemon's. */
int init_domain_socket(void)
{
	return -1;
}

static void without_controller()
{
	ble_ipc.buf = &segment;
	ble_config = &segment.config;
	ble_config->opt.status = BLE_STATUS_AVAILABLE;
	ble_fd = -1;
	dbg_level = 0;
	hci_ver_index = EMPTY_SLOT;
}

/* A descriptor that is always ready and repeats a vendor event of `length` bytes. */
static int events_in_memory(size_t length)
{
	std::vector<uint8_t> event(length, 0);
	const int fd = memfd_create("events", MFD_CLOEXEC);

	event[0] = 0x04;
	event[1] = 0xFF;
	event[2] = static_cast<uint8_t>(length - 3);
	for (size_t i = 0; i < EVENTS_IN_MEMORY; i++)
		if (write(fd, event.data(), length) != static_cast<ssize_t>(length))
			return -1;
	return fd;
}

/* Includes the waits and reads for a line: see system_calls_of_an_event. */
static void read_events(benchmark::State &state)
{
	const auto length = static_cast<size_t>(state.range(0));
	const int fd = events_in_memory(length);
	uint8_t event[HCI_EVENT_MAX];
	size_t left = 0;

	without_controller();
	for (auto _ : state) {
		if (left == 0) {
			lseek(fd, 0, SEEK_SET);
			left = EVENTS_IN_MEMORY;
		}
		left--;
		if (read_hci_event(fd, event) != 0)
			state.SkipWithError("an event was not read");
	}
	state.SetItemsProcessed(state.iterations());
	state.SetBytesProcessed(state.iterations() * state.range(0));
	close(fd);
}
BENCHMARK(read_events)->Arg(7)->Arg(47)->Arg(HCI_EVENT_MAX);

/* The same six system calls without framing: the kernel's share of an event. */
static void system_calls_of_an_event(benchmark::State &state)
{
	const auto length = static_cast<size_t>(state.range(0));
	const int fd = events_in_memory(length);
	uint8_t event[HCI_EVENT_MAX];
	size_t left = 0;

	for (auto _ : state) {
		if (left == 0) {
			lseek(fd, 0, SEEK_SET);
			left = EVENTS_IN_MEMORY;
		}
		left--;
		fd_set readable;
		FD_ZERO(&readable);
		FD_SET(fd, &readable);
		timeval timeout = { 5, 0 };
		sigprocmask(SIG_BLOCK, &ble_sig_set, nullptr);
		select(fd + 1, &readable, nullptr, nullptr, &timeout);
		sigprocmask(SIG_UNBLOCK, &ble_sig_set, nullptr);
		if (read(fd, event, 1) != 1 || read(fd, event + 1, 2) != 2 ||
		    read(fd, event + 3, length - 3) != static_cast<ssize_t>(length - 3))
			state.SkipWithError("an event was not read");
	}
	state.SetItemsProcessed(state.iterations());
	close(fd);
}
BENCHMARK(system_calls_of_an_event)->Arg(7)->Arg(47)->Arg(HCI_EVENT_MAX);

/* Without an open line a packet is built but not written. */
static void build_packets(benchmark::State &state)
{
	const hci_command command = { 0xFE07, 32, 9, 7 };
	const uint8_t params[32] = { 1, 30 };

	without_controller();
	for (auto _ : state)
		benchmark::DoNotOptimize(hci_send(command, params));
	state.SetItemsProcessed(state.iterations());
}
BENCHMARK(build_packets);

static void write_packets(benchmark::State &state)
{
	const hci_command command = { 0xFE07, 32, 9, 7 };
	const uint8_t params[32] = { 1, 30 };

	without_controller();
	ble_fd = memfd_create("line", MFD_CLOEXEC);
	for (auto _ : state) {
		lseek(ble_fd, 0, SEEK_SET);
		benchmark::DoNotOptimize(hci_send(command, params));
	}
	state.SetItemsProcessed(state.iterations());
	close(ble_fd);
	ble_fd = -1;
}
BENCHMARK(write_packets);

/* A start of five beacons up to the end of the first dwell, which takes no time here. */
static void build_five_payloads(benchmark::State &state)
{
	without_controller();
	strcpy(ble_config->interval, "0");
	for (beacon_entry &entry : ble_config->beacon) {
		strcpy(entry.enable, "1");
		strcpy(entry.prefix, "0201061AFF4C000215");
		strcpy(entry.uuid, "E2C56DB5DFFB48D2B060D0F5A71096E0");
		strcpy(entry.major, "4660");
		strcpy(entry.minor, "22136");
		strcpy(entry.measured_power, "202");
	}
	flag_cmd_change = 1; /* ends the rotation after the first beacon */
	for (auto _ : state)
		if (do_beacon_advertising(ACTION_START) != 0)
			state.SkipWithError("the beacons were not started");
	flag_cmd_change = 0;
	state.SetItemsProcessed(state.iterations() * 5);
}
BENCHMARK(build_five_payloads);

static void trace_with_the_mask_off(benchmark::State &state)
{
	without_controller();
	for (auto _ : state) {
		TRACE(TRACE_FLOW, "interval=%ld\n", static_cast<long>(state.iterations()));
		benchmark::ClobberMemory(); /* forces a new read of the mask */
	}
	state.SetItemsProcessed(state.iterations());
}
BENCHMARK(trace_with_the_mask_off);

static void trace_with_the_mask_on(benchmark::State &state)
{
	without_controller();
	trace_console = "/dev/null";
	dbg_level = TRACE_FLOW;
	for (auto _ : state)
		TRACE(TRACE_FLOW, "interval=%d\n", 100);
	dbg_level = 0;
	state.SetItemsProcessed(state.iterations());
}
BENCHMARK(trace_with_the_mask_on);

BENCHMARK_MAIN();
