// SPDX-License-Identifier: Apache-2.0
/*
 * The shared segment, byte for byte: the contract between vorlind and its clients. Keys,
 * layout, and the values of its words; native byte order, 32-bit words. Valid C as well: it is
 * installed for other programs that talk to the daemon.
 */
#pragma once

#include <assert.h>
#include <stdalign.h>
#include <stddef.h>
#include <stdint.h>

// clang-format off
enum {
	BLE_SEM_KEY  = 0x0ABCD001, /* one semaphore; 1: unlocked */
	BLE_SHM_KEY  = 0x0ABCD002,
	BLE_IPC_MODE = 0600,       /* the daemon's own user only */
};

enum { /* opt.status; 2 and more: a usable controller */
	BLE_STATUS_NONE        = 0, /* no serial link */
	BLE_STATUS_UNCONFIRMED = 1, /* link open or just closed, or a task failed */
	BLE_STATUS_AVAILABLE   = 2,
	BLE_STATUS_ADVERTISING = 3,
	BLE_STATUS_TESTING     = 5, /* production test; 4 is not used */
};

enum { /* opt.action: the pending beacon task */
	ACTION_NONE    = 0,
	ACTION_STOP    = 1,
	ACTION_START   = 2,
	ACTION_RESTART = 3,
	ACTION_TEST    = 4, /* only sets BLE_STATUS_TESTING */
};

#define BLE_BEACONS   ((size_t)5)
#define BLE_WORDS     ((size_t)21) /* whole argv slots in the command area */
#define BLE_WORD_SIZE ((size_t)64)
// clang-format on

/* Settings are text that a correct client ends with NUL; "NONE" means not set. */
struct beacon_entry {
	char id[3];
	char enable[2]; /* "1": advertise */
	char option[3];
	char type[33];
	char interval[6];
	char mac[13];
	char prefix[19]; /* 18 hexadecimal digits: the first 9 bytes of the payload */
	char uuid[33];   /* 32 hexadecimal digits, or "NONE" */
	char major[6];
	char minor[6];
	char measured_power[4]; /* decimal; "NONE" fills it without a NUL */
};

struct ble_record {
	struct {
		volatile uint32_t action;
		uint32_t unused;
		volatile uint32_t status;
	} opt;
	char interval[6]; /* decimal milliseconds */
	char mac[13];     /* 12 hexadecimal digits, or "NONE": keep the controller's own */
	char measured_power[4];
	char power_index[4]; /* a level, or "max" */
	struct beacon_entry beacon[BLE_BEACONS];
	char reserved;
};

struct ble_command_area {
	volatile int32_t argc;
	char argv[BLE_WORDS][BLE_WORD_SIZE]; /* the daemon interprets words 0 to 4 */
	char rest[24];
};

struct ble_segment {
	uint32_t unused;             /* the client's; the daemon never touches it */
	volatile uint32_t cmd_doing; /* set by the client, 0 again when its command is done */
	struct ble_command_area cmd;
	uint8_t info[40]; /* who the controller is, below */
	struct ble_record config;
};

/*
 * For a word that a process on another core waits for: store it after the data that it announces,
 * load it before them. On AArch64 each is one instruction, stlr and ldar. The str and ldr of a
 * volatile word may be reordered: a client could see the word before the data.
 */
static inline void store_release(volatile uint32_t *word, uint32_t value)
{
	__atomic_store_n(word, value, __ATOMIC_RELEASE);
}

static inline uint32_t load_acquire(const volatile uint32_t *word)
{
	return __atomic_load_n(word, __ATOMIC_ACQUIRE);
}

// clang-format off
enum { /* offsets in `info` */
	INFO_USED_CHIP = 0,  /* 32-bit word: 1 TI 06, 2 TI 08, 3 Qualcomm */
	INFO_VERSION   = 4,  /* Read Local Version Information event, 15 bytes */
	INFO_REVISION  = 19, /* TI build revision event, 12 bytes */
};
// clang-format on

/* Not packed: the natural layout gives every offset, and words stay atomic. */
#define AT(type, member, offset) \
	static_assert(offsetof(type, member) == (offset), #type "." #member " has moved")
AT(struct beacon_entry, id, 0);
AT(struct beacon_entry, enable, 3);
AT(struct beacon_entry, option, 5);
AT(struct beacon_entry, type, 8);
AT(struct beacon_entry, interval, 41);
AT(struct beacon_entry, mac, 47);
AT(struct beacon_entry, prefix, 60);
AT(struct beacon_entry, uuid, 79);
AT(struct beacon_entry, major, 112);
AT(struct beacon_entry, minor, 118);
AT(struct beacon_entry, measured_power, 124);
AT(struct ble_record, opt.action, 0);
AT(struct ble_record, opt.unused, 4);
AT(struct ble_record, opt.status, 8);
AT(struct ble_record, interval, 12);
AT(struct ble_record, mac, 18);
AT(struct ble_record, measured_power, 31);
AT(struct ble_record, power_index, 35);
AT(struct ble_record, beacon, 39);
AT(struct ble_record, reserved, 679);
AT(struct ble_segment, unused, 0);
AT(struct ble_segment, cmd_doing, 4);
AT(struct ble_segment, cmd, 8);
AT(struct ble_segment, cmd.argc, 8);
AT(struct ble_segment, cmd.argv, 12);
AT(struct ble_segment, cmd.argv[4], 268);
AT(struct ble_segment, info, 1380);
AT(struct ble_segment, config, 1420);
#undef AT
static_assert(sizeof(struct beacon_entry) == 128, "an entry");
static_assert(alignof(struct beacon_entry) == 1, "entries begin anywhere");
static_assert(sizeof(struct ble_command_area) == 1372, "the command");
static_assert(sizeof(struct ble_record) == 680, "settings and status");
static_assert(sizeof(struct ble_segment) == 2100, "the segment");
