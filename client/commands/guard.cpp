// SPDX-License-Identifier: Apache-2.0
#include "client/commands/guard.h"

#include "client/cli/output.h"
#include "client/settings/fields.h"
#include "client/settings/started.h"
#include "client/settings/state.h"

#include <csignal>
#include <cstdlib>

// clang-format off
constexpr int64_t END_AFTER       = 5000;   /* SIGTERM waits for a running exchange */
constexpr int64_t FIRST_PAUSE     = 5000;
constexpr int64_t LONGEST_PAUSE   = 300000;
constexpr int64_t COMMAND_TIME    = 10000;  /* then other clients may have the turn */
constexpr int64_t LOCK_TIME       = 2000;
constexpr int64_t FIRST_DWELL     = 5000;   /* plus the interval: the longest start */
constexpr int     ANSWERS_TIME    = 300;
constexpr unsigned RESETS_BEFORE_CLEARING = 2;
constexpr unsigned STEPS_BEFORE_GROWTH    = 2; /* so that the line is cleared early */
// clang-format on

unsigned guard_steps(const ble_segment *segment)
{
	return static_cast<unsigned char>(segment->config.reserved);
}

static bool is_wanted(const ble_record *record)
{
	return (record->opt.action == ACTION_START || record->opt.action == ACTION_RESTART) &&
	       has_active_beacon(record);
}

/* The status is 2 until the end of the first beacon's dwell. */
static int64_t longest_start(const ble_record *record)
{
	char text[FIELD_TEXT];
	const long dwell =
		strtol(bounded_text(record->interval, sizeof(record->interval), text), nullptr, 10);

	return FIRST_DWELL + (dwell > 0 ? dwell : 0);
}

static trouble judge_status(guard_memory *memory, const ble_record *record)
{
	const uint32_t status = record->opt.status;

	if (status != BLE_STATUS_AVAILABLE)
		memory->available = 0;
	else if (memory->available == 0)
		memory->available = now();
	if (memory->last.what != PURSUIT_PAUSE && memory->last.what != PURSUIT_UNKNOWN)
		return TROUBLE_UNSEEN;
	if (!is_wanted(record) || status == BLE_STATUS_ADVERTISING)
		return TROUBLE_NONE;
	if (status == BLE_STATUS_AVAILABLE && now() - memory->available < longest_start(record))
		return TROUBLE_UNSEEN;
	return find_line() ? TROUBLE_STATUS : TROUBLE_NO_LINE;
}

trouble guard_look(guard_memory *memory, const session *s)
{
	const glance seen = glance_at(s->daemon);

	if (s->daemon != memory->daemon || !is_stuck(&memory->last, &seen))
		memory->moved = now();
	if (s->daemon != memory->daemon) {
		memory->was_asked = false;
		memory->resets = 0;
	}
	memory->daemon = s->daemon;
	memory->last = seen;
	/* Never interfere with a production test. */
	if (s->segment->config.opt.status == BLE_STATUS_TESTING)
		return TROUBLE_NONE;
	/* A daemon that got SIGTERM must end. */
	if (memory->was_asked || now() - memory->moved >= STUCK_AFTER)
		return TROUBLE_STUCK;
	return judge_status(memory, &s->segment->config);
}

/* Record a step: the next pause is longer. */
static void note_step(guard_memory *memory, ble_segment *segment)
{
	memory->steps++;
	memory->next_step = now() + memory->pause;
	if (memory->steps >= STEPS_BEFORE_GROWTH)
		memory->pause =
			2 * memory->pause < LONGEST_PAUSE ? 2 * memory->pause : LONGEST_PAUSE;
	segment->config.reserved = static_cast<char>(segment->config.reserved + 1);
}

/* Send the command, unless the situation has changed when the guard gets the turn. */
static bool command(guard_memory *memory, session *s, const command_words *words,
		    bool (*still)(const ble_record *))
{
	s->deadline = now() + LOCK_TIME;
	if (session_lock(s) != EXIT_DONE)
		return false;
	if (!still(&s->segment->config)) {
		session_unlock(s);
		return false;
	}
	started_adopt(s->segment, s->daemon);
	started_note_command(s->segment, words);
	memory->turn_until = now() + COMMAND_TIME;
	return session_send(s, words);
}

