// SPDX-License-Identifier: Apache-2.0
#include "client/link/advice.h"

#include "client/link/proc.h"

#include <cstring>
#include <sys/stat.h>

constexpr long TAIL = 65536; /* bytes to read at the end of the messages */

// clang-format off
static const struct {
	const char *warning; /* the beginning of its text */
	const char *advice;
} advices[] = {
	{ "user_cmd_change() failed.",                    "an unknown command: look at the client" },
	{ "WARNING: HCI run failed",                      "the controller refused with this code" },
	{ "WARNING: do_ble_task() failed!!",              "reset the controller: vorlinctl reset soft" },
	{ "WARNING: func_set_advertising_data() failed.", "vorlinctl reset soft" },
	{ "WARNING: func_set_advertise_enable(1) failed.", "without its patch the controller refuses; vorlinctl reset soft" },
	{ "WARNING: func_le_set_advertising_parameters()", "the interval is not for this controller: vorlinctl set interval 100" },
	{ "WARNING: func_gap_set_param() failed.",        "the interval or the GAP parameter is not for this controller" },
	{ "WARNING: func_ext_set_tx_power_cmd() failed.", "the power index is max, 0 to 3 (ti-06) or 0 to 12 (ti-08)" },
	{ "WARNING: func_le_receiver_test() failed.",     "another test may run: vorlinctl test end" },
	{ "WARNING: func_le_transmitter_test() failed.",  "another test may run: vorlinctl test end" },
	{ "WARNING: func_le_test_end_command() failed.",  "most often no test runs" },
	{ "WARNING: write_ble_mac() failed",              "an address has 12 hexadecimal digits" },
	{ "run_daemon_task(",                             "a client has left a task that does not exist: vorlinctl stop" },
	{ "WARNING: flock failed.",                       "another program holds the serial line: end it, then vorlinctl reset soft" },
	{ "WARNING: failed to write HCI command !!",      "the line is gone: plug the controller in again" },
	{ "WARNING: wanted to write",                     "if it comes again look at the wiring (CTS)" },
	{ "WARNING: failed to read HCI response.",        "check the wiring, 115200 baud, and the controller's power" },
	{ "WARNING: func_reset_system_cmd() failed.",     "vorlinctl reset hard, or the controller's power" },
	{ "WARNING: hci_fun_set_bdaddr() failed.",        "set an address, or NONE: vorlinctl set mac NONE" },
	{ "WARNING: can't find patch file !!",            "install it under /lib/firmware/IPQ5018" },
	{ "WARNING: can't open patch file",               "install the patch anew" },
	{ "WARNING: can't read patch file",               "install the patch anew" },
	{ "WARNING: Invalid patch file",                  "it is something else: install the patch" },
	{ "WARNING: can't malloc memory for patch file",  "the device is out of memory, or the file is no patch" },
	{ "WARNING: patch download failed",               "the patch is for another controller, or the line loses bytes" },
	{ "WARNING: func_download_patch_file() failed.",  "remove the cause, then vorlinctl reset soft" },
};
// clang-format on

static bool begins_with(const char *line, const char *text)
{
	return strncmp(line, text, strlen(text)) == 0;
}

const char *advice_for(const char *warning)
{
	for (const auto &row : advices)
		if (begins_with(warning, row.warning))
			return row.advice;
	return "";
}

bool was_warned(const warnings *w, const char *text)
{
	for (size_t i = 0; i < w->count; i++)
		if (begins_with(w->text[i], text))
			return true;
	return false;
}

static void drop(warnings *w, size_t i)
{
	memmove(w->text[i], w->text[i + 1], (w->count - i - 1) * WARNING_SIZE);
	w->count--;
}

/* A repeated warning counts as the newest; the oldest is dropped for a new one. */
static void add(warnings *w, const char *line)
{
	char text[WARNING_SIZE];

	snprintf(text, sizeof(text), "%.*s", static_cast<int>(strcspn(line, "\n")), line);
	for (size_t i = 0; i < w->count; i++) {
		if (strcmp(w->text[i], text) == 0) {
			drop(w, i);
			break;
		}
	}
	if (w->count == WARNINGS)
		drop(w, 0);
	memcpy(w->text[w->count++], text, sizeof(text));
}

void read_warnings(warnings *w, pid_t daemon)
{
	char line[512];
	struct stat info;
	FILE *file = nullptr;
	char path[48];

	*w = {};
	snprintf(path, sizeof(path), "/proc/%d/fd/2", static_cast<int>(daemon));
	if (stat(path, &info) == 0 && S_ISREG(info.st_mode))
		file = fopen(path, "re");
	if (!file)
		return;
	w->heard = true;
	if (info.st_size > TAIL)
		fseek(file, -TAIL, SEEK_END);
	while (fgets(line, sizeof(line), file)) {
		if (begins_with(line, "Start vorlind daemon..."))
			w->count = 0; /* earlier ones are of another daemon */
		else if (begins_with(line, "WARNING: ") || advice_for(line)[0])
			add(w, line);
	}
	fclose(file);
}
