// SPDX-License-Identifier: Apache-2.0
#include "daemon/interpreter.h"

#include "ble/address.h"
#include "ble/chip.h"
#include "ble/interval.h"
#include "ble/ptm.h"
#include "daemon/bleipc.h"
#include "daemon/trace.h"
#include "hci/command_tables.h"
#include "util/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

/* From the first word to the end of the command area: as far as an unterminated word runs. */
constexpr size_t WORD_MAX = sizeof(ble_command_area) - offsetof(ble_command_area, argv);
constexpr size_t WORDS_READ = 5;

/* A copy of the words, made when the command was taken: the client may write at any time. */
static int32_t argc;
static char argv[WORDS_READ][WORD_MAX + 1];

/* A handler's result for arguments that it refuses; never leaves this file. */
constexpr int32_t BAD_ARGUMENT = INT32_MIN;

constexpr uint8_t GAP_PARAM_MAX = 103;
constexpr uint16_t GAP_VALUE_MAX = 65534;
constexpr int32_t INTERVAL_MIN = 100; /* milliseconds */
constexpr int32_t INTERVAL_MAX = 65534;

static const char *read_word(char *text, size_t i)
{
	const char *area = reinterpret_cast<const char *>(ble_ipc.cmd);
	const size_t start = i * BLE_WORD_SIZE;

	return copy_field(text, area + offsetof(ble_command_area, argv) + start, WORD_MAX - start);
}

static void take_command()
{
	argc = ble_ipc.cmd->argc;
	for (size_t i = 0; i < WORDS_READ; i++)
		read_word(argv[i], i);
}

/* The client may write any `argc`: traces at most the words that have a slot. */
static void trace_command()
{
	char text[WORD_MAX + 1];

	TRACE_AS("user_cmd_change", __LINE__, TRACE_FLOW, "argc=%d\n", argc);
	for (int32_t i = 0; i < argc && i < static_cast<int32_t>(BLE_WORDS); i++)
		TRACE_AS("user_cmd_change", __LINE__, TRACE_FLOW, "argv[%d]=%s\n", i,
			 read_word(text, static_cast<size_t>(i)));
}

static int32_t number(size_t i)
{
	return is_decimal_text(argv[i]);
}

static bool controller_usable()
{
	return ble_config->opt.status >= BLE_STATUS_AVAILABLE;
}

/* How "show" and "config" end: `result` is 0, -1 for a bad word, or the controller's status. */
static void command_ends(const char *function, int line, int32_t result)
{
	TRACE_AS(function, line, TRACE_FLOW, "ble_available=%d\n", controller_usable());
	if (result == 0)
		return;
	if (result != -1)
		fprintf(stderr, "WARNING: HCI run failed (error code: 0x%x)\n",
			static_cast<unsigned>(result));
	else if (!controller_usable())
		TRACE_AS(function, line, TRACE_WARNING,
			 "WARNING: can't do this command without BLE device!!\n");
	else /* reports a transport failure as well, on purpose */
		TRACE_AS(function, line, TRACE_WARNING, "WARNING: Invalid option \"%s\"\n",
			 argv[1]);
}

/* An event begins with its indicator. A buffer without it was not written: empty slot. */
static bool was_answered(const uint8_t *event)
{
	return event[0] != 0;
}

static int32_t show_mac()
{
	uint8_t event[13] = {};
	const int32_t status = hci_call(func_read_bd_addr, event);

	if (status != 0) {
		TRACE_AS("cmd_show", __LINE__, TRACE_WARNING,
			 "WARNING: func_read_bd_addr() failed.\n");
	} else if (!was_answered(event)) {
		fputs("WARNING: func_read_bd_addr() failed.\n", stderr);
	} else {
		uint8_t *address = event + 7;
		reverse_addr_bytes(address);
		fprintf(stderr, "BLE MAC Address: %02X%02X%02X%02X%02X%02X\n", address[0],
			address[1], address[2], address[3], address[4], address[5]);
	}
	return status;
}

