// SPDX-License-Identifier: Apache-2.0
/* The outcome of a command, with and without access to the daemon's messages. */
#include "tests/system/client_stage.h"

#include <csignal>
#include <fcntl.h>
#include <sys/mount.h>

class ClientOutcome : public ClientTest
{
      protected:
	/* Start the daemon from a shell that redirects its standard error. */
	void start_by(const std::string &controller, const std::string &shell_line)
	{
		make_patch_for(controller);
		simulator = start_simulator(controller);
		daemon = start(
			{ "/bin/sh", "-c",
			  "trap '' XFSZ; " + shell_line + "; exec " + quoted(built("vorlind")) });
		ASSERT_TRUE(comes_true([&] { return ctl({ "wait" }).status == 0; }));
		done({ "set", "mac", "NONE" });
	}

	/* All commands whose outcome only the messages show. */
	void expect_unknown(const std::string &reason)
	{
		const std::vector<std::vector<std::string>> commands = {
			{ "reset", "soft" },
			{ "show", "version" },
			{ "show", "mac" },
			{ "config", "interval", "200" },
			{ "test", "rx", "3" },
			{ "config", "le-receiver-test", "3" }, /* the messages show a refusal */
			{ "test", "end" },
		};
		for (const auto &words : commands) {
			SCOPED_TRACE(words[0] + " " + words[1]);
			const answer a = ctl(words);
			EXPECT_EQ(a.status, 6);
			EXPECT_EQ(a.out, "");
			EXPECT_EQ(a.err, "vorlinctl: done, outcome unknown: vorlind's messages " +
						 reason + "\n");
		}
		/* An outcome that the segment shows is known nevertheless. */
		done({ "beacon", "1", "--uuid", "random", "on" });
		done({ "start" });
		done({ "stop" });
		done({ "trace", "off" });
	}

	/*
	 * Daemon and client of a user who is not root, and standard error a file of root's: opened
	 * by root, as a service manager does, before the daemon becomes that user's.
	 */
	void start_by_root_for_another(const std::string &controller, const std::string &mode)
	{
		program maker;
		const std::string user = "setpriv --reuid=65534 --regid=65534 --clear-groups ";

		if (run({ "/bin/sh", "-c", user + quoted(built("vorlinctl")) + " --version" },
			&maker) != 0)
			GTEST_SKIP()
				<< "cannot become another user here: " << content_of(maker.err);
		as_user = { "/usr/bin/setpriv", "--reuid=65534", "--regid=65534",
			    "--clear-groups" };
		make_patch_for(controller);
		simulator = start_simulator(controller);
		ASSERT_EQ(run({ "/bin/sh", "-c",
				"chmod 666 /dev/ttyMSM1; chmod 755 .; touch messages; chmod " +
					mode + " messages" },
			      &maker),
			  0);
		daemon = start({ "/bin/sh", "-c",
				 "trap '' XFSZ; ulimit -f 128; exec 2>>messages; exec " + user +
					 quoted(daemon_for_anyone()) });
		ASSERT_TRUE(comes_true([&] { return ctl({ "wait" }).status == 0; }));
		done({ "set", "mac", "NONE" });
	}

	std::string messages() const
	{
		return folder + "/messages";
	}

	void fill_up_to(std::uintmax_t size) const
	{
		std::filesystem::resize_file(messages(), size);
	}

	program daemon;
};

class ClientOutcomeOf : public ClientOutcome, public testing::WithParamInterface<const char *>
{
};

INSTANTIATE_TEST_SUITE_P(Controllers, ClientOutcomeOf,
			 testing::Values("ti-06", "ti-08", "qualcomm"));

TEST_P(ClientOutcomeOf, AFullFileIsEmptiedAndTheOutcomeTold)
{
	if (is_emulated && O_APPEND != 02000)
		GTEST_SKIP()
			<< "/proc tells how a file is open by the numbers of another processor";
	start_by(GetParam(), "ulimit -f 128; exec 2>>messages");
	fill_up_to(65536);
	done({ "test", "rx", "3" });
	fill_up_to(65536);
	const answer second = ctl({ "config", "le-receiver-test", "3" });
	EXPECT_EQ(second.status, 4) << "one runs already";
	EXPECT_TRUE(contains(second.err, "0x0c Command Disallowed")) << second.err;
	fill_up_to(65530);
	EXPECT_EQ(done({ "test", "end" }), "Num of packets: 0\n");
	fill_up_to(65536);
	EXPECT_EQ(done({ "show", "mac" }), "BLE MAC Address: 020000000001\n");
	EXPECT_LT(std::filesystem::file_size(messages()), 1000U);
}

TEST_P(ClientOutcomeOf, NowhereIsUnknown)
{
	start_by(GetParam(), "exec 2>/dev/null");
	expect_unknown("do not go to a file: see /dev/null");
}

