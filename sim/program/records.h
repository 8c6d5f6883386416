// SPDX-License-Identifier: Apache-2.0
/* The output of a run: the display and the files. */
#pragma once

#include "sim/output/air_log.h"
#include "sim/output/capture.h"
#include "sim/output/live_view.h"
#include "sim/program/options.h"

#include <memory>

namespace sim
{

class records
{
      public:
	explicit records(const options &settings);

	/* Opens the files; returns a fault or an empty text. */
	std::string open();

	/* Prints the first line of the run. */
	void begin(const std::string &title);
	void note(const record &what);

	/* Shows changes that only depend on time. */
	void tick(moment now);
	std::optional<moment> next() const;

	/* Writes the last picture and the report; false when any record could not be written. */
	bool finish(moment now);

      private:
	struct file_closer {
		void operator()(FILE *file) const
		{
			fclose(file);
		}
	};
	using file = std::unique_ptr<FILE, file_closer>;

	bool shows_changes() const;
	void write_patch(const bytes &patch);
	void write_report(moment now);
	void complain(const std::string &problem);
	void check_output();
	void show_change(const record &what);
	void draw(moment now);

	const options m_options;
	const bool m_is_terminal;
	const colours m_colours;
	const letters m_letters;
	std::string m_title;
	air_log m_air_log;
	timeline m_timeline;
	capture m_capture;
	std::vector<std::string> m_problems; /* each is printed once */
	std::vector<file> m_logs;
	capture::wall_time m_start;
	moment m_next_view = {};
};

} // namespace sim