static int32_t show_txpower()
{
	uint8_t event[8] = {};
	const int32_t status = hci_call(func_le_read_advertising_channel_tx_power, event);

	if (status != 0)
		TRACE_AS("cmd_show", __LINE__, TRACE_WARNING,
			 "WARNING: func_le_read_advertising_channel_tx_power() failed.\n");
	else if (!was_answered(event))
		fputs("WARNING: func_le_read_advertising_channel_tx_power() failed.\n", stderr);
	else
		fprintf(stderr, "BLE TX Power Setting: 0x%X\n", event[7]);
	return status;
}

static int32_t show_gap_param()
{
	uint8_t event[11] = {};
	const auto id = static_cast<uint8_t>(number(2)); /* cut before the check: 256 is 0 */

	if (id > GAP_PARAM_MAX) {
		TRACE_AS("cmd_show", __LINE__, TRACE_WARNING,
			 "WARNING: func_gap_get_param() failed.\n");
		return -1;
	}
	const int32_t status = hci_call(func_gap_get_param, id, event);
	if (status != 0)
		TRACE_AS("cmd_show", __LINE__, TRACE_WARNING,
			 "WARNING: func_gap_get_param() failed.\n");
	else if (!was_answered(event))
		fputs("WARNING: func_gap_get_param() failed.\n", stderr);
	else
		fprintf(stderr, "GAP Param ID: %d, Value: %d\n", id, event[9] | event[10] << 8);
	return status;
}

struct show_option {
	const char *word;
	int32_t argc; /* matched together with the word */
	int32_t (*run)();
};

// clang-format off
static const show_option show_options[] = {
	/* word         argc  handler */
	{ "mac",          2,  show_mac },
	{ "txpower",      2,  show_txpower },
	{ "gap-param",    3,  show_gap_param },
};
// clang-format on

static int32_t show_value()
{
	for (const show_option &option : show_options)
		if (argc == option.argc && strcmp(argv[1], option.word) == 0)
			return option.run();
	return -1;
}

void cmd_show()
{
	TRACE(TRACE_FLOW, "Start...\n");

	int32_t result = -1;
	if (strcmp(argv[1], "version") == 0) { /* with any argc, and without a controller */
		/* the utility's version, which clients know; no release changes it */
		fprintf(stderr, "BLE configuration utility: %s\n", "0.3.0");
		result = 0;
	} else if (controller_usable()) {
		result = show_value();
	}
	command_ends(__func__, __LINE__, result);
}

static int32_t config_debug_level()
{
	dbg_level = static_cast<uint32_t>(strtoll(argv[2], nullptr, 16));
	TRACE_AS("cmd_config", __LINE__, TRACE_FLOW, "dbg_level=0x%x\n", dbg_level);
	return 0;
}

static int32_t config_ble_reset()
{
	if (strcmp(argv[2], "hard") == 0)
		return ble_chip_init(CHIP_INIT_HARD);
	if (strcmp(argv[2], "soft") == 0)
		return ble_chip_init(CHIP_INIT_SOFT);
	return BAD_ARGUMENT;
}

static int32_t config_receiver_test()
{
	return ble_ptm_test(PTM_ACTION_RECEIVER, static_cast<uint8_t>(number(2)), 0, 0);
}

static int32_t config_transmitter_test()
{
	return ble_ptm_test(PTM_ACTION_TRANSMITTER, static_cast<uint8_t>(number(2)),
			    static_cast<uint8_t>(number(3)), static_cast<uint8_t>(number(4)));
}

static int32_t config_test_end()
{
	return ble_ptm_test(PTM_ACTION_END, 0, 0, 0);
}

static int32_t config_gap_param()
{
	/* Cut before the check, on purpose: a non-number (-1) becomes 255 or 65535. */
	const auto id = static_cast<uint8_t>(number(2));
	const auto value = static_cast<uint16_t>(number(3));

	if (id > GAP_PARAM_MAX || value > GAP_VALUE_MAX)
		return BAD_ARGUMENT;
	return hci_call(func_gap_set_param, id, value);
}

static int32_t config_mac()
{
	return write_ble_mac(argv[2]);
}

static int32_t config_txpower_index()
{
	return hci_call(func_ext_set_tx_power_cmd, argv[2]);
}

static int32_t config_interval()
{
	const int32_t interval = number(2);

	if (interval < INTERVAL_MIN || interval > INTERVAL_MAX)
		return BAD_ARGUMENT;
	return set_tgap_disc_adv_int(static_cast<uint16_t>(interval));
}

