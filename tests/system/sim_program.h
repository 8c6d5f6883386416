// SPDX-License-Identifier: Apache-2.0
/* The simulator as a separate program, and the packets that its tests send. */
#pragma once

#include "tests/system/sim_host.h"

class SimProgram : public SimulatorTest
{
      protected:
	program start_sim(std::vector<std::string> words)
	{
		words.insert(words.begin(), built("vorlin-sim"));
		return start(words);
	}

	int run_sim(std::vector<std::string> words, program *of)
	{
		words.insert(words.begin(), built("vorlin-sim"));
		return run(words, of);
	}

	void expect_complaint(std::vector<std::string> words, const std::string &complaint)
	{
		program sim;

		EXPECT_EQ(run_sim(std::move(words), &sim), 1);
		EXPECT_EQ(content_of(sim.err), "vorlin-sim: " + complaint + "\n");
		EXPECT_EQ(content_of(sim.out), "");
	}

	std::string link(const char *name = "tty") const
	{
		return folder + "/" + name;
	}
};

inline const std::string version("\x01\x01\x10\x00", 4);
inline const std::string receiver_test("\x01\x1D\x20\x01\x05", 5);
inline const std::string transmitter_test("\x01\x1E\x20\x03\x05\x25\x00", 7);
inline const std::string test_end("\x01\x1F\x20\x00", 4);
