// SPDX-License-Identifier: Apache-2.0
/* Runs that the model of the handshake found, repeated step by step with the shipped programs. */
#include "tests/system/client_stage.h"
#include "tests/system/traced.h"

#include <csignal>
#include <cstring>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <unistd.h>

/* The first of these takes the lock; the next one, or unshare, releases it. */
#ifdef SYS_semop
static const std::vector<long> lock_calls = { SYS_semtimedop, SYS_semop };
#else
static const std::vector<long> lock_calls = { SYS_semtimedop };
#endif
static const std::vector<long> unlock_calls = { SYS_unshare, lock_calls[0], lock_calls.back() };

static const std::vector<std::string> a_command = { "config", "gap-param", "6", "300" };

class ClientHandshake : public ClientTest
{
      protected:
	static int semaphore()
	{
		return semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
	}

	static int semaphore_value()
	{
		return semctl(semaphore(), 0, GETVAL);
	}

	static void change_lock(int by)
	{
		sembuf operation = { 0, static_cast<short>(by), SEM_UNDO };

		ASSERT_EQ(semop(semaphore(), &operation, 1), 0);
	}

	traced client(std::vector<std::string> words)
	{
		words.insert(words.begin(), built("vorlinctl"));
		return { words, folder + "/client" };
	}

	std::string told() const
	{
		return content_of(folder + "/client");
	}

	/* The words in the segment; empty when there is no first word. */
	std::vector<std::string> words_in_segment() const
	{
		std::vector<std::string> words;

		if (segment->cmd.argv[0][0] == '\0')
			return words;
		for (int i = 0; i < segment->cmd.argc; i++)
			words.emplace_back(segment->cmd.argv[i]);
		return words;
	}

	program kill_and_start_anew(const program &daemon)
	{
		EXPECT_EQ(stop(daemon, SIGKILL), 128 + SIGKILL);
		return start_daemon();
	}
};

TEST_F(ClientHandshake, ANewDaemonThatTakesOverIsNotTheEndOfTheCommand)
{
	const program daemon = start_with("ti-08");
	traced asking = client(a_command);

	ASSERT_EQ(kill(daemon.pid, SIGSTOP), 0);
	ASSERT_TRUE(asking.enters({ SYS_kill }) && asking.leaves());
	kill_and_start_anew(daemon);
	EXPECT_EQ(asking.ends(), 2);
	EXPECT_EQ(told(), "vorlinctl: vorlind ended before the command was done\n");
}

TEST_F(ClientHandshake, ALockThatANewDaemonHasReleasedIsNotGivenBackOnceMore)
{
	const program daemon = start_with("ti-08");
	traced asking = client(a_command);

	ASSERT_TRUE(asking.enters(lock_calls) && asking.leaves());
	ASSERT_EQ(semaphore_value(), 0) << "the client has it";
	kill_and_start_anew(daemon);
	ASSERT_EQ(semaphore_value(), 1) << "the new daemon has released it";
	ASSERT_TRUE(asking.enters(unlock_calls) && asking.leaves());
	EXPECT_EQ(semaphore_value(), 1);
	EXPECT_EQ(asking.ends(), 2);
	EXPECT_EQ(semaphore_value(), 1);
}

TEST_F(ClientHandshake, KilledAfterAnyInstructionAClientLeavesAWholeCommandOrNone)
{
	start_with("ti-08");
	const std::vector<std::string> before = { "show", "gap-param", "6" };
	done(before);
	ASSERT_EQ(words_in_segment(), before);
	traced asking = client(a_command);

	ASSERT_TRUE(asking.enters(lock_calls) && asking.leaves());
	bool none = false;
	bool is_first_to_come = true;
	/* Step by step until the words are complete. */
	while (asking.steps() && words_in_segment() != a_command) {
		const std::vector<std::string> words = words_in_segment();
		none = none || words.empty();
		is_first_to_come = is_first_to_come && (words.empty() || words == before);
	}
	EXPECT_TRUE(none) << "it was seen at work";
	EXPECT_TRUE(is_first_to_come);
	asking.kills();
	EXPECT_EQ(semaphore_value(), 1);
	EXPECT_EQ(done(before), "GAP Param ID: 6, Value: 160\n");
}

