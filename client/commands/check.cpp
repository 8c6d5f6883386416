// SPDX-License-Identifier: Apache-2.0
#include "client/commands/check.h"

#include "client/link/proc.h"
#include "client/settings/fields.h"
#include "client/settings/started.h"
#include "client/settings/state.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

constexpr int64_t WORK_TIME = 8000; /* longer than an exchange, which takes five seconds */

static void set_verdict(check *c, exit_status status, const char *format, ...)
	__attribute__((format(printf, 3, 4)));

static void set_verdict(check *c, exit_status status, const char *format, ...)
{
	va_list arguments;

	c->status = status;
	va_start(arguments, format);
	vsnprintf(c->verdict, sizeof(c->verdict), format, arguments);
	va_end(arguments);
}

static void add_reason(check *c, const char *format, ...) __attribute__((format(printf, 2, 3)));

static void add_reason(check *c, const char *format, ...)
{
	va_list arguments;

	if (c->count == sizeof(c->reasons) / sizeof(c->reasons[0]))
		return;
	va_start(arguments, format);
	vsnprintf(c->reasons[c->count++], sizeof(c->reasons[0]), format, arguments);
	va_end(arguments);
}

/* Watch the daemon until it takes commands, hangs, or works for too long. */
static void watch_daemon(check *c)
{
	glance before = glance_at(c->daemon);
	int64_t moved = now();
	const int64_t end = now() + WORK_TIME;

	do {
		const glance seen = glance_at(c->daemon);
		if (!is_stuck(&before, &seen))
			moved = now();
		before = seen;
		c->waits_for = seen.what;
		c->takes_commands = seen.what == PURSUIT_PAUSE || seen.what == PURSUIT_UNKNOWN;
		c->hangs = now() - moved >= STUCK_AFTER;
		if (!c->takes_commands && !c->hangs)
			pause_for(50);
	} while (!c->takes_commands && !c->hangs && now() < end);
}

static bool has_open(pid_t pid, dev_t line)
{
	char path[64];
	struct stat info;
	bool found = false;

	snprintf(path, sizeof(path), "/proc/%d/fd", static_cast<int>(pid));
	DIR *folder = opendir(path);
	if (!folder)
		return false;
	for (const dirent *entry = readdir(folder); entry && !found; entry = readdir(folder)) {
		snprintf(path, sizeof(path), "/proc/%d/fd/%.10s", static_cast<int>(pid),
			 entry->d_name);
		found = stat(path, &info) == 0 && S_ISCHR(info.st_mode) && info.st_rdev == line;
	}
	closedir(folder);
	return found;
}

static void name_holder(check *c, pid_t pid)
{
	c->holder = pid;
	proc_line(pid, "comm", c->holder_name, sizeof(c->holder_name));
}

/* The process that has locked the file: the kernel lists device, inode and process. */
static pid_t lock_owner(const struct stat *line)
{
	char text[128];
	char place[48];
	int owner = 0;
	FILE *locks = fopen("/proc/locks", "re");

	if (!locks)
		return 0;
	snprintf(place, sizeof(place), "%02x:%02x:%lu", major(line->st_dev), minor(line->st_dev),
		 static_cast<unsigned long>(line->st_ino));
	while (owner == 0 && fgets(text, sizeof(text), locks)) {
		int pid;
		char file[48];
		if (sscanf(text, "%*d: FLOCK %*s WRITE %d %47s", &pid, file) == 2 &&
		    strcmp(file, place) == 0)
			owner = pid;
	}
	fclose(locks);
	return owner;
}

static void find_holder(check *c)
{
	struct stat info;

	c->line = find_line();
	if (!c->line || stat(c->line, &info) != 0 || !S_ISCHR(info.st_mode))
		return;
	const pid_t holder = has_open(c->daemon, info.st_rdev) ? c->daemon : lock_owner(&info);
	if (holder > 0)
		name_holder(c, holder);
}

static void judge_no_controller(check *c, uint32_t status)
{
	if (!c->line) {
		set_verdict(c, EXIT_NO_CONTROLLER, "no controller: no serial line is there");
		add_reason(c, "vorlind tries ttyMSM1, ttyBT0, ttyACM0, ttyS1 and ttyUSB0 in /dev");
		return;
	}
	if (c->holder && c->holder != c->daemon) {
		set_verdict(c, EXIT_NO_CONTROLLER,
			    "no controller: %s is held by %s (process id %d)", c->line,
			    c->holder_name, static_cast<int>(c->holder));
		add_reason(c, "end it, then: vorlinctl reset soft");
		return;
	}
	if (status == BLE_STATUS_NONE) {
		set_verdict(c, EXIT_NO_CONTROLLER, "no controller: vorlind has not opened %s",
			    c->line);
		add_reason(c, "if it has come by now: vorlinctl reset soft");
		add_reason(c, "else look who may open it, and at vorlinctl trace flow");
		return;
	}
	if (was_warned(&c->said, "WARNING: do_ble_task() failed!!")) {
		set_verdict(c, EXIT_NO_CONTROLLER,
			    "no usable controller: it has failed while it was in use");
		add_reason(c, "it lost its power, its patch or a byte: vorlinctl reset soft");
		return;
	}
	set_verdict(c, EXIT_NO_CONTROLLER,
		    "no usable controller: nothing that vorlind knows answers on %s", c->line);
	add_reason(c, "a first command that came too early after power-up is lost: vorlinctl "
		      "reset soft");
	add_reason(c, "if that does not help: another baud rate than 115200, wiring, no power");
}

