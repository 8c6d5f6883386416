// SPDX-License-Identifier: Apache-2.0
/* Uses a running simulator: sends a command to its control socket, or scans its air. */
#include "sim/program/remote.h"

#include "sim/air/air.h"

#include <algorithm>
#include <cstdio>
#include <poll.h>

namespace sim
{

constexpr int ANSWER_MS = 5000;

static int complain(const std::string &problem)
{
	fprintf(stderr, "vorlin-sim: %s\n", problem.c_str());
	return 1;
}

static bool wait_for(const text_socket &peer, int ms)
{
	pollfd watched = { peer.descriptor(), POLLIN, 0 };

	return poll(&watched, 1, ms) > 0;
}

int remote_control(const std::string &path, const std::string &command)
{
	text_socket peer;
	const std::string problem = connect_to(path, peer);

	if (!problem.empty())
		return complain(problem);
	peer.write(command + "\n");
	while (peer.is_open() && wait_for(peer, ANSWER_MS)) {
		for (const std::string &line : peer.read_lines()) {
			if (line == "ok")
				return 0;
			if (line.starts_with("error: "))
				return complain(line.substr(7));
			printf("%s\n", line.c_str());
		}
	}
	return complain("no answer from " + path);
}

int remote_scan(const std::string &path, moment listen_for)
{
	using std::chrono::duration_cast;
	using std::chrono::milliseconds;
	const auto start = std::chrono::steady_clock::now();
	text_socket peer;
	neighbours others;
	const std::string problem = connect_to(path, peer);

	if (!problem.empty())
		return complain(problem);
	peer.write(std::string(AIR_HELLO) + "\n");
	while (peer.is_open()) {
		const moment now = std::chrono::steady_clock::now() - start;
		const auto left = duration_cast<milliseconds>(listen_for - now).count();
		if (left <= 0 || !wait_for(peer, static_cast<int>(left)))
			break;
		for (const std::string &line : peer.read_lines())
			others.take(line, now);
	}
	fputs(others.list().c_str(), stdout);
	return 0;
}

} // namespace sim
