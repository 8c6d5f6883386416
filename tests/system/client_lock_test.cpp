// SPDX-License-Identifier: Apache-2.0
/* Clients that run at the same time, die at any moment, or start at a bad one. */
#include "tests/system/client_stage.h"

#include <csignal>
#include <cstring>
#include <random>
#include <sys/ipc.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

constexpr int KILLS = 200;
constexpr int CLIENTS = 4;
constexpr int COMMANDS = 500; /* of each client */

class ClientLock : public ClientTest
{
      protected:
	static int semaphore_value()
	{
		return semctl(semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600), 0, GETVAL);
	}

	/* The process that took or released the lock last. */
	static pid_t semaphore_user()
	{
		return semctl(semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600), 0, GETPID);
	}

	/* Start vorlinctl without output, and do not wait for it. */
	static pid_t launch(const std::vector<std::string> &words)
	{
		const std::string path = built("vorlinctl");
		std::vector<char *> arguments = { const_cast<char *>(path.c_str()) };

		for (const std::string &word : words)
			arguments.push_back(const_cast<char *>(word.c_str()));
		arguments.push_back(nullptr);
		const pid_t pid = fork();
		if (pid == 0) {
			if (!freopen("/dev/null", "w", stdout) ||
			    !freopen("/dev/null", "w", stderr))
				_exit(126);
			execv(arguments[0], arguments.data());
			_exit(127);
		}
		return pid;
	}

	/* One run; several threads may call it at the same time, unlike `run` of the stage. */
	static std::string output_of(const std::string &words)
	{
		std::string text;
		char line[256];
		FILE *pipe =
			popen((quoted(built("vorlinctl")) + " " + words + " 2>&1").c_str(), "r");

		while (fgets(line, sizeof(line), pipe))
			text += line;
		const int status = pclose(pipe);
		return status == 0 ? text : text + "status " + std::to_string(status);
	}
};