void guard_give_turn(guard_memory *memory, session *s)
{
	if (memory->turn_until != 0)
		session_give_turn(s);
	memory->turn_until = 0;
}

bool guard_is_commanding(guard_memory *memory, session *s)
{
	if (memory->turn_until == 0)
		return false;
	if (!session_is_through(s) && session_alive(s) && now() < memory->turn_until)
		return true;
	guard_give_turn(memory, s);
	return false;
}

static bool is_off_the_air(const ble_record *record)
{
	return is_wanted(record) && record->opt.status != BLE_STATUS_ADVERTISING &&
	       record->opt.status != BLE_STATUS_TESTING;
}

/* Only after a soft and a hard reset have failed: it disturbs a controller that answers late. The
 * answers to the Resets must be gone before the daemon sends a command. */
static void clear_line(const session *s)
{
	if (send_resets(s->daemon))
		pause_for(ANSWERS_TIME);
}

static void reset(guard_memory *memory, session *s)
{
	const uint32_t status = s->segment->config.opt.status;
	/* Alternate: a hard one does not help a controller that loses bytes after its power-up. */
	const char *kind = memory->resets % 2 == 0 ? "soft" : "hard";
	const command_words words = { 3, { "config", "ble-reset", kind } };

	if (memory->resets >= RESETS_BEFORE_CLEARING && status < BLE_STATUS_AVAILABLE)
		clear_line(s);
	if (!command(memory, s, &words, is_off_the_air))
		return;
	complain("guard: the beacons are not on the air (status %s): reset %s, step %u",
		 status_name(status), kind, memory->steps + 1);
	memory->resets++;
	note_step(memory, s->segment);
}

static void end_stuck(guard_memory *memory, session *s, const guard_options *options)
{
	const char *waits_for = pursuit_text(memory->last.what);

	if (!options->restarts) {
		complain("guard: vorlind hangs, waiting for %s; nobody starts it again, so it is "
			 "left alone",
			 waits_for);
		note_step(memory, s->segment);
	} else if (!memory->was_asked) {
		complain("guard: vorlind hangs, waiting for %s: SIGTERM, step %u", waits_for,
			 memory->steps + 1);
		memory->was_asked = session_alive(s) && kill(s->daemon, SIGTERM) == 0;
		note_step(memory, s->segment);
		memory->next_step = now() + END_AFTER;
	} else {
		complain("guard: vorlind hangs on: SIGKILL, step %u", memory->steps + 1);
		if (session_alive(s))
			kill(s->daemon, SIGKILL);
		note_step(memory, s->segment);
	}
}

static void all_is_well(guard_memory *memory, const session *s)
{
	if (memory->steps > 0 && s->segment->config.opt.status == BLE_STATUS_ADVERTISING)
		complain("guard: the beacons are on the air again");
	memory->steps = 0;
	memory->resets = 0;
	memory->pause = FIRST_PAUSE;
	memory->said_no_line = false;
}

static bool is_on_the_air(const ble_record *record)
{
	return is_wanted(record) && record->opt.status == BLE_STATUS_ADVERTISING;
}

/* Any command works: the daemon then restarts its beacons, which fails with a dead controller.
 */
static void probe(guard_memory *memory, session *s, int64_t every)
{
	static const command_words words = { 2, { "show", "mac" } };

	if (now() < memory->next_probe)
		return;
	memory->next_probe = now() + every;
	if (is_on_the_air(&s->segment->config))
		command(memory, s, &words, is_on_the_air);
}

void guard_act(guard_memory *memory, session *s, trouble what, const guard_options *options)
{
	if (memory->pause == 0)
		memory->pause = FIRST_PAUSE;
	switch (what) {
	case TROUBLE_NONE:
		all_is_well(memory, s);
		if (options->probe > 0)
			probe(memory, s, options->probe);
		break;
	case TROUBLE_UNSEEN:
		break;
	case TROUBLE_NO_LINE:
		if (!memory->said_no_line)
			complain("guard: there is no serial line: waiting for one");
		memory->said_no_line = true;
		memory->next_step = 0; /* a new trouble gets a step at once */
		memory->pause = FIRST_PAUSE;
		break;
	case TROUBLE_STATUS:
		if (now() >= memory->next_step)
			reset(memory, s);
		break;
	case TROUBLE_STUCK:
		if (now() >= memory->next_step)
			end_stuck(memory, s, options);
		break;
	}
}