struct config_option {
	const char *word;
	int32_t argc; /* matched together with the word */
	bool needs_controller;
	int32_t (*run)();
	const char *failure; /* whole line for stderr, or null */
};

// clang-format off
static const config_option config_options[] = {
	/* word                  argc  controller  handler                  failure text */
	{ "debug-level",           3,   false,     config_debug_level,      nullptr },
	{ "ble-reset",             3,   false,     config_ble_reset,        nullptr },
	{ "le-receiver-test",      3,   true,      config_receiver_test,    "WARNING: ble_ptm_test(PTM_ACTION_RECEIVER) failed.\n" },
	{ "le-transmitter-test",   5,   true,      config_transmitter_test, "WARNING: ble_ptm_test(PTM_ACTION_TRANSMITTER) failed.\n" },
	{ "le-test-end",           2,   true,      config_test_end,         "WARNING: ble_ptm_test(PTM_ACTION_END) failed.\n" },
	{ "gap-param",             4,   true,      config_gap_param,        "WARNING: func_gap_set_param() failed.\n" },
	{ "mac",                   3,   true,      config_mac,              "WARNING: write_ble_mac() failed\n" },
	{ "txpower-index",         3,   true,      config_txpower_index,    "WARNING: func_ext_set_tx_power_cmd() failed.\n" },
	{ "interval",              3,   true,      config_interval,         "WARNING: set_tgap_disc_adv_int() failed.\n" },
};
// clang-format on

static const config_option *find_config_option()
{
	for (const config_option &option : config_options)
		if (argc == option.argc && strcmp(argv[1], option.word) == 0)
			return &option;
	return nullptr;
}

void cmd_config()
{
	TRACE(TRACE_FLOW, "Start...\n");

	const config_option *option = find_config_option();
	int32_t result = BAD_ARGUMENT;

	if (option && (!option->needs_controller || controller_usable()))
		result = option->run();
	if (result == BAD_ARGUMENT)
		result = -1;
	else if (result != 0 && option->failure)
		fputs(option->failure, stderr);
	command_ends(__func__, __LINE__, result);
}

void cmd_ibeacon()
{
	TRACE(TRACE_FLOW, "Start...\n");

	if (ble_config->opt.status == BLE_STATUS_TESTING) {
		TRACE(TRACE_WARNING,
		      "WARNING: can't change BLE behavior in PTM mode, we will end the PTM test\n");
		if (ble_ptm_test(PTM_ACTION_END, 0, 0, 0) != 0) {
			fputs("WARNING: ble_ptm_test(PTM_ACTION_END) failed.\n", stderr);
			ble_config->opt.status = BLE_STATUS_UNCONFIRMED;
			return;
		}
		ble_config->opt.status = BLE_STATUS_AVAILABLE;
	}

	/* The task stays pending until the event loop finds a usable controller. */
	int32_t action = ACTION_NONE;
	if (strcmp(argv[1], "stop") == 0)
		action = ACTION_STOP;
	else if (strcmp(argv[1], "start") == 0)
		action = ACTION_START;
	else if (strcmp(argv[1], "restart") == 0)
		action = ACTION_RESTART;
	ble_config->opt.action = static_cast<uint32_t>(action);
}

static void not_implemented()
{
	fputs("Not implemented yet\n", stderr);
}

struct command {
	const char *word;
	void (*run)();
};

// clang-format off
static const command commands[] = {
	{ "show",      cmd_show },
	{ "config",    cmd_config },
	{ "hcicmd",    not_implemented },
	{ "ibeacon",   cmd_ibeacon },
	{ "eddystone", not_implemented },
};
// clang-format on

static const command *find_command()
{
	for (const command &candidate : commands)
		if (strcmp(argv[0], candidate.word) == 0)
			return &candidate;
	return nullptr;
}

void user_cmd_change()
{
	TRACE(TRACE_FLOW, "Start...\n");

	if (bleipc_dolock(&ble_ipc.sem) < 0) {
		fputs("user_cmd_change() failed.\n", stderr);
		return;
	}
	take_command();
	trace_command();
	const command *found = find_command();
	if (found)
		found->run();
	bleipc_unlock(&ble_ipc.sem);
	if (!found)
		fputs("user_cmd_change() failed.\n", stderr);
}