static bool lacks_patch(const warnings *w)
{
	return was_warned(w, "WARNING: func_download_patch_file() failed.") ||
	       was_warned(w, "WARNING: can't find patch file !!");
}

static void add_patch_reason(check *c)
{
	if (lacks_patch(&c->said))
		add_reason(c, "the controller is without its patch");
}

static unsigned long interval_of(const ble_record *record)
{
	char text[FIELD_TEXT];

	return strtoul(bounded_text(record->interval, sizeof(record->interval), text), nullptr, 10);
}

/* The daemon skips a beacon that is on but has no identifier. */
static void tell_beacons_without_uuid(check *c, const ble_record *record)
{
	char text[FIELD_TEXT];

	for (size_t i = 0; i < BLE_BEACONS; i++) {
		const beacon_entry *entry = &record->beacon[i];
		bounded_text(entry->enable, sizeof(entry->enable), text);
		if (strcmp(text, "1") == 0 && !is_active(entry))
			add_reason(c,
				   "beacon %zu is on without a UUID: vorlinctl beacon %zu --uuid "
				   "random",
				   i + 1, i + 1);
	}
}

static const char *const told_by_reset[] = { "interval", "mac", "power-index" };

static void judge_on_air(check *c, const ble_segment *segment)
{
	if (interval_of(&segment->config) > LONGEST_INTERVAL) {
		set_verdict(c, EXIT_REFUSED, "the controller refuses the setting interval %lu",
			    interval_of(&segment->config));
		add_reason(c,
			   "it takes 100 to 10240 milliseconds: vorlinctl set interval 100, then "
			   "reset soft");
		return;
	}
	if (!c->differs) {
		set_verdict(c, EXIT_DONE, "ok: %u beacon%s on the air", c->beacons,
			    c->beacons == 1 ? "" : "s");
		return;
	}
	set_verdict(c, EXIT_REFUSED, "what is set differs from what was started");
	for (size_t i = 0; i < BLE_BEACONS; i++)
		if (beacon_differs(segment, c->daemon, i))
			add_reason(c, "beacon %zu: vorlinctl restart", i + 1);
	for (const char *name : told_by_reset)
		if (setting_differs(segment, c->daemon, name))
			add_reason(c, "%s: vorlinctl reset soft", name);
}

static void judge_available(check *c, const ble_segment *segment)
{
	const uint32_t action = segment->config.opt.action;

	if (c->beacons == 0) {
		set_verdict(c, EXIT_REFUSED, "no beacon is active, so nothing is on the air");
		add_reason(c, "vorlinctl beacon 1 --uuid random on, then start");
	} else if (action == ACTION_START || action == ACTION_RESTART) {
		set_verdict(c, EXIT_REFUSED, "a start is pending, and nothing is on the air");
		add_patch_reason(c);
		add_reason(c, "the first beacon may have its turn just now; else: vorlinctl reset "
			      "soft");
	} else if (started_was_stopped(segment, c->daemon)) {
		set_verdict(c, EXIT_DONE, "ok: stopped, nothing is to be on the air");
	} else {
		set_verdict(c, EXIT_REFUSED, "%u beacon%s set, but never started", c->beacons,
			    c->beacons == 1 ? " is" : "s are");
		add_reason(c, "vorlinctl start");
	}
	tell_beacons_without_uuid(c, &segment->config);
}

static void judge(check *c, const ble_segment *segment)
{
	const uint32_t status = segment->config.opt.status;

	if (c->hangs) {
		set_verdict(c, EXIT_TIMEOUT, "vorlind hangs, waiting for %s",
			    pursuit_text(c->waits_for));
		add_reason(c, "it takes no command, and SIGTERM does not end it; vorlinctl guard "
			      "--restarts does");
	} else if (!c->takes_commands) {
		set_verdict(c, EXIT_REFUSED,
			    "vorlind is at work with the controller, for more than %d seconds",
			    static_cast<int>(WORK_TIME / 1000));
		add_reason(c, "a patch may take so long; a controller that does not answer takes 5 "
			      "seconds for each question");
		add_patch_reason(c);
	} else if (status == BLE_STATUS_TESTING) {
		set_verdict(c, EXIT_REFUSED, "a production test runs, so no beacon is on the air");
		add_reason(c, "vorlinctl test end, then start");
	} else if (status < BLE_STATUS_AVAILABLE) {
		judge_no_controller(c, status);
		add_patch_reason(c);
	} else if (status == BLE_STATUS_ADVERTISING) {
		judge_on_air(c, segment);
	} else {
		judge_available(c, segment);
	}
}

void check_all(check *c, session *s)
{
	*c = {};
	const session_state found = session_try(s);
	if (found != SESSION_OPEN) {
		c->is_hidden = found == SESSION_NOT_ALLOWED;
		set_verdict(c, EXIT_NO_DAEMON, "%s", session_reason(found));
		if (!c->is_hidden)
			add_reason(c, "start it, or look at its messages why it ended");
		return;
	}
	c->is_running = true;
	c->daemon = s->daemon;
	watch_daemon(c);
	find_holder(c);
	for (const beacon_entry &entry : s->segment->config.beacon)
		c->beacons += is_active(&entry) ? 1 : 0;
	c->differs = anything_differs(s->segment, s->daemon);
	read_warnings(&c->said, s->daemon);
	judge(c, s->segment);
	if (!c->said.heard)
		add_reason(c, "vorlind's messages cannot be read, so its warnings are not known");
}
