// SPDX-License-Identifier: Apache-2.0
#include "bench/usage.h"

#include "bench/access_point.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

/* The number after a word at the start of a line. */
static double field(const std::string &text, const std::string &word)
{
	const size_t at = ("\n" + text).find("\n" + word);

	if (at == std::string::npos)
		throw std::runtime_error("the kernel does not tell " + word);
	return strtod(text.c_str() + at + word.size(), nullptr);
}

usage usage_of(pid_t pid)
{
	const std::string folder = "/proc/" + std::to_string(pid) + "/";
	const std::string status = content_of(folder + "status");
	const std::string memory = content_of(folder + "smaps_rollup");
	const std::string ranges = content_of(folder + "maps");

	return {
		.cpu_seconds = strtod(content_of(folder + "schedstat").c_str(), nullptr) / 1e9,
		.wakeups = field(status, "voluntary_ctxt_switches:"),
		.resident_kib = field(memory, "Rss:"),
		.share_kib = field(memory, "Pss:"),
		.private_kib = field(memory, "Private_Dirty:"),
		.mappings = static_cast<double>(std::ranges::count(ranges, '\n')),
		.write_calls = field(content_of(folder + "io"), "syscw:"),
	};
}
