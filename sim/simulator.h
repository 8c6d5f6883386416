// SPDX-License-Identifier: Apache-2.0
/* The running program: the line, the session and all records, turned by one loop. */
#pragma once

#include "sim/air_log.h"
#include "sim/line.h"
#include "sim/options.h"

#include <cstdio>
#include <memory>

namespace sim
{

class simulator
{
      public:
	explicit simulator(const options &settings);

	/* Opens everything; what is wrong, or nothing. */
	std::string open();

	/* Runs until a signal or the end of its time. */
	void run();

      private:
	struct file_closer {
		void operator()(FILE *file) const
		{
			fclose(file);
		}
	};
	using file = std::unique_ptr<FILE, file_closer>;

	moment now() const;
	void note(const record &what);
	void write_patch(const bytes &patch);
	void take_from_host();
	void give_to_host();
	moment wait_until() const;
	bool wait();

	options m_options;
	session m_session;
	line m_line;
	timeline m_timeline;
	air_log m_air_log;
	std::vector<file> m_logs;
	bytes m_unsent;
	std::chrono::steady_clock::time_point m_start;
	int m_signals = -1;
};

} // namespace sim
