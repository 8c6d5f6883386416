// SPDX-License-Identifier: Apache-2.0
/*
 * An unattended access point: the simulated controller with a fault, the daemon under a small
 * service manager, and vorlinctl guard.
 */
#pragma once

#include "tests/system/client_stage.h"

#include <chrono>
#include <csignal>
#include <thread>

/* What goes wrong, and when. */
struct ailment {
	std::string controller;
	std::string phase; /* "bring-up" or "rotation" */
	std::string kind;  /* "fault" or "quirk" */
	std::string name;
	int seconds; /* duration of a fault; 0: it strikes once */
};

class HealingTest : public ClientTest
{
      protected:
	static constexpr int MINORS = 3;

	void TearDown() override
	{
		if (manager.pid > 0)
			stop(manager, SIGTERM);
		ClientTest::TearDown();
	}

	/*
	 * Does what the packages' run and restore scripts and their manager do: append messages to
	 * a file, load the settings after each start, restart 5 seconds after an end.
	 */
	void start_manager()
	{
		write_file("beacons", "set interval 100\nset mac NONE\n"
				      "beacon 1 --uuid random --minor 1 on\n"
				      "beacon 2 --uuid random --minor 2 on\n"
				      "beacon 3 --uuid random --minor 3 on\n"
				      "start\n");
		write_file("manager",
			   "trap 'kill -KILL $daemon; exit 0' TERM\n"
			   "while :; do\n"
			   "	: >messages\n"
			   "	(sleep 1; \"$1/vorlinctl\" wait --timeout " +
				   std::string(RESTORE_WAIT) +
				   "\n	 \"$1/vorlinctl\" apply beacons) &\n"
				   "	setpriv --pdeathsig KILL \"$1/vorlind\" 2>>messages &\n"
				   "	daemon=$!\n"
				   "	wait $daemon\n"
				   "	sleep 5 &\n"
				   "	wait $!\n"
				   "done\n");
		manager = start({ "/bin/sh", folder + "/manager", std::string(built("")) });
	}

	std::string control(const std::string &command)
	{
		program client;

		run({ built("vorlin-sim"), "control", folder + "/control", command }, &client);
		return content_of(client.out) + content_of(client.err);
	}

	/* The size of the simulator's record of the air so far. */
	size_t told() const
	{
		return content_of(simulator.out).size();
	}

	/* Seconds until all beacons have been on the air since `from`; -1: not within `limit`. */
	double until_all_are_heard(size_t from, double limit) const
	{
		const auto begin = std::chrono::steady_clock::now();

		while (true) {
			const std::string text = content_of(simulator.out).substr(from);
			const std::chrono::duration<double> taken =
				std::chrono::steady_clock::now() - begin;
			bool all = true;
			for (int i = 1; i <= MINORS; i++)
				all = all && contains(text, " minor " + std::to_string(i) + " ");
			if (all)
				return taken.count();
			if (taken.count() > limit)
				return -1;
			std::this_thread::sleep_for(std::chrono::milliseconds(20));
		}
	}

	/* Whether the fault has taken effect: only then can it have ended. */
	bool has_struck()
	{
		const std::string faults = control("faults");

		return !contains(faults, "(struck 0)");
	}

	/* Wait until it strikes; false if two whole rotations pass without it. */
	bool comes_to_strike()
	{
		size_t from = told();
		int rotations = 0;

		comes_true([&] {
			if (until_all_are_heard(from, 0) >= 0) {
				rotations++;
				from = told();
			}
			return rotations == 2 || has_struck();
		});
		return has_struck();
	}

	/*
	 * Seconds from the fault's end until three beacons have been on the air; -1: not within
	 * `limit`, -2: the fault did not strike, -3: they did not stay.
	 */
	double heal(const ailment &what, const std::vector<std::string> &guard_options,
		    double limit)
	{
		const bool is_quirk = what.kind == "quirk";
		const bool in_rotation = what.phase == "rotation";
		std::vector<std::string> options = { "--control", folder + "/control", "--seed",
						     "7" };
		std::vector<std::string> guard = { built("vorlinctl"), "guard", "--restarts" };
		const std::string fault =
			what.name + (what.seconds > 0 ? ":times=always" : ":times=1");

		guard.insert(guard.end(), guard_options.begin(), guard_options.end());
		if (is_quirk)
			options.insert(options.end(), { "--quirk", what.name });
		else if (!in_rotation)
			options.insert(options.end(), { "--fault", fault });
		make_patch_for(what.controller);
		simulator = start_simulator(what.controller, options);
		keeper = start(guard);
		start_manager();
		size_t from = 0;
		if (in_rotation) {
			if (until_all_are_heard(0, 60) < 0)
				return -1; /* a quirk that prevents the start-up */
			if (is_quirk)
				control("reboot");
			else
				control("fault " + fault);
		}
		if (!is_quirk && what.seconds > 0) {
			std::this_thread::sleep_for(std::chrono::seconds(what.seconds));
			const bool struck = has_struck();
			control("clear");
			if (!struck)
				return -2;
			from = told();
		} else if (!is_quirk) {
			if (!comes_to_strike())
				return -2;
			from = told();
		} else if (in_rotation) {
			from = told();
		}
		const double taken = until_all_are_heard(from, limit);
		if (taken >= 0 && until_all_are_heard(told(), 5) < 0)
			return -3;
		return taken;
	}

	/* How long restore waits for a daemon without a controller. */
	static constexpr const char *RESTORE_WAIT = "8";

	program manager;
	program keeper;
};
