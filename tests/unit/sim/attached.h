// SPDX-License-Identifier: Apache-2.0
/* A simulated controller on a serial line, with a clock that only the test moves. */
#pragma once

#include "sim/program/session.h"
#include "tests/unit/sim/talk.h"

#include <algorithm>

using namespace std::chrono_literals;
using sim::happened;
using sim::moment;

/* A session whose time passes only when a test says so. */
class attached
{
      public:
	explicit attached(const char *kind, std::vector<std::string> faults = {}, uint32_t baud = 0,
			  uint32_t quirks = 0)
	    : session(settings(kind, std::move(faults), baud, quirks),
		      [this](const sim::record &what) { records.push_back(what); })
	{
	}

	static sim::session_settings settings(const char *kind, std::vector<std::string> faults,
					      uint32_t baud, uint32_t quirks)
	{
		sim::session_settings result;
		result.controller = settings_named(kind);
		result.controller.quirks = quirks;
		result.baud = baud;
		result.faults = std::move(faults);
		return result;
	}

	/* The bytes that come back within `wait`. */
	std::string say(const std::string &command, moment wait = 1ms)
	{
		session.receive(sim::parse_hex(command).value(), now);
		return hear(wait);
	}

	/* In small steps, as real time passes. */
	std::string hear(moment wait)
	{
		sim::bytes all;
		const moment end = now + wait;
		while (now < end) {
			now = std::min(end, now + std::max<moment>(wait / 100, 1us));
			sim::append(all, session.advance(now));
		}
		return sim::hex_text(all);
	}

	size_t count(happened what) const
	{
		return static_cast<size_t>(std::ranges::count(records, what, &sim::record::what));
	}

	std::vector<sim::record> records;
	moment now = {};
	sim::session session;
};

inline const std::string VERSION = "01 01 10 00";
inline const std::string VERSION_OF_TI_08 = "04 0E 0C 01 01 10 00 08 10 00 08 0D 00 10 01";
inline const std::string RESET_DONE = "04 0E 04 01 03 0C 00";
