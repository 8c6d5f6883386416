// SPDX-License-Identifier: Apache-2.0
/* A vorlinctl that is stopped at a system call, or after any instruction. */
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

class traced
{
      public:
	/* Start it, stopped before its first instruction; what it prints goes to `output`. */
	traced(const std::vector<std::string> &words, const std::string &output);
	~traced();

	/* Go on until it enters a call with one of these numbers, or comes back from it. */
	bool enters(const std::vector<long> &calls);
	bool leaves();

	/* One instruction; false when the process has ended. */
	bool steps();

	/* The number of the call that it stands before, -1 between two calls. */
	long call() const;

	void kills();
	pid_t process() const
	{
		return pid;
	}

	/* Let it go on by itself to its end: the exit status, 128 + number if a signal ended it. */
	int ends();

      private:
	bool goes_on(int request);

	pid_t pid;
	int status = 0;
};
