// SPDX-License-Identifier: Apache-2.0
/* One command for the daemon, from its words to its outcome. */
#pragma once

#include "client/cli/command.h"
#include "client/link/hci_errors.h"
#include "client/link/messages.h"
#include "client/link/session.h"

constexpr int64_t USUAL_TIMEOUT = 15000;
constexpr int64_t RESET_TIMEOUT = 60000; /* enough for a patch download */

struct task {
	command_words words;
	bool needs_controller;
	bool has_result;      /* the daemon prints a result line, with which it is done */
	bool shows_in_status; /* the status shows the outcome; else only the messages do */
	const char *failure;  /* the message of its own failure; null: any warning */
	hci_code_kind codes;
	int64_t usual_timeout;
	/* True when the beacon task that the command starts is done; may be null. */
	bool (*settled)(const ble_segment *segment);
	/* Makes changes with the command, under the same lock; may be null. */
	bool (*edit)(ble_record *record, void *context);
	void *context;
	uint32_t pending_action; /* the beacon task to set with it; 0: none */
};

/* A task of these words with the default timeout, for any state of the controller. */
task task_of(int count, const char *const *words);

/* While beacons rotate, a command waits for one dwell, and its end for another. */
int64_t dwells(const ble_record *record);

/* Open a session for a request; adds the dwells to the time limit. */
exit_status open_for(session *s, const request *r, int64_t usual_timeout);

/*
 * Carry it out. Results go to `end`, and without `json` also to stdout. Complains about a
 * refusal with the controller's code and its name.
 */
exit_status perform(session *s, const task *t, bool json, outcome *end);

/* Change the record under the lock, without a command. EXIT_USAGE: `edit` refused. */
exit_status change_record(session *s, bool (*edit)(ble_record *record, void *context),
			  void *context);

/* Open, perform, close; returns the status of the last step that was reached. */
exit_status perform_request(const request *r, const task *t, outcome *end);
