// SPDX-License-Identifier: Apache-2.0
/* Shared by the tests of vorlinctl: runs it, and sets up each kind of controller. */
#pragma once

#include "tests/system/stage.h"

#include <filesystem>
#include <fstream>

/* How one run of vorlinctl ended. */
struct answer {
	int status;
	std::string out;
	std::string err;
};

static const char an_uuid[] = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0";

class ClientTest : public SystemTest
{
      protected:
	answer ctl(std::vector<std::string> words)
	{
		program client;

		words.insert(words.begin(), built("vorlinctl"));
		words.insert(words.begin(), as_user.begin(), as_user.end());
		const int status = run(words, &client);
		return { status, content_of(client.out), content_of(client.err) };
	}

	/* Run it and expect success. */
	std::string done(const std::vector<std::string> &words)
	{
		const answer a = ctl(words);

		EXPECT_EQ(a.status, 0) << words[0] << ": " << a.out << a.err;
		return a.out;
	}

	/*
	 * A daemon that any user can start: the build may lie where only root may look, and so may
	 * the folder for temporary files.
	 */
	[[nodiscard]] std::string daemon_for_anyone() const
	{
		using enum std::filesystem::perms;
#ifdef VORLIND_EMULATED
		return built("vorlind");
#endif
		for (std::filesystem::path above = folder; above.has_relative_path();
		     above = above.parent_path())
			if ((status(above).permissions() & others_exec) == none)
				permissions(above, group_exec | others_exec,
					    std::filesystem::perm_options::add);
		std::filesystem::copy(built("vorlind"), folder);
		std::filesystem::copy(built("lib"), folder + "/lib",
				      std::filesystem::copy_options::recursive);
		return folder + "/vorlind";
	}

	/* Write a patch file if the controller needs one. */
	void make_patch_for(const std::string &controller)
	{
		program maker;

		if (controller != "qualcomm")
			return;
		EXPECT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin",
				"--patch-size", "1000" },
			      &maker),
			  0)
			<< content_of(maker.err);
	}

	/* Start simulator and daemon. */
	program start_with(const std::string &controller,
			   const std::vector<std::string> &options = {})
	{
		make_patch_for(controller);
		simulator = start_simulator(controller, options);
		const program daemon = start_daemon();
		/* No manufacturing data: the address setting would be empty. */
		done({ "set", "mac", "NONE" });
		return daemon;
	}

	/* A dwell above the client's limit, as another program may set it. */
	void set_long_interval(const std::string &milliseconds) const
	{
		milliseconds.copy(segment->config.interval, sizeof(segment->config.interval) - 1);
	}

	/* The path of a file of the source tree. */
	static std::string source(const std::string &path)
	{
		return VORLIND_SOURCE "/" + path;
	}

	void write_file(const std::string &name, const std::string &text)
	{
		std::ofstream(folder + "/" + name) << text;
	}

	program simulator;
	std::vector<std::string> as_user; /* words before vorlinctl, if any */
};

inline bool contains(const std::string &text, const std::string &part)
{
	return text.find(part) != std::string::npos;
}
