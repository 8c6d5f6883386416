// SPDX-License-Identifier: Apache-2.0
/* The command metrics: the state of an access point for a monitoring system; sends no command.
 */
#include "client/cli/command.h"
#include "client/cli/output.h"
#include "client/commands/guard.h"
#include "client/link/health.h"
#include "client/link/proc.h"
#include "client/link/session.h"
#include "client/settings/controller_info.h"
#include "client/settings/fields.h"
#include "client/settings/state.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

static void begin_metric(FILE *out, const char *name, const char *help)
{
	fprintf(out, "# HELP vorlin_%s %s\n# TYPE vorlin_%s gauge\n", name, help, name);
}

static void print_metric(FILE *out, const char *name, const char *help, unsigned value)
{
	begin_metric(out, name, help);
	fprintf(out, "vorlin_%s %u\n", name, value);
}

/* One sample for each name; 1 for the current one. */
static void print_states(FILE *out, const char *name, const char *help, uint32_t code,
			 const char *(*name_of)(uint32_t), uint32_t last)
{
	begin_metric(out, name, help);
	for (uint32_t i = 0; i <= last; i++)
		if (strcmp(name_of(i), "unknown") != 0)
			fprintf(out, "vorlin_%s{%s=\"%s\"} %d\n", name, name, name_of(i),
				i == code);
}

static void print_controller(FILE *out, const ble_segment *segment)
{
	controller_info info;

	if (!read_controller(segment, &info))
		return;
	begin_metric(out, "controller_info", "Which controller is attached; always 1.");
	fprintf(out,
		"vorlin_controller_info{kind=\"%s\",hci_version=\"%u\",hci_revision=\"0x%04X\","
		"manufacturer=\"%s\"} 1\n",
		info.kind, info.hci_version, info.hci_revision, info.manufacturer_name);
}

/* From the 22nd field of /proc/PID/stat, the start in ticks since boot; -1 if unknown. */
static double seconds_since_start(pid_t pid)
{
	char text[512];
	unsigned long long ticks;
	timespec uptime;

	proc_line(pid, "stat", text, sizeof(text));
	const char *behind_name = strrchr(text, ')');
	if (!behind_name || clock_gettime(CLOCK_BOOTTIME, &uptime) != 0 ||
	    sscanf(behind_name,
		   ") %*c %*s %*s %*s %*s %*s %*s %*s %*s %*s"
		   " %*s %*s %*s %*s %*s %*s %*s %*s %*s %llu",
		   &ticks) != 1)
		return -1;
	return static_cast<double>(uptime.tv_sec) + static_cast<double>(uptime.tv_nsec) / 1e9 -
	       static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

static unsigned count_active(const ble_record *record)
{
	unsigned count = 0;

	for (const beacon_entry &entry : record->beacon)
		count += is_active(&entry);
	return count;
}

static void print_daemon(FILE *out, const session *s)
{
	const ble_record *record = &s->segment->config;
	pursuit what;

	print_states(out, "status", "What the controller does.", record->opt.status, status_name,
		     BLE_STATUS_TESTING);
	print_states(out, "action", "What vorlind is to do with the beacons.", record->opt.action,
		     action_name, ACTION_TEST);
	print_metric(out, "beacons_active", "Beacons that a start puts on the air.",
		     count_active(record));
	print_metric(out, "hung", "Whether vorlind hangs.",
		     stays_stuck(s->daemon, STUCK_AFTER, &what));
	print_metric(out, "guard_steps", "Steps that the guard took for this daemon, modulo 256.",
		     guard_steps(s->segment));
	const double age = seconds_since_start(s->daemon);
	if (age >= 0) {
		begin_metric(out, "daemon_uptime_seconds", "Seconds since vorlind was started.");
		fprintf(out, "vorlin_daemon_uptime_seconds %.0f\n", age);
	}
	print_controller(out, s->segment);
}

exit_status run_metrics(request *r)
{
	session s;

	if (r->argc > 0)
		return bad_usage("metrics", "\"%.60s\" is too much: it takes no arguments",
				 r->argv[0]);
	const session_state found = session_try(&s);
	if (found != SESSION_OPEN)
		complain("%s", session_reason(found));
	if (found == SESSION_NOT_ALLOWED) /* it is unknown whether it is up */
		return EXIT_NO_DAEMON;
	FILE *out = text_output();
	print_metric(out, "up", "Whether a vorlind serves its clients.", found == SESSION_OPEN);
	if (found == SESSION_OPEN)
		print_daemon(out, &s);
	fputs("# EOF\n", out);
	session_close(&s);
	return found == SESSION_OPEN ? EXIT_DONE : EXIT_NO_DAEMON;
}
