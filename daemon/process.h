// SPDX-License-Identifier: Apache-2.0
/* Processes by name: the single-instance check, signalling, and two small file helpers. */
#pragma once

#include <cstdint>

/*
 * Ask pidof whether this is the only process called `name`: 0 it is; 1 another one runs, or
 * pidof does not print exactly this process's id; -1 pidof could not be run.
 */
int32_t is_daemon_exist(const char *name);

/*
 * Signal the first process that pidof lists for `name`, which may have any length: 0, also when
 * there is no such process; -1 pidof could not be run.
 */
int32_t send_signal_to_process(const char *name, int sig_num);

/* Write the own process id, without newline: 0, or -1 when `path` cannot be opened. */
int32_t write_pid_file(const char *path);

/* 1: `path` exists and has content; 0: it is empty; -1: it cannot be examined. */
int32_t file_has_content(const char *path);