TEST_F(ClientLock, TwoHundredKillsAtAnyInstantLeaveTheDaemonUsable)
{
	const program daemon = start_with("ti-08");
	const std::vector<std::vector<std::string>> victims = {
		{ "show", "version" },
		{ "show", "mac" },
		{ "beacon", "1", "--uuid", an_uuid, "--major", "1", "on" },
		{ "config", "interval", "100" },
		{ "start" },
		{ "stop" },
	};
	std::mt19937 random(20240229);
	double longest = 6000; /* microseconds; adapts to a client's run time on this machine */

	for (int i = 0, killed = 0; killed < KILLS; i++) {
		const pid_t pid = launch(victims[static_cast<size_t>(i) % victims.size()]);
		int status;
		usleep(static_cast<useconds_t>(
			std::uniform_real_distribution(0.0, longest)(random)));
		kill(pid, SIGKILL);
		ASSERT_EQ(waitpid(pid, &status, 0), pid);
		killed += WIFSIGNALED(status);
		longest *= WIFSIGNALED(status) ? 1.03 : 0.95;
		if (i % 20 == 19) {
			ASSERT_EQ(done({ "show", "version" }),
				  "BLE configuration utility: 0.3.0\n");
			EXPECT_EQ(semaphore_value(), 1);
		}
	}
	done({ "beacon", "1", "--uuid", an_uuid, "--major", "42", "on" });
	done({ "restart" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_TRUE(comes_true([&] { return contains(content_of(simulator.out), "major 42"); }));
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}

TEST_F(ClientLock, FourClientsLoseNoCommandAndMixUpNoAnswer)
{
	start_with("ti-08");
	std::vector<std::thread> clients;
	std::vector<std::string> faults(CLIENTS);

	for (int id = 10; id < 10 + CLIENTS; id++) {
		done({ "config", "gap-param", std::to_string(id), std::to_string(id * 111) });
		clients.emplace_back([&, id] {
			const std::string number = std::to_string(id);
			const std::string expected = "GAP Param ID: " + number +
						     ", Value: " + std::to_string(id * 111) + "\n";
			for (int i = 0; i < COMMANDS; i++) {
				const std::string got = output_of("show gap-param " + number);
				if (got != expected &&
				    faults[static_cast<size_t>(id - 10)].size() < 200)
					faults[static_cast<size_t>(id - 10)] += got;
			}
		});
	}
	for (std::thread &client : clients)
		client.join();
	for (const std::string &fault : faults)
		EXPECT_EQ(fault, "");
	EXPECT_EQ(segment->unused, 0U) << "nobody's turn any more";
	EXPECT_EQ(semaphore_value(), 1);
}

TEST_F(ClientLock, AnAttachEventAtTheSameTimeEndsNoCommandEarly)
{
	const program daemon = start_with("ti-08");
	bool ends = false;
	std::thread events([&] {
		while (!ends) {
			kill(daemon.pid, SIGUSR2);
			usleep(7000);
		}
	});

	for (int i = 0; i < 100; i++)
		EXPECT_EQ(done({ "show", "gap-param", "6" }), "GAP Param ID: 6, Value: 160\n");
	ends = true;
	events.join();
}

TEST_F(ClientLock, TheEndOfAnEarlierRoundIsNotTakenForTheOwn)
{
	const program daemon = start_with("ti-08");

	done({ "beacon", "1", "--uuid", "random", "on" });
	set_long_interval("60000");
	say(daemon, { "ibeacon", "start" });
	ASSERT_TRUE(comes_true([&] { return contains(content_of(simulator.out), " uuid "); }));
	/* The signal ends the dwell of the start, and the daemon clears the word. */
	segment->cmd_doing = 0;
	EXPECT_EQ(done({ "show", "gap-param", "6" }), "GAP Param ID: 6, Value: 160\n");
}

TEST_F(ClientLock, ACommandIsNotOverWhileTheDaemonHoldsTheLock)
{
	const program daemon = start_with("ti-08");

	EXPECT_EQ(kill(simulator.pid, SIGSTOP), 0);
	const program asking = start({ built("vorlinctl"), "show", "gap-param", "6" });
	ASSERT_TRUE(comes_true(
		[&] { return semaphore_value() == 0 && semaphore_user() == daemon.pid; }));
	segment->cmd_doing = 0;
	usleep(200000); /* time for a wrong client to believe it */
	EXPECT_EQ(kill(simulator.pid, SIGCONT), 0);
	EXPECT_EQ(wait_for_end(asking), 0) << content_of(asking.err);
	EXPECT_EQ(content_of(asking.out), "GAP Param ID: 6, Value: 160\n");
}

TEST_F(ClientLock, AnAnswerIsTheOwnOneAlsoWhileBeaconsRotate)
{
	start_with("ti-08");
	done({ "beacon", "1", "--uuid", "random", "on" });
	done({ "beacon", "2", "--uuid", "random", "on" });
	done({ "start" });
	for (int id = 20; id < 30; id++)
		EXPECT_EQ(done({ "show", "gap-param", std::to_string(id) })
				  .rfind("GAP Param ID: " + std::to_string(id) + ",", 0),
			  0U);
}

static volatile sig_atomic_t is_signalled;

static void take_signal(int)
{
	is_signalled = 1;
}

/* A vorlind that starts slowly: first the segment, later the handler. */
[[noreturn]] static void play_slow_daemon(int shm, const std::string &messages)
{
	auto *segment = static_cast<ble_segment *>(shmat(shm, nullptr, 0));
	const int sem = semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
	sembuf take = { 0, -1, SEM_UNDO };
	sembuf give = { 0, 1, SEM_UNDO };

	prctl(PR_SET_NAME, "vorlind");
	if (!freopen(messages.c_str(), "a", stderr))
		_exit(1);
	setvbuf(stderr, nullptr, _IONBF, 0);
	usleep(300000);
	signal(SIGUSR1, take_signal);
	while (!is_signalled)
		usleep(1000);
	semop(sem, &take, 1);
	fputs("BLE configuration utility: 0.3.0\n", stderr);
	semop(sem, &give, 1);
	segment->cmd_doing = 0;
	pause();
	_exit(0);
}

TEST_F(ClientLock, ADaemonWithoutItsHandlerYetIsNotSignalled)
{
	if (is_emulated)
		GTEST_SKIP() << "an emulator catches every signal, and this test is the daemon";
	const int shm =
		shmget(static_cast<key_t>(BLE_SHM_KEY), sizeof(ble_segment), IPC_CREAT | 0600);
	const int sem = semget(static_cast<key_t>(BLE_SEM_KEY), 1, IPC_CREAT | 0600);
	ASSERT_GE(shm, 0);
	ASSERT_EQ(semctl(sem, 0, SETVAL, 1), 0);

	const pid_t daemon = fork();
	if (daemon == 0)
		play_slow_daemon(shm, folder + "/messages");
	answer version = { 2, "", "" };
	EXPECT_TRUE(comes_true([&] {
		version = ctl({ "show", "version" });
		return version.status != 2 || waitpid(daemon, nullptr, WNOHANG) == daemon;
	}));
	EXPECT_EQ(version.status, 0) << version.err;
	EXPECT_EQ(version.out, "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(kill(daemon, SIGKILL), 0);
	waitpid(daemon, nullptr, 0);
}

TEST_F(ClientLock, AClientNeverEndsADaemonThatIsStillStarting)
{
	start_simulator("ti-08");
	for (int i = 0; i < 10; i++) {
		const program daemon = start({ built("vorlind") });
		answer version = { 2, "", "" };
		EXPECT_TRUE(comes_true([&] {
			version = ctl({ "show", "version" });
			return version.status != 2;
		}));
		EXPECT_EQ(version.status, 0) << version.err;
		EXPECT_EQ(version.out, "BLE configuration utility: 0.3.0\n");
		EXPECT_EQ(stop(daemon, SIGTERM), 0);
	}
}

TEST_F(ClientLock, TheTurnOfADeadClientIsTakenOver)
{
	start_with("ti-08");
	segment->unused = 0x12345678; /* no such process */
	segment->cmd_doing = 0x12345678;
	EXPECT_EQ(done({ "show", "version" }), "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(segment->unused, 0U);
}

TEST_F(ClientLock, TheTurnOfALivingClientIsRespected)
{
	start_with("ti-08");
	segment->unused = static_cast<uint32_t>(getpid()); /* attached, like a client */
	const answer a = ctl({ "show", "version", "--timeout", "1" });
	EXPECT_EQ(a.status, 5);
	EXPECT_EQ(a.err, "vorlinctl: busy: the client with process id " + std::to_string(getpid()) +
				 " has not finished\n");
	segment->unused = 0;
	EXPECT_EQ(done({ "show", "version" }), "BLE configuration utility: 0.3.0\n");
}

TEST_F(ClientLock, ACommandOfAnotherProgramIsLetFinish)
{
	const program daemon = start_with("ti-08");

	done({ "beacon", "1", "--uuid", "random", "on" });
	EXPECT_EQ(kill(daemon.pid, SIGSTOP), 0);
	say(daemon, { "ibeacon", "start" });
	const program asking = start({ built("vorlinctl"), "show", "gap-param", "6" });
	usleep(300000);
	EXPECT_EQ(kill(daemon.pid, SIGCONT), 0);
	EXPECT_EQ(wait_for_end(asking), 0) << content_of(asking.err);
	EXPECT_EQ(content_of(asking.out), "GAP Param ID: 6, Value: 160\n");
	done({ "wait", "--status", "advertising" });
}

TEST_F(ClientLock, ADaemonThatDiesMeanwhileIsToldAtOnce)
{
	const program daemon = start_with("ti-08");

	done({ "beacon", "1", "--uuid", "random", "on" });
	set_long_interval("60000");
	const program starting = start({ built("vorlinctl"), "start" });
	ASSERT_TRUE(comes_true([&] { return contains(content_of(simulator.out), " uuid "); }));
	EXPECT_EQ(stop(daemon, SIGKILL), 128 + SIGKILL);
	EXPECT_EQ(wait_for_end(starting), 2);
	EXPECT_EQ(content_of(starting.err),
		  "vorlinctl: vorlind ended before the command was done\n");
}
