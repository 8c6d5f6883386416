// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/fakes/fake_pty_controller.h"

PtyController::PtyController(std::map<std::string, std::string> table)
    : answers(std::move(table)), line([this](const std::string &packet) { answer(packet); })
{
	path = line.path();
}

std::vector<std::string> PtyController::heard()
{
	const std::lock_guard lock(mutex);
	return commands;
}

void PtyController::answer(const std::string &packet)
{
	const std::string hex = hex_of(packet);
	const std::lock_guard lock(mutex);

	commands.push_back(hex);
	for (const auto &[command, events] : answers)
		if (hex.starts_with(command))
			line.send(bytes_of(events));
}
