// SPDX-License-Identifier: Apache-2.0
/* A check of the installed program: one dialogue with each controller over a real pty. */
#include "sim/program/selftest.h"

#include "sim/line/line.h"
#include "sim/program/session.h"

#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace sim
{

constexpr int ANSWER_MS = 1000;
constexpr size_t READ_AT_ONCE = 4096;

/* A packet and the expected answer. */
struct exchange {
	const char *command;
	const char *answer;
};

struct dialogue {
	const char *kind;
	std::span<const exchange> exchanges;
};

// clang-format off
static const exchange ti_06[] = {
	{ "01 01 10 00",                "04 0E 0C 01 01 10 00 06 10 00 06 0D 00 10 01" },
	{ "01 0A 20 01 01",             "04 0E 04 01 0A 20 0C" },
	{ "01 01 FC 01 03",             "04 FF 05 01 04 00 01 FC" },
	{ "01 08 FE 00",                "04 FF 06 7F 06 12 08 FE 00" },
};
static const exchange ti_08[] = {
	{ "01 01 10 00",                "04 0E 0C 01 01 10 00 08 10 00 08 0D 00 10 01" },
	{ "01 1D 20 01 28",             "04 0E 04 01 1D 20 12" },
	{ "01 1D 20 01 27",             "04 0E 04 01 1D 20 00" },
	{ "01 1F 20 00",                "04 0E 06 01 1F 20 00 00 00" },
	{ "01 30 FE 03 08 A0 00",       "04 FF 06 7F 06 00 30 FE 00" },
};
static const exchange qualcomm[] = {
	{ "01 01 10 00",                "04 0E 0C 01 01 10 00 0B 10 00 0B 1D 00 10 01" },
	{ "01 0A 20 01 01",             "04 0E 04 01 0A 20 0C" },
	{ "01 00 FC 06 1E 04 02 00 00 00", "04 0E 05 01 00 FC 00 1E" },
	{ "01 03 0C 00",                "04 0E 04 01 03 0C 00" },
	{ "01 0A 20 01 01",             "04 0E 04 01 0A 20 00" },
};
static const dialogue dialogues[] = {
	{ "ti-06", ti_06 }, { "ti-08", ti_08 }, { "qualcomm", qualcomm },
};
// clang-format on

/* Reads at the host's end of the pty within the time limit for an answer. */
static bytes read_answer(int host, session &controller, line &port, size_t expected)
{
	bytes answer;
	pollfd watched = { host, POLLIN, 0 };

	while (answer.size() < expected) {
		bytes sent = port.read(READ_AT_ONCE);
		controller.receive(sent, {});
		sent = controller.advance({});
		port.write(sent);
		uint8_t data[256];
		if (poll(&watched, 1, ANSWER_MS) <= 0)
			break;
		const ssize_t count = read(host, data, sizeof(data));
		if (count <= 0)
			break;
		answer.insert(answer.end(), data, data + count);
	}
	return answer;
}

static bool hold_dialogue(const dialogue &one, session &controller, line &port, int host)
{
	for (const exchange &step : one.exchanges) {
		const bytes command = parse_hex(step.command).value();
		const bytes expected = parse_hex(step.answer).value();
		if (write(host, command.data(), command.size()) !=
		    static_cast<ssize_t>(command.size()))
			return false;
		const bytes answer = read_answer(host, controller, port, expected.size());
		if (answer == expected)
			continue;
		printf("%s: %s was answered by %s, not %s\n", one.kind, step.command,
		       hex_text(answer).c_str(), step.answer);
		return false;
	}
	return true;
}

static bool test(const dialogue &one)
{
	session_settings settings = { .baud = 0 };
	line port;

	for (const controller_kind &kind : controller_kinds)
		if (std::string(one.kind) == kind.name)
			settings.controller = settings_of(kind);
	session controller(settings, [](const record &) {});
	const std::string problem = port.open("");
	if (!problem.empty()) {
		printf("%s: %s\n", one.kind, problem.c_str());
		return false;
	}
	const int host = open(port.port().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
	const bool holds = host >= 0 && hold_dialogue(one, controller, port, host);
	if (host >= 0)
		close(host);
	if (holds)
		printf("%s: %zu commands answered as they should be\n", one.kind,
		       one.exchanges.size());
	return holds;
}

int selftest()
{
	bool holds = true;

	for (const dialogue &one : dialogues)
		holds = test(one) && holds;
	puts(holds ? "selftest passed" : "selftest FAILED");
	return holds ? 0 : 1;
}

} // namespace sim
