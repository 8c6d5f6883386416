// SPDX-License-Identifier: Apache-2.0
/* A file of control commands with their times. */
#include "sim/program/script.h"

#include "sim/program/control.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>

namespace sim
{

constexpr double LONGEST_TIME = 1e7; /* seconds */

static std::optional<moment> parse_time(const std::string &word, moment before)
{
	const bool is_relative = word.starts_with('+');
	const char *const begin = word.data() + (is_relative ? 1 : 0);
	const char *const end = word.data() + word.size();
	double seconds = 0;
	const auto [stop, error] = std::from_chars(begin, end, seconds);

	if (error != std::errc() || stop != end || seconds < 0 || seconds > LONGEST_TIME)
		return std::nullopt;
	const moment time =
		std::chrono::duration_cast<moment>(std::chrono::duration<double>(seconds));
	return is_relative ? before + time : time;
}

std::string parse_script(const std::string &text, std::vector<timed_command> &result)
{
	std::istringstream lines(text);
	std::string line;
	moment before = {};

	for (int number = 1; std::getline(lines, line); number++) {
		std::istringstream words(line);
		std::string first;
		std::string command;
		words >> first;
		if (first.empty() || first.starts_with('#'))
			continue;
		std::getline(words >> std::ws, command);
		const auto at = parse_time(first, before);
		const std::string where = "line " + std::to_string(number) + ": ";
		if (!at)
			return where + "'" + first + "' is no time; 2.5 or +0.5 is one";
		const std::string problem = check_control(command);
		if (!problem.empty())
			return where + problem;
		before = *at;
		result.push_back({ *at, command });
	}
	std::ranges::stable_sort(result, {}, &timed_command::at);
	return "";
}

std::string read_script(const std::string &path, std::vector<timed_command> &result)
{
	std::ifstream file(path);
	std::ostringstream text;

	if (file.peek() != std::ifstream::traits_type::eof()) /* an empty file is no failure */
		text << file.rdbuf();
	if (!file.is_open() || file.bad()) /* a folder can be opened but not read */
		return "cannot read " + path + ": " + strerror(errno);
	const std::string problem = parse_script(text.str(), result);
	return problem.empty() ? "" : path + ", " + problem;
}

} // namespace sim