TEST_F(ClientHandshake, ACommandThatAnotherProgramOverwroteIsNotReportedAsDone)
{
	const program daemon = start_with("ti-08");
	traced asking = client(a_command);

	ASSERT_EQ(kill(daemon.pid, SIGSTOP), 0);
	ASSERT_TRUE(asking.enters({ SYS_kill }) && asking.leaves());
	say(daemon, { "show", "version" });
	ASSERT_EQ(kill(daemon.pid, SIGCONT), 0);
	EXPECT_EQ(asking.ends(), 6);
	EXPECT_EQ(told(),
		  "vorlinctl: outcome unknown: another program's command came over this one\n");
	EXPECT_EQ(done({ "show", "gap-param", "6" }), "GAP Param ID: 6, Value: 160\n");
}

TEST_F(ClientHandshake, TheLockInAnothersHandsIsNotTheDaemons)
{
	const program daemon = start_with("ti-08");
	std::vector<std::string> words = a_command;
	words.insert(words.end(), { "--timeout", "10" }); /* long enough to get there */
	traced asking = client(words);

	/* An attach event's end clears cmd_doing, then the daemon is stopped before the command. */
	ASSERT_TRUE(asking.enters({ SYS_kill }));
	segment->cmd_doing = 0;
	ASSERT_EQ(kill(daemon.pid, SIGSTOP), 0);
	change_lock(-1);
	change_lock(1);
	EXPECT_EQ(asking.ends(), 5);
	EXPECT_EQ(told(), "vorlinctl: timeout: vorlind has not finished; it may still do so\n");
	ASSERT_EQ(kill(daemon.pid, SIGCONT), 0);
}

/* What a client that does only the six steps must expect: the five lines of docs/protocol.md. */

TEST_F(ClientHandshake, HeardAnAttachEventEndsACommandThatNobodyHasRead)
{
	const program daemon = start_with("ti-08");
	const std::string before = printed(daemon);

	change_lock(-1);
	segment->cmd.argc = 2;
	strcpy(segment->cmd.argv[0], "show");
	strcpy(segment->cmd.argv[1], "version");
	segment->cmd_doing = 1;
	change_lock(1);
	ASSERT_EQ(kill(daemon.pid, SIGUSR2), 0);
	EXPECT_TRUE(comes_true([&] { return segment->cmd_doing == 0; }));
	EXPECT_EQ(printed(daemon), before);
}

TEST_F(ClientHandshake, EndsWhatAClientLeavesBehindANewDaemonsStartStaysUntilTheNextEvent)
{
	program daemon = start_with("ti-08");

	daemon = kill_and_start_anew(daemon);
	segment->cmd_doing = 77; /* left by a client of the previous daemon */
	usleep(300000);          /* the daemon polls its flags three times */
	EXPECT_EQ(segment->cmd_doing, 77U);
	ASSERT_EQ(kill(daemon.pid, SIGUSR2), 0);
	EXPECT_TRUE(comes_true([&] { return segment->cmd_doing == 0; }));
}

TEST_F(ClientHandshake, WholeHalfACommandIsReadTogetherWithTheOneBefore)
{
	const program daemon = start_with("ti-08");
	done({ "show", "version" });
	const std::string before = printed(daemon);

	change_lock(-1);
	strcpy(segment->cmd.argv[0], "show"); /* "show mac", killed before its second word */
	change_lock(1);
	ASSERT_EQ(kill(daemon.pid, SIGUSR1), 0);
	EXPECT_TRUE(comes_true([&] {
		return printed(daemon) == before + "BLE configuration utility: 0.3.0\n";
	})) << printed(daemon);
}

TEST_F(ClientHandshake, LockThatANewDaemonReleasedAndAnOperationGivesBackIsOneForTwo)
{
	const program daemon = start_with("ti-08");

	change_lock(-1);
	kill_and_start_anew(daemon);
	EXPECT_EQ(semaphore_value(), 1);
	change_lock(1);
	EXPECT_EQ(semaphore_value(), 2);
	change_lock(-1); /* this process runs further tests */
}

TEST_F(ClientHandshake, LivesADaemonThatIsSignalledBeforeItCatchesAnyEnds)
{
	traced daemon({ built("vorlind") }, folder + "/daemon");

	ASSERT_TRUE(daemon.enters({ SYS_semget }));
	ASSERT_EQ(kill(daemon.process(), SIGUSR1), 0);
	EXPECT_EQ(daemon.ends(), 128 + SIGUSR1);
}
