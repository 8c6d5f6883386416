// SPDX-License-Identifier: Apache-2.0
/* The daemon with closed standard descriptors, or with a pipe whose reader ends. */
#include "tests/system/line.h"
#include "tests/system/stage.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

class Descriptors : public SystemTest
{
      protected:
	/* Start vorlind with a shell's redirections, and wait until it runs. */
	program start_with(const std::string &redirections)
	{
		const program daemon =
			start({ "/bin/sh", "-c", "exec \"$0\" " + redirections, built("vorlind") });

		EXPECT_TRUE(comes_true([&] {
			segment = segment ? segment : attach();
			/* The handlers are installed before the settings are written. */
			return segment && strcmp(segment->config.interval, "100") == 0;
		}));
		say_and_wait(daemon, { "show", "version" });
		return daemon;
	}

	/* The file of a descriptor. */
	static std::string target_of(const program &daemon, int fd)
	{
		return std::filesystem::read_symlink("/proc/" + std::to_string(daemon.pid) +
						     "/fd/" + std::to_string(fd));
	}
};

/* The parameter has a bit for each closed descriptor. */
class ClosedDescriptors : public Descriptors, public testing::WithParamInterface<int>
{
};

TEST_P(ClosedDescriptors, PutNothingOntoTheLine)
{
	const int closed = GetParam();
	Line line("ti-08");
	std::string redirections;
	for (int fd = 0; fd < 3; fd++)
		if (closed & 1 << fd)
			redirections += std::to_string(fd) + ">&- ";
	const program daemon = start_with(redirections);
	for (int fd = 1; fd < 3; fd++)
		EXPECT_EQ(target_of(daemon, fd) == "/dev/null", (closed & 1 << fd) != 0);

	/* A line that gets descriptor 0 is skipped; the next time it gets another. */
	if (closed & 1) {
		EXPECT_EQ(segment->config.opt.status, BLE_STATUS_NONE);
		EXPECT_TRUE(line.heard().empty());
		kill(daemon.pid, SIGUSR2);
	}
	EXPECT_TRUE(comes_true([&] { return line.has_heard("01 01 FC"); }));
	say_and_wait(daemon, { "show", "version" }); /* done after the attach event */
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	line.heard();

	say_and_wait(daemon, { "config", "debug-level", "ffffffff" });
	say_and_wait(daemon, { "no such command" }); /* has a message */
	say_and_wait(daemon, { "show", "mac" });     /* has a result and a dump */
	EXPECT_EQ(line.heard(), std::vector<std::string>{ "01 09 10 00" });
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_TRUE(line.heard().empty());
	EXPECT_EQ(content_of(daemon.out), "");
	EXPECT_EQ(content_of(daemon.err).empty(), (closed & 4) != 0);
}

static std::string closed_name(const testing::TestParamInfo<int> &info)
{
	static const char *const names[] = {
		"None", "In", "Out", "InOut", "Err", "InErr", "OutErr", "All",
	};

	return names[info.param];
}

INSTANTIATE_TEST_SUITE_P(All, ClosedDescriptors, testing::Range(0, 8), closed_name);

TEST_F(Descriptors, AReaderOfStandardErrorMayEnd)
{
	const std::string pipe = folder + "/pipe";
	ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
	const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
	const program daemon = start_with("2>" + pipe);

	close(reader);
	for (int i = 0; i < 3; i++)
		say_and_wait(daemon, { "show", "version" });
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_FALSE(segment_exists());
}
