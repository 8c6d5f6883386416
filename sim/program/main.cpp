// SPDX-License-Identifier: Apache-2.0
/* vorlin-sim: a simulated Bluetooth LE controller behind a pseudo-terminal. */
#include "sim/controller/patch.h"
#include "sim/program/command_line.h"
#include "sim/program/remote.h"
#include "sim/program/selftest.h"
#include "sim/program/simulator.h"

#include <cerrno>
#include <cstring>
#include <fstream>

constexpr sim::moment SCAN_TIME = std::chrono::seconds(1);

static int complain(const std::string &problem)
{
	fprintf(stderr, "vorlin-sim: %s\n", problem.c_str());
	return 1;
}

static int write_patch_file(const sim::options &options)
{
	const sim::bytes patch = sim::make_patch(options.patch_size, options.session.seed);
	std::ofstream out(options.made_patch, std::ios::binary);

	out.write(reinterpret_cast<const char *>(patch.data()),
		  static_cast<std::streamsize>(patch.size()));
	out.close();
	return out ? 0 : complain("cannot write " + options.made_patch + ": " + strerror(errno));
}

static int simulate(const sim::options &options)
{
	sim::simulator simulator(options);
	const std::string problem = simulator.open();

	if (!problem.empty())
		return complain(problem);
	return simulator.run() ? 0 : 1;
}

int main(int argc, char **argv)
{
	sim::options options;
	const std::span<const char *const> arguments(argv + 1, static_cast<size_t>(argc - 1));
	const std::string problem = sim::parse_options(arguments, options);

	if (!problem.empty())
		return complain(problem);
	switch (options.what) {
	case sim::verb::help:
		fputs(sim::help_text().c_str(), stdout);
		return 0;
	case sim::verb::help_faults:
		fputs(sim::fault_help().c_str(), stdout);
		return 0;
	case sim::verb::help_quirks:
		fputs(sim::quirk_help().c_str(), stdout);
		return 0;
	case sim::verb::selftest:
		return sim::selftest();
	case sim::verb::scan:
		return sim::remote_scan(options.air, SCAN_TIME);
	case sim::verb::control:
		return sim::remote_control(options.control, options.remote_command);
	case sim::verb::version:
		puts("vorlin-sim " VORLIND_VERSION);
		return 0;
	case sim::verb::make_patch:
		return write_patch_file(options);
	case sim::verb::simulate:
		return simulate(options);
	}
	return 1;
}
