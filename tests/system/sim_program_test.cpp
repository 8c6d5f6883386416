// SPDX-License-Identifier: Apache-2.0
/* The simulator as a program: start, end, link, sockets. */
#include "tests/system/sim_program.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <unistd.h>

TEST_F(SimProgram, ChecksItself)
{
	program sim;

	EXPECT_EQ(run_sim({ "--selftest" }, &sim), 0);
	EXPECT_NE(content_of(sim.out).find("selftest passed"), std::string::npos);
}

TEST_F(SimProgram, TellsItsVersionAndItsHelp)
{
	program sim;

	EXPECT_EQ(run_sim({ "--version" }, &sim), 0);
	EXPECT_EQ(content_of(sim.out), "vorlin-sim 0.3.0\n");
	for (const char *help : { "--help", "--help=faults", "--help=quirks" }) {
		EXPECT_EQ(run_sim({ help }, &sim), 0);
		EXPECT_TRUE(content_of(sim.out).starts_with("usage: "));
	}
}

TEST_F(SimProgram, RefusesWhatItDoesNotUnderstandInOneLine)
{
	expect_complaint({ "--foo" }, "unknown option '--foo'; --help lists them");
	expect_complaint({ "--controller", "cc" },
			 "--controller cannot be 'cc': it is ti-06, ti-08 or qualcomm");
	expect_complaint({ "--script", "/nowhere" },
			 "cannot read /nowhere: No such file or directory");
	expect_complaint({ "--capture", "/nowhere/x" },
			 "cannot write /nowhere/x: No such file or directory");
	expect_complaint({ "--log", "/nowhere/x" },
			 "cannot write /nowhere/x: No such file or directory");
	expect_complaint({ "--report", "/nowhere/x" },
			 "cannot write /nowhere/x: No such file or directory");
	expect_complaint({ "--patch-out", "/nowhere/x" },
			 "cannot write /nowhere/x: No such file or directory");
	expect_complaint({ "--report", "/tmp" }, "cannot write /tmp: Is a directory");
	expect_complaint({ "--script", "/tmp" }, "cannot read /tmp: Is a directory");
	expect_complaint({ "--seconds", "0" },
			 "--seconds cannot be '0': it is a time above 0, such as 2.5");
	expect_complaint(
		{ "--fault", "flip:mask=256" },
		"fault flip: 'mask=256' cannot be: it is a number from 1 to 255, or random "
		"or each");
	expect_complaint({ "--control", "/etc/passwd" },
			 "/etc/passwd exists and is no socket; it is left alone");
	expect_complaint({ "--air", "/etc/passwd" },
			 "/etc/passwd exists and is no socket; it is left alone");
	expect_complaint({ "control", "/nowhere", "help" },
			 "cannot reach /nowhere: No such file or directory");
	expect_complaint({ "scan", "/nowhere" },
			 "cannot reach /nowhere: No such file or directory");
}

TEST_F(SimProgram, WhatIsWrittenAtTheEndIsTriedAtTheStartAndLeftAsItIs)
{
	std::ofstream(folder + "/patch") << "precious";
	program sim;

	EXPECT_EQ(run_sim({ "--patch-out", folder + "/patch", "--report", folder + "/report",
			    "--seconds", "0.1" },
			  &sim),
		  0);
	EXPECT_EQ(content_of(folder + "/patch"), "precious");
	EXPECT_TRUE(content_of(folder + "/report").starts_with("<svg "));
}

/* /dev/full acts as a full disk. */
TEST_F(SimProgram, ARecordThatCannotBeWrittenIsToldOnceAndInTheStatus)
{
	static const struct {
		const char *option;
		const char *what;
	} records[] = {
		{ "--log", "/dev/full" },
		{ "--capture", "/dev/full" },
		{ "--report", "/dev/full" },
	};

	for (const auto &[option, what] : records) {
		const program sim = start_sim({ "--link", link(), option, "/dev/full" });
		{
			host peer(link());
			EXPECT_EQ(peer.say(version, 15).size(), 15u) << "the controller goes on";
			EXPECT_EQ(peer.say(version, 15).size(), 15u);
		}
		EXPECT_EQ(stop(sim, SIGTERM), 1) << option;
		EXPECT_EQ(content_of(sim.err), "vorlin-sim: cannot write " + std::string(what) +
						       ": No space left on device\n");
	}
}

TEST_F(SimProgram, AStandardOutputThatCannotBeWrittenIsToldOnceAndInTheStatus)
{
	for (const char *view : { "--json", "--live", "--quiet" }) {
		const std::string command = quoted(built("vorlin-sim")) + " --link " + link() +
					    " " + view + " --seconds 0.3 >/dev/full";
		program shell;
		EXPECT_EQ(run({ "/bin/sh", "-c", command }, &shell), 1) << view;
		EXPECT_EQ(content_of(shell.err), "vorlin-sim: cannot write the standard output: No "
						 "space left on device\n");
	}
}

TEST_F(SimProgram, EndsCleanlyOnEachSignalAndAtItsTime)
{
	for (const int number : { SIGTERM, SIGINT, SIGHUP }) {
		const program sim = start_sim(
			{ "--link", link(), "--control", link("control"), "--air", link("air") });
		EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(link()); }));
		EXPECT_EQ(stop(sim, number), 0);
		for (const char *name : { "tty", "control", "air" })
			EXPECT_FALSE(std::filesystem::is_symlink(link(name)) ||
				     std::filesystem::exists(link(name)))
				<< name;
	}
	program sim;
	EXPECT_EQ(run_sim({ "--seconds", "0.1" }, &sim), 0);
}

