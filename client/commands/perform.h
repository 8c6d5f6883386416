// SPDX-License-Identifier: Apache-2.0
/* One command of the daemon from its words to its outcome. */
#pragma once

#include "client/cli/command.h"
#include "client/link/hci_errors.h"
#include "client/link/messages.h"
#include "client/link/session.h"

constexpr int64_t USUAL_TIMEOUT = 15000;
constexpr int64_t RESET_TIMEOUT = 60000; /* a controller may load its patch anew */

struct task {
	command_words words;
	bool needs_controller;
	bool has_result;      /* a line of the daemon's; with it the command is done */
	bool shows_in_status; /* how it went; otherwise only the daemon's messages tell */
	const char *failure;  /* what its own failure is known by; null: any warning */
	hci_code_kind codes;
	int64_t usual_timeout;
	/* When the work that a command leaves to the beacon task is over; may be null. */
	bool (*settled)(const ble_segment *segment);
	/* Changes to make with the command, under the same lock; may be null. */
	bool (*edit)(ble_record *record, void *context);
	void *context;
	uint32_t pending_action; /* to leave with it for the beacon task; 0: none */
};

/* A task of these words with the usual timeout, for any state of the controller. */
task task_of(int count, const char *const *words);

/* While beacons are on the air a command waits for one dwell, and its end for another. */
int64_t dwells(const ble_record *record);

/* A session for a request, the time limit stretched by the dwells that a command may wait. */
exit_status open_for(session *s, const request *r, int64_t usual_timeout);

/*
 * Carry it out: results go to stdout, or with `json` nowhere, but always to `end`. A refusal
 * is complained about, with the controller's code and its name.
 */
exit_status perform(session *s, const task *t, bool json, outcome *end);

/* Change the record under the lock, without a command. EXIT_USAGE: `edit` would not. */
exit_status change_record(session *s, bool (*edit)(ble_record *record, void *context),
			  void *context);

/* Open, perform, close: how the last of them ended that was reached. */
exit_status perform_request(const request *r, const task *t, outcome *end);
