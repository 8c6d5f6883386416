// SPDX-License-Identifier: Apache-2.0
/* Completion and manual page against the program that they speak of. */
#include "tests/system/client_stage.h"

#include <sstream>

class ClientCompletion : public ClientTest
{
      protected:
	static std::vector<std::string> words_of(const std::string &text)
	{
		std::istringstream stream(text);
		std::vector<std::string> words;

		for (std::string word; stream >> word;)
			words.push_back(word);
		return words;
	}

	/* The commands that the help lists. */
	std::vector<std::string> commands()
	{
		std::istringstream help(done({ "--help" }));
		std::vector<std::string> names;
		bool listed = false;

		for (std::string line; std::getline(help, line);) {
			if (line.rfind("Commands", 0) == 0)
				listed = true;
			else if (line.empty())
				listed = false;
			else if (listed)
				names.push_back(words_of(line).at(0));
		}
		return names;
	}

	/* What bash offers for the last of these words. */
	std::string offered(const std::vector<std::string> &line)
	{
		std::string words = "vorlinctl";
		program bash;

		for (const std::string &word : line)
			words += " '" + word + "'";
		EXPECT_EQ(run({ "/bin/bash", "-c",
				"PATH=" + quoted(built("")) + ":$PATH\n. " +
					quoted(source("client/completion/vorlinctl.bash")) +
					"\nCOMP_WORDS=(" + words +
					")\nCOMP_CWORD=" + std::to_string(line.size()) +
					"\n_vorlinctl\necho \"${COMPREPLY[*]}\"" },
			      &bash),
			  0);
		EXPECT_EQ(content_of(bash.err), "");
		return content_of(bash.out);
	}
};

TEST_F(ClientCompletion, BashOffersEveryCommandOfTheHelp)
{
	const std::string all = offered({ "" });
	const auto names = commands();

	EXPECT_GE(names.size(), 16U);
	for (const std::string &name : names)
		EXPECT_TRUE(contains(" " + all, " " + name + " ")) << name << ": " << all;
	EXPECT_EQ(offered({ "be" }), "beacon\n");
	EXPECT_EQ(offered({ "--timeout", "5", "re" }), "restart reset\n");
}

TEST_F(ClientCompletion, BashOffersWhatACommandTakes)
{
	EXPECT_EQ(offered({ "beacon", "" }), "1 2 3 4 5 list show clear\n");
	EXPECT_EQ(offered({ "beacon", "1", "--uuid", "r" }), "random\n");
	EXPECT_EQ(offered({ "beacon", "1", "--ma" }), "--major\n");
	EXPECT_EQ(offered({ "beacon", "clear", "a" }), "all\n");
	EXPECT_EQ(offered({ "test", "" }), "rx tx end\n");
	EXPECT_EQ(offered({ "reset", "h" }), "hard\n");
	EXPECT_EQ(offered({ "wait", "--status", "av" }), "available\n");
	EXPECT_EQ(offered({ "config", "mac", "" }), "by-mrd\n");
	EXPECT_EQ(offered({ "set", "mac", "" }), "NONE\n");
	EXPECT_EQ(offered({ "start", "" }), "\n");
}

TEST_F(ClientCompletion, EveryOptionOfTheDaemonIsOfferedAndEveryOfferedOneIsThere)
{
	for (const char *command : { "show", "config" }) {
		/* The complaint about an unknown option lists the known ones. */
		const std::string complaint = ctl({ command, "?" }).err;
		const std::string known = complaint.substr(complaint.find("there are ") + 10);
		EXPECT_EQ(words_of(offered({ command, "" })).size(),
			  words_of(known.substr(0, known.find(" ("))).size());
		for (const std::string &word : words_of(offered({ command, "" })))
			EXPECT_TRUE(contains(" " + known, " " + word)) << command << " " << word;
	}
	for (const std::string &word : words_of(offered({ "trace", "" })))
		EXPECT_EQ(ctl({ "trace", word }).status, 2) << word << " is known; no daemon runs";
	for (const std::string &word : words_of(offered({ "wait", "--status", "" })))
		EXPECT_TRUE(
			contains(ctl({ "wait", "--status", word, "?" }).err, "unknown argument"))
			<< word << " was to be a known status";
}

TEST_F(ClientCompletion, ZshOffersEveryCommandOfTheHelp)
{
	program zsh;

	if (run({ "/usr/bin/env", "zsh", "-fc", "zmodload zsh/zpty" }, &zsh) != 0)
		GTEST_SKIP() << "there is no zsh here";
	/* A zsh of its own behind a terminal: type a command's beginning, press Tab twice. */
	const std::string script = "zmodload zsh/zpty; PATH=" + quoted(built("")) +
				   ":$PATH; export TERM=dumb\n"
				   "zpty shell zsh -f -i\n"
				   "w() { zpty -w shell $1 }\n"
				   "r() { zpty -r -m shell text \"*$1*\"; print -r -- $text }\n"
				   "w \"PROMPT='ready> '; fpath=(" +
				   quoted(source("client/completion")) +
				   " \\$fpath); autoload -Uz compinit; compinit -u -D; LISTMAX=0; "
				   "setopt auto_list; print loa''ded\"\n"
				   "r loaded; r 'ready> '\n"
				   "zpty -w -n shell $'vorlinctl be\\t1 --uu\\tran\\t'\n"
				   "r random\n";
	EXPECT_EQ(run({ "/usr/bin/env", "timeout", "180", "zsh", "-fc", script }, &zsh), 0)
		<< content_of(zsh.out) << content_of(zsh.err);
	const std::string shown = content_of(zsh.out);
	for (const char *word : { "beacon", "--uuid", "random" })
		EXPECT_TRUE(contains(shown, word)) << "typed was only its beginning: " << shown;
}

TEST_F(ClientCompletion, TheManualPageTellsOfEveryCommandAndStatus)
{
	const std::string page = content_of(source("docs/vorlinctl.1"));

	for (const std::string &name : commands())
		EXPECT_TRUE(contains(page, ".It Cm " + name)) << name;
	for (const char *status : { "0", "1", "2", "3", "4", "5" })
		EXPECT_TRUE(contains(page, std::string(".It ") + status + "\n"));
}

TEST_F(ClientCompletion, TheManualPageIsSound)
{
	program mandoc;

	if (run({ "/usr/bin/env", "mandoc", "/dev/null" }, &mandoc) == 127)
		GTEST_SKIP() << "there is no mandoc here";
	EXPECT_EQ(run({ "/usr/bin/env", "mandoc", "-Tlint", "-W", "warning",
			source("docs/vorlinctl.1") },
		      &mandoc),
		  0)
		<< content_of(mandoc.out);
}
