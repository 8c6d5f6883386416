// SPDX-License-Identifier: Apache-2.0
/* Exchanges with a simulated controller in hexadecimal text, and tables of them. */
#pragma once

#include "sim/controller/controller.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

inline sim::controller_settings settings_named(const char *kind)
{
	for (const sim::controller_kind &row : sim::controller_kinds)
		if (std::string(kind) == row.name)
			return sim::settings_of(row);
	throw std::string("no such controller: ") + kind;
}

/* All events that answer a command, "|" between them. */
inline std::string ask(sim::controller &controller, const std::string &command)
{
	std::string answer;

	for (const sim::bytes &event : controller.handle(sim::parse_hex(command).value()).events)
		answer += (answer.empty() ? "" : " | ") + sim::hex_text(event);
	return answer;
}

/* `count` times the pair, "00 00 00" */
inline std::string repeated(const std::string &pair, size_t count)
{
	std::string text;

	for (size_t i = 0; i < count; i++)
		text += (i == 0 ? "" : " ") + pair;
	return text;
}

/* Packets that many tests send. */
inline const std::string GAP_INIT = "01 00 FE 26 01 05 " + repeated("00", 32) + " 01 00 00 00";
inline const std::string GAP_ON = "01 06 FE 0A 03 00 00 00 00 00 00 00 07 00";
inline const std::string GAP_OFF = "01 08 FE 00";
inline const std::string BEACON = "02 01 06 1A FF 4C 00 02 15 00 11 22 33 44 55 66 77 "
				  "88 99 AA BB CC DD EE FF 00 01 02 03 C5";
inline const std::string GAP_DATA = "01 07 FE 20 01 1E " + BEACON;
inline const std::string LE_DATA = "01 08 20 20 1E " + BEACON + " 00";
inline const std::string LE_PARAMETERS = "01 06 20 0F A0 00 A0 00 03 00 00 00 00 00 00 00 00 07 00";
inline const std::string LE_ON = "01 0A 20 01 01";
inline const std::string LE_OFF = "01 0A 20 01 00";
inline const std::string RESET = "01 03 0C 00";

struct exchange {
	const char *name;
	const char *kind;
	std::vector<std::string> before; /* commands whose answers do not matter */
	std::string command;
	std::string answer;
};

inline void expect_all(const std::vector<exchange> &exchanges)
{
	for (const exchange &row : exchanges) {
		SCOPED_TRACE(row.name);
		sim::controller chip(settings_named(row.kind));
		for (const std::string &command : row.before)
			ask(chip, command);
		EXPECT_EQ(ask(chip, row.command), row.answer);
	}
}

/* The commands that bring up a Qualcomm controller: patch download, reset; then `more`. */
inline std::vector<std::string> patched(std::vector<std::string> more = {})
{
	const sim::bytes patch = sim::make_patch(40, 1);
	std::vector<std::string> commands = { "01 00 FC 2A 1E 28 " + sim::hex_text(patch), RESET };

	commands.insert(commands.end(), more.begin(), more.end());
	return commands;
}
