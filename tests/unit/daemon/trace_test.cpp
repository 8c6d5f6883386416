// SPDX-License-Identifier: Apache-2.0
/* The trace: categories, format, length, and what it must leave unchanged. */
#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

class Trace : public DaemonTest
{
      protected:
	int evaluated = 0;

	int argument()
	{
		return ++evaluated;
	}
};

TEST_F(Trace, WithTheMaskAt0TheConsoleReceivesNothing)
{
	TRACE(~0U, "never\n");
	EXPECT_EQ(console(), "");
}

TEST_F(Trace, ArgumentsOfACategoryThatIsOffAreNotEvenEvaluated)
{
	dbg_level = TRACE_FLOW;
	TRACE(TRACE_WARNING, "%d\n", argument());
	EXPECT_EQ(evaluated, 0);
	TRACE(TRACE_FLOW, "%d\n", argument());
	EXPECT_EQ(evaluated, 1);
}

TEST_F(Trace, OneBitOfACategoryIsEnough)
{
	for (const uint32_t mask : { 0x10U, 0x20U, 0x30U, 0xFFFFFFFFU }) {
		dbg_level = mask;
		TRACE(TRACE_HCI, "x\n");
		EXPECT_NE(console(), "");
	}
	for (const uint32_t mask : { 0x0FU, 0x40U, 0x1000U, 0x80000000U }) {
		dbg_level = mask;
		TRACE(TRACE_HCI, "x\n");
		EXPECT_EQ(console(), "");
	}
}

TEST_F(Trace, ALineBeginsWithFunctionAndSourceLine)
{
	dbg_level = TRACE_FLOW;
	const int line = __LINE__ + 1;
	TRACE(TRACE_FLOW, "value=%d, text=%s\n", 7, "seven");
	EXPECT_EQ(console(), "TestBody(" + std::to_string(line) + ") value=7, text=seven\n");
	TRACE_AS("somebody_else", 12, TRACE_FLOW, "no newline");
	EXPECT_EQ(console(), "somebody_else(12) no newline");
}

TEST_F(Trace, AMessageLongerThan511CharactersIsCutNotSplit)
{
	dbg_level = TRACE_FLOW;
	TRACE_AS("f", 1, TRACE_FLOW, "%s\n", std::string(600, 'x').c_str());
	EXPECT_EQ(console(), "f(1) " + std::string(506, 'x'));
	TRACE_AS("f", 1, TRACE_FLOW, "%s", std::string(506, 'y').c_str());
	EXPECT_EQ(console(), "f(1) " + std::string(506, 'y'));
}

TEST_F(Trace, AConsoleThatCannotBeOpenedLosesTheTraceAndNothingElse)
{
	dbg_level = TRACE_FLOW;
	trace_console = "/nowhere/console";
	EXPECT_EQ(stderr_of([] { TRACE(TRACE_FLOW, "lost\n"); }), "");
}

TEST_F(Trace, TheConsoleMayGetAnyDescriptor)
{
	dbg_level = TRACE_FLOW;
	const int saved = dup(STDIN_FILENO);
	close(STDIN_FILENO);
	TRACE(TRACE_FLOW, "through descriptor 0\n");
	const bool is_closed = fcntl(STDIN_FILENO, F_GETFD) < 0;
	dup2(saved, STDIN_FILENO);
	close(saved);
	EXPECT_NE(console().find("through descriptor 0\n"), std::string::npos);
	EXPECT_TRUE(is_closed);
}

TEST_F(Trace, ErrnoIsKept)
{
	dbg_level = TRACE_FLOW;
	trace_console = "/nowhere/console";
	errno = ETIMEDOUT;
	TRACE(TRACE_FLOW, "x\n");
	EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(Trace, TheStandardStreamsAreFlushed)
{
	const std::string path = folder + "/stream";
	FILE *stream = fopen(path.c_str(), "w+");

	dbg_level = TRACE_FLOW;
	fputs("pending", stream);
	TRACE(TRACE_FLOW, "x\n");
	FILE *reader = fopen(path.c_str(), "r");
	char text[16] = "";
	EXPECT_NE(fgets(text, sizeof(text), reader), nullptr);
	EXPECT_STREQ(text, "pending");
	fclose(reader);
	fclose(stream);
}

TEST_F(Trace, AHandlersMessageLeavesTheStreamsAlone)
{
	const std::string path = folder + "/stream";
	FILE *stream = fopen(path.c_str(), "w");

	fputs("pending", stream);
	errno = ETIMEDOUT;
	trace_in_handler("%s(%d) signo=%d\n", "f", 1, 10);
	EXPECT_EQ(errno, ETIMEDOUT);
	EXPECT_EQ(console(), "f(1) signo=10\n");
	EXPECT_EQ(std::filesystem::file_size(path), 0U);
	fclose(stream);
}

TEST_F(Trace, NothingGoesToTheStandardStreams)
{
	dbg_level = ~0U;
	EXPECT_EQ(printed_to(STDOUT_FILENO,
			     [] { EXPECT_EQ(stderr_of([] { TRACE(TRACE_FLOW, "x\n"); }), ""); }),
		  "");
}
