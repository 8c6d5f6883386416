// SPDX-License-Identifier: Apache-2.0
#include "tests/system/line.h"

#include <sstream>
#include <stdexcept>
#include <unistd.h>

/* "n" zero bytes. */
static std::string zeros(int n)
{
	std::string hex;

	for (int i = 0; i < n; i++)
		hex += " 00";
	return hex;
}

static const std::map<std::string, std::string> standard_answers = {
	{ "01 03 0C", "04 0E 04 01 03 0C 00" },
	{ "01 09 10", "04 0E 0A 01 09 10 00 66 55 44 33 22 11" },
	{ "01 06 20", "04 0E 04 01 06 20 00" },
	{ "01 07 20", "04 0E 05 01 07 20 00 EC" },
	{ "01 08 20", "04 0E 04 01 08 20 00" },
	{ "01 0A 20", "04 0E 04 01 0A 20 00" },
	{ "01 1D 20", "04 0E 04 01 1D 20 00" },
	{ "01 1E 20", "04 0E 04 01 1E 20 00" },
	{ "01 1F 20", "04 0E 06 01 1F 20 00 34 12" },
	{ "01 00 FC", "04 0E 05 01 00 FC 00 1E" },
	{ "01 14 FC", "04 0E 05 01 14 FC 00 00" },
};

static const std::map<std::string, std::string> ti_answers = {
	{ "01 01 FC", "04 FF 05 01 04 00 01 FC" },
	{ "01 0C FC", "04 FF 05 0C 04 00 0C FC" },
	{ "01 1B FC", "04 FF 09 1B 04 00 1B FC 01 02 03 04" },
	{ "01 1D FC", "04 FF 05 1D 04 00 1D FC" },
	{ "01 00 FE", "04 FF 06 7F 06 00 00 FE 00 | 04 FF 2C 00 06 00" + zeros(41) },
	{ "01 06 FE", "04 FF 06 7F 06 00 06 FE 00 | 04 FF 03 03 06 00" },
	{ "01 07 FE", "04 FF 06 7F 06 00 07 FE 00 | 04 FF 04 02 06 00 01" },
	{ "01 08 FE", "04 FF 06 7F 06 00 08 FE 00 | 04 FF 03 04 06 00" },
	{ "01 30 FE", "04 FF 06 7F 06 00 30 FE 00" },
	{ "01 31 FE", "04 FF 08 7F 06 00 31 FE 02 A0 00" },
};

static const std::map<std::string, std::string> version_answers = {
	{ "ti-06", "04 0E 0C 01 01 10 00 06 01 00 06 0D 00 02 00" },
	{ "ti-08", "04 0E 0C 01 01 10 00 08 01 00 08 0D 00 02 00" },
	{ "qualcomm", "04 0E 0C 01 01 10 00 0B 01 00 0B 1D 00 02 00" },
};

static std::map<std::string, std::string> answers_of(const std::string &kind)
{
	std::map<std::string, std::string> answers = standard_answers;

	if (kind != "qualcomm")
		answers.insert(ti_answers.begin(), ti_answers.end());
	answers["01 01 10"] = version_answers.at(kind);
	return answers;
}

Line::Line(const std::string &kind, const std::string &link)
    : path(link), answers(answers_of(kind)),
      end([this](const std::string &packet) { take(packet); })
{
	if (symlink(end.path().c_str(), path.c_str()) != 0)
		throw std::runtime_error("cannot link " + path);
}

Line::~Line()
{
	unlink(path.c_str());
}

void Line::answer(const std::string &command, const std::string &events)
{
	const std::lock_guard lock(mutex);
	answers[command] = events;
}

void Line::send(const std::string &events)
{
	end.send(bytes_of(events));
}

std::vector<std::string> Line::heard()
{
	const std::lock_guard lock(mutex);
	return std::exchange(commands, {});
}

std::vector<std::string> Line::dialogue()
{
	const std::lock_guard lock(mutex);
	return std::exchange(packets, {});
}

std::vector<std::chrono::milliseconds> Line::pauses(const std::string &command,
						    const std::string &next)
{
	const std::lock_guard lock(mutex);
	std::vector<std::chrono::milliseconds> found;

	for (size_t i = 1; i < arrivals.size(); i++)
		if (arrivals[i - 1].first.starts_with(command) &&
		    arrivals[i].first.starts_with(next))
			found.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(
				arrivals[i].second - arrivals[i - 1].second));
	return found;
}

bool Line::has_heard(const std::string &command)
{
	const std::lock_guard lock(mutex);
	for (const std::string &one : commands)
		if (one.starts_with(command))
			return true;
	return false;
}

/* The command gets the answer of the longest matching table entry. */
void Line::take(const std::string &packet)
{
	const std::string hex = hex_of(packet);
	std::string events;
	size_t longest = 0;

	{
		const std::lock_guard lock(mutex);
		commands.push_back(hex);
		for (const auto &[command, answer] : answers) {
			if (hex.starts_with(command) && command.size() >= longest) {
				events = answer;
				longest = command.size();
			}
		}
		packets.push_back(hex);
		arrivals.emplace_back(hex, std::chrono::steady_clock::now());
		std::istringstream each(events);
		for (std::string event; std::getline(each, event, '|');)
			packets.push_back(hex_of(bytes_of(event)));
	}
	send(events);
}