TEST_F(SimProgram, ItsFirstLineTellsWhereTheControllerIs)
{
	program sim;

	EXPECT_EQ(run_sim({ "--controller", "ti-06", "--link", link(), "--seconds", "0.1" }, &sim),
		  0);
	const std::string out = content_of(sim.out);
	EXPECT_TRUE(out.starts_with("vorlin-sim: ti-06 on /dev/pts/")) << out;
	EXPECT_TRUE(out.ends_with(", linked as " + link() + "\n")) << out;
	EXPECT_EQ(run_sim({ "--seconds", "0.1", "--fault", "late", "--seed", "77" }, &sim), 0);
	EXPECT_TRUE(content_of(sim.out).ends_with(", seed 77\n"));
}

TEST_F(SimProgram, LeavesAForeignFileAloneAndReplacesADeadLink)
{
	program sim;

	std::ofstream(link()) << "precious";
	expect_complaint({ "--link", link() },
			 link() + " exists and is not a link of a simulator; it is left alone");
	EXPECT_EQ(content_of(link()), "precious");
	std::filesystem::remove(link());
	std::filesystem::create_symlink("/dev/pts/999999", link());
	EXPECT_EQ(run_sim({ "--link", link(), "--seconds", "0.1" }, &sim), 0);
	EXPECT_FALSE(std::filesystem::is_symlink(link()));
}

TEST_F(SimProgram, ASimulatorThatWasKilledDoesNotBlockTheNext)
{
	const program killed = start_sim({ "--link", link(), "--control", link("control") });
	program sim;

	EXPECT_TRUE(comes_true([&] { return std::filesystem::exists(link()); }));
	EXPECT_EQ(stop(killed, SIGKILL), 128 + SIGKILL);
	EXPECT_TRUE(std::filesystem::is_symlink(link()));
	EXPECT_EQ(run_sim({ "--link", link(), "--control", link("control"), "--seconds", "0.1" },
			  &sim),
		  0)
		<< content_of(sim.err);
}

TEST_F(SimProgram, AScriptActsAtItsTimes)
{
	std::ofstream(folder + "/script") << "0 fault refuse:status=0x11,times=always\n";
	start_sim({ "--link", link(), "--script", folder + "/script", "--baud", "0" });
	host peer(link());

	EXPECT_TRUE(comes_true([&] {
		return peer.say(version, 15).substr(0, 7) ==
		       std::string("\x04\x0E\x0C\x01\x01\x10\x11", 7);
	}));
}

TEST_F(SimProgram, AHostThatDoesNotWaitLosesBytes)
{
	start_sim({ "--link", link(), "--latency", "300", "--buffer", "6", "--log",
		    folder + "/log" });
	host peer(link());

	EXPECT_EQ(peer.say(version + version + version, 15).size(), 15u);
	EXPECT_TRUE(comes_true(
		[&] { return content_of(folder + "/log").find("overrun") != std::string::npos; }));
}

TEST_F(SimProgram, AHostWithFlowControlIsMadeToWait)
{
	start_sim({ "--link", link(), "--latency", "100", "--buffer", "6", "--log",
		    folder + "/log" });
	host peer(link());

	peer.use_flow_control();
	EXPECT_EQ(peer.say(version + version + version, 45).size(), 45u);
	EXPECT_EQ(content_of(folder + "/log").find("overrun"), std::string::npos);
}

TEST_F(SimProgram, AFastHostIsBroughtToThePaceOfTheLine)
{
	const program sim = start_sim({ "--link", link(), "--baud", "1000000", "--buffer", "100000",
					"--log", folder + "/log" });
	std::string many;

	for (int i = 0; i < 2000; i++)
		many += version;
	{
		host peer(link());
		EXPECT_EQ(peer.say(many, 15 * 2000).size(), 15u * 2000);
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	/* 30000 bytes of ten bits take 0.3 s on the line, however fast both ends are. */
	const std::string log = content_of(folder + "/log");
	const size_t last = log.rfind("{\"t\":") + 5;
	EXPECT_GT(std::stod(log.substr(last)), 0.3);
}

TEST_F(SimProgram, JsonIsOneObjectALine)
{
	const program sim = start_sim({ "--link", link(), "--json" });
	{
		host peer(link());
		EXPECT_EQ(peer.say(version, 15).size(), 15u);
		EXPECT_EQ(peer.say(receiver_test, 7).size(), 7u);
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	std::ifstream lines(sim.out);
	int count = 0;
	for (std::string line; std::getline(lines, line); count++) {
		EXPECT_TRUE(line.starts_with("{\"t\":")) << line;
		EXPECT_TRUE(line.ends_with("}")) << line;
		EXPECT_EQ(std::ranges::count(line, '"') % 2, 0) << line;
	}
	EXPECT_EQ(count, 6) << "the start, two commands, two events, one change of the air";
}

TEST_F(SimProgram, AReportIsDrawnAtTheEnd)
{
	const program sim = start_sim({ "--link", link(), "--report", folder + "/report.svg" });
	{
		host peer(link());
		peer.say(transmitter_test, 7);
		peer.say(test_end, 9);
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	const std::string picture = content_of(folder + "/report.svg");
	EXPECT_TRUE(picture.starts_with("<svg "));
	EXPECT_NE(picture.find("transmitter test channel 5 (2412 MHz)"), std::string::npos);
}

TEST_F(SimProgram, WithoutATerminalTheLiveViewIsDrawnOnceAtTheEnd)
{
	const program sim = start_sim({ "--link", link(), "--live" });
	{
		host peer(link());
		peer.say(receiver_test, 7);
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	const std::string out = content_of(sim.out);
	EXPECT_NE(out.find("on     receiver test channel 5"), std::string::npos) << out;
	EXPECT_NE(out.find("● receiver test channel 5"), std::string::npos) << out;
	EXPECT_EQ(out.find('\033'), std::string::npos) << "no colours in a file";
}
