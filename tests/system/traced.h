// SPDX-License-Identifier: Apache-2.0
/* Runs vorlinctl and stops it at a system call, or after any instruction. */
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

class traced
{
      public:
	/* Start it, stopped before its first instruction; its output goes to `output`. */
	traced(const std::vector<std::string> &words, const std::string &output);
	~traced();

	/* Continue until it enters or leaves a call with one of these numbers. */
	bool enters(const std::vector<long> &calls);
	bool leaves();

	/* Execute one instruction; false when the process has ended. */
	bool steps();

	/* The number of the call that it is about to make, else -1. */
	long call() const;

	void kills();
	pid_t process() const
	{
		return pid;
	}

	/* Let it run to its end: the exit status, 128 + number if killed by a signal. */
	int ends();

      private:
	bool goes_on(int request);

	pid_t pid;
	int status = 0;
};