TEST_F(ClientOutcome, APipeIsUnknown)
{
	program maker;

	ASSERT_EQ(run({ "/bin/sh", "-c", "mkfifo pipe" }, &maker), 0);
	start_by("ti-08", "cat pipe >log & exec 2>pipe");
	expect_unknown("do not go to a file: see " + folder + "/pipe");
}

TEST_F(ClientOutcome, AJournalIsUnknown)
{
	/* A service manager gives the daemon a socket. */
	write_file("journal", "import os, socket, sys\n"
			      "kept, given = socket.socketpair()\n"
			      "kept.set_inheritable(True)\n"
			      "os.dup2(given.fileno(), 2)\n"
			      "os.execv(sys.argv[1], sys.argv[1:])\n");
	make_patch_for("ti-08");
	simulator = start_simulator("ti-08");
	daemon = start({ "/usr/bin/env", "python3", folder + "/journal", built("vorlind") });
	ASSERT_TRUE(comes_true([&] { return ctl({ "wait" }).status == 0; }));
	done({ "set", "mac", "NONE" });
	const std::string descriptor = "/proc/" + std::to_string(daemon.pid) + "/fd/2";
	const std::string place = std::filesystem::read_symlink(descriptor);
	EXPECT_TRUE(contains(place, "socket:"));
	expect_unknown("do not go to a file: see " + place);
}

TEST_F(ClientOutcome, AFileThatTakesNoMoreAndCannotBeEmptiedIsUnknown)
{
	/* Without append the daemon's own file offset reaches the limit. */
	start_by("ti-08", "ulimit -f 1; exec 2>messages; head -c 4096 /dev/zero >&2");
	expect_unknown("take no more, or were cut: see " + messages());
}

TEST_F(ClientOutcome, AFullDiskIsUnknown)
{
	const std::string disk = folder + "/disk";

	std::filesystem::create_directory(disk);
	if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=16k") != 0)
		GTEST_SKIP() << "nothing can be mounted here";
	start_by("ti-08", "exec 2>>disk/messages; head -c 20000 /dev/zero >disk/other");
	expect_unknown("take no more, or were cut: see " + disk + "/messages");
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
	EXPECT_EQ(umount(disk.c_str()), 0);
}

TEST_F(ClientOutcome, AFileThatWasTruncatedWithoutAppendIsRead)
{
	start_by("ti-08", "exec 2>messages");
	fill_up_to(0);
	EXPECT_EQ(done({ "show", "mac" }), "BLE MAC Address: 020000000001\n");
	fill_up_to(0);
	EXPECT_EQ(ctl({ "test", "end" }).status, 4);
}

TEST_F(ClientOutcome, AResetThatFindsNoControllerIsKnown)
{
	start_by("ti-08", "exec 2>/dev/null");
	EXPECT_EQ(stop(simulator, SIGTERM), 0);
	const answer a = ctl({ "reset", "soft" });
	EXPECT_EQ(a.status, 3);
	EXPECT_EQ(a.err, "vorlinctl: no usable controller answers\n");
	EXPECT_EQ(ctl({ "show", "mac" }).status, 3);
}

TEST_F(ClientOutcome, ForProgramsTheValueIsNull)
{
	start_by("ti-08", "exec 2>/dev/null");
	const answer mac = ctl({ "--json", "show", "mac" });
	EXPECT_EQ(mac.status, 6);
	EXPECT_EQ(mac.out, "{\"command\": \"show mac\", \"value\": null}\n");
}

TEST_P(ClientOutcomeOf, AFileThatIsAnothersToReadIsUnknown)
{
	start_by_root_for_another(GetParam(), "600");
	if (IsSkipped() || HasFatalFailure())
		return;
	expect_unknown("may not be read: see " + messages());
	const answer mac = ctl({ "--json", "show", "mac" });
	EXPECT_EQ(mac.status, 6);
	EXPECT_EQ(mac.out, "{\"command\": \"show mac\", \"value\": null}\n");
	/* And where not even the folder may be entered. */
	std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
	const answer hidden = ctl({ "test", "end" });
	EXPECT_EQ(hidden.status, 6);
	EXPECT_EQ(hidden.err, "vorlinctl: done, outcome unknown: vorlind's messages may not be "
			      "read: see " +
				      messages() + "\n");
}

TEST_P(ClientOutcomeOf, AFileThatIsAnothersToWriteIsReadUntilItIsFull)
{
	if (is_emulated && O_APPEND != 02000)
		GTEST_SKIP()
			<< "/proc tells how a file is open by the numbers of another processor";
	start_by_root_for_another(GetParam(), "644");
	if (IsSkipped() || HasFatalFailure())
		return;
	EXPECT_EQ(done({ "show", "mac" }), "BLE MAC Address: 020000000001\n");
	EXPECT_EQ(ctl({ "test", "end" }).status, 4) << "none runs";
	fill_up_to(65536);
	expect_unknown("take no more, or were cut: see " + messages());
	EXPECT_EQ(std::filesystem::file_size(messages()), 65536U);
}
