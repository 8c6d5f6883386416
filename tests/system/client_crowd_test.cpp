// SPDX-License-Identifier: Apache-2.0
/* Many clients at once, some of them killed, while vorlinctl guard keeps a beacon on the air.
 */
#include "tests/system/client_stage.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <random>
#include <spawn.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

constexpr int FIRST_ID = 40; /* of the GAP parameters, one for each client */
constexpr int ONE_IS_KILLED_OF = 5;
constexpr size_t FAULTS_SHOWN = 10;

struct crowd_size {
	int clients = 20;
	int runs = 200; /* of all clients together */
};

/* VORLIND_CROWD=RUNS is the full size: ./run soak --crowd. */
static crowd_size asked_size()
{
	const char *runs = getenv("VORLIND_CROWD");

	return runs ? crowd_size{ 50, atoi(runs) } : crowd_size{};
}

class ClientCrowd : public ClientTest
{
      protected:
	/* One client: repeatedly sets its own parameter and reads it back. */
	class member
	{
	      public:
		member(ClientCrowd &crowd, int number)
		    : m_crowd(crowd), m_id(std::to_string(FIRST_ID + number)),
		      m_output(crowd.folder + "/client-" + m_id),
		      m_random(static_cast<unsigned>(FIRST_ID + number))
		{
		}

		void live()
		{
			while (m_crowd.runs_left-- > 0)
				m_is_reading ? read_back() : set_anew();
		}

	      private:
		void set_anew()
		{
			m_wanted = std::to_string(m_random() % 65535);
			const int status = run({ "config", "gap-param", m_id, m_wanted });
			if (status == 0)
				m_before = m_wanted;
			else if (status != KILLED)
				m_crowd.complain(m_id, "not set: " + content_of(m_output));
			m_is_reading = true;
		}

		/* The value of a killed client may have reached the controller, or not. */
		void read_back()
		{
			const int status = run({ "show", "gap-param", m_id });
			const std::string said = content_of(m_output);

			if (status == KILLED)
				return;
			m_is_reading = false;
			if (status == 0 && said == line(m_wanted))
				m_before = m_wanted;
			else if (status != 0 || said != line(m_before))
				m_crowd.complain(m_id, "wanted " + m_wanted + ", status " +
							       std::to_string(status) + ": " +
							       said);
		}

		[[nodiscard]] std::string line(const std::string &value) const
		{
			return "GAP Param ID: " + m_id + ", Value: " + value + "\n";
		}

		/* The exit status, or KILLED: at any moment of the last run's duration. */
		int run(const std::vector<std::string> &words)
		{
			const auto begin = std::chrono::steady_clock::now();
			const pid_t pid = launch(words);
			int status;

			if (m_random() % ONE_IS_KILLED_OF == 0) {
				usleep(static_cast<useconds_t>(m_random() % m_life));
				kill(pid, SIGKILL);
			}
			waitpid(pid, &status, 0);
			if (WIFSIGNALED(status)) {
				m_crowd.killed++;
				return KILLED;
			}
			const std::chrono::duration<double, std::micro> life =
				std::chrono::steady_clock::now() - begin;
			m_life = 1 + static_cast<unsigned>(life.count());
			return WEXITSTATUS(status);
		}

		[[nodiscard]] pid_t launch(const std::vector<std::string> &words) const
		{
			const std::string path = built("vorlinctl");
			const std::string patience = std::to_string(PATIENCE.count());
			std::vector<std::string> all = { path };
			std::vector<char *> arguments;
			posix_spawn_file_actions_t files;
			pid_t pid = -1;

			all.insert(all.end(), words.begin(), words.end());
			all.insert(all.end(), { "--timeout", patience });
			for (std::string &word : all)
				arguments.push_back(word.data());
			arguments.push_back(nullptr);
			posix_spawn_file_actions_init(&files);
			posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, m_output.c_str(),
							 O_WRONLY | O_CREAT | O_TRUNC, 0600);
			posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
			posix_spawn(&pid, path.c_str(), &files, nullptr, arguments.data(), environ);
			posix_spawn_file_actions_destroy(&files);
			return pid;
		}

		static constexpr int KILLED = -1;

		ClientCrowd &m_crowd;
		const std::string m_id;
		const std::string m_output;
		std::minstd_rand m_random;
		std::string m_wanted;
		std::string m_before = "0"; /* the last value known for certain */
		bool m_is_reading = false;
		unsigned m_life = 20000; /* microseconds, of the last run */
	};

	void complain(const std::string &id, const std::string &what)
	{
		const std::lock_guard<std::mutex> one(m_mutex);

		wrong++;
		if (wrong <= FAULTS_SHOWN)
			ADD_FAILURE() << "parameter " << id << ": " << what;
	}

	static int semaphore_value()
	{
		return semctl(semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600), 0, GETVAL);
	}

	std::atomic<int> runs_left{ 0 };
	std::atomic<int> killed{ 0 };
	size_t wrong = 0;

      private:
	std::mutex m_mutex;
};

TEST_F(ClientCrowd, LosesNothingMixesNothingAndLeavesNoLockWithTheGuardBesideIt)
{
	const crowd_size size = asked_size();
	const program daemon = start_with("ti-08");
	std::vector<std::thread> threads;

	done({ "beacon", "1", "--uuid", "random", "--minor", "1", "on" });
	done({ "start" });
	const program keeper = start({ built("vorlinctl"), "guard", "--restarts" });
	runs_left = size.runs;
	const auto begin = std::chrono::steady_clock::now();
	for (int i = 0; i < size.clients; i++)
		threads.emplace_back([this, i] { member(*this, i).live(); });
	for (std::thread &thread : threads)
		thread.join();
	const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
	printf("%d clients, %d runs in %.0f s: %d killed, %zu wrong\n", size.clients, size.runs,
	       taken.count(), killed.load(), wrong);
	EXPECT_GT(killed, 0);
	EXPECT_EQ(done({ "show", "version" }), "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(segment->unused, 0U) << "nobody's turn any more";
	EXPECT_EQ(semaphore_value(), 1);
	done({ "wait", "--status", "advertising" });
	EXPECT_EQ(content_of(keeper.err), "") << "the guard took a step";
	EXPECT_EQ(kill(keeper.pid, 0), 0);
	EXPECT_EQ(kill(daemon.pid, 0), 0);
}
