// SPDX-License-Identifier: Apache-2.0
/* Completion and manual page agree with the program. */
#include "tests/system/client_stage.h"

#include <set>
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

	/* What bash offers for the last of these words, split as bash splits them. */
	std::string offered(const std::vector<std::string> &line)
	{
		return offered_by("vorlinctl", "client/completion/vorlinctl.bash", "_vorlinctl",
				  line);
	}

	std::string offered_by_sim(const std::vector<std::string> &line)
	{
		return offered_by("vorlin-sim", "sim/completion/vorlin-sim.bash", "_vorlin_sim",
				  line);
	}

	std::string offered_by(const std::string &name, const std::string &file,
			       const std::string &function, const std::vector<std::string> &line)
	{
		std::string words = name;
		program bash;

		for (const std::string &word : line)
			words += " '" + word + "'";
		EXPECT_EQ(run({ "/bin/bash", "-c",
				"PATH=" + quoted(built("")) + ":$PATH\n. " + quoted(source(file)) +
					"\nCOMP_WORDS=(" + words +
					")\nCOMP_CWORD=" + std::to_string(line.size()) + "\n" +
					function + "\necho \"${COMPREPLY[*]}\"" },
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
	EXPECT_EQ(offered({ "test", "" }), "rx tx end sweep\n");
	EXPECT_EQ(offered({ "reset", "h" }), "hard\n");
	EXPECT_EQ(offered({ "wait", "--status", "av" }), "available\n");
	EXPECT_EQ(offered({ "config", "mac", "" }), "by-mrd\n");
	EXPECT_EQ(offered({ "set", "mac", "" }), "NONE\n");
	EXPECT_EQ(offered({ "start", "" }), "\n");
}

TEST_F(ClientCompletion, BashOffersValuesBehindAnEqualsSign)
{
	/* bash splits a word at "="; other users of the file may not. */
	EXPECT_EQ(offered({ "beacon", "1", "--uuid", "=", "r" }), "random\n");
	EXPECT_EQ(offered({ "beacon", "1", "--uuid", "=" }), "random NONE\n");
	EXPECT_EQ(offered({ "beacon", "1", "--uuid=r" }), "--uuid=random\n");
	EXPECT_EQ(offered({ "set", "mac", "=" }), "NONE\n");
	EXPECT_EQ(offered({ "wait", "--status", "=", "te" }), "testing\n");
	EXPECT_EQ(offered({ "beacon", "1", "--uuid", "=", "random", "--mi" }), "--minor\n");
}

TEST_F(ClientCompletion, BashOffersTheGuardsOptionsAndMinutes)
{
	EXPECT_EQ(offered({ "guard", "" }), "--restarts --probe\n");
	EXPECT_EQ(offered({ "guard", "--probe", "" }), "5 15 60\n");
	EXPECT_EQ(offered({ "guard", "--probe", "=" }), "5 15 60\n");
	EXPECT_EQ(offered({ "guard", "--restarts", "--probe", "=", "1" }), "15\n");
	EXPECT_EQ(offered({ "guard", "--probe=6" }), "--probe=60\n");
	EXPECT_EQ(offered({ "guard", "--probe", "5", "--r" }), "--restarts\n");
	EXPECT_EQ(offered({ "guard", "--probe", "=", "5", "--r" }), "--restarts\n");
}

TEST_F(ClientCompletion, BashOffersTheTimeoutAndGoesOnBehindIt)
{
	EXPECT_EQ(offered({ "--timeout", "" }), "5 15 60 300\n");
	EXPECT_EQ(offered({ "--timeout", "=" }), "5 15 60 300\n");
	EXPECT_EQ(offered({ "--timeout", "=", "5", "re" }), "restart reset\n");
	EXPECT_EQ(offered({ "--timeout=5", "re" }), "restart reset\n");
	EXPECT_EQ(offered({ "--", "be" }), "beacon\n");
}

TEST_F(ClientCompletion, BashGoesOnBehindACommaOfAList)
{
	EXPECT_EQ(offered({ "trace", "hci,f" }), "hci,flow\n");
	EXPECT_FALSE(contains(offered({ "trace", "hci," }), "off"));
	EXPECT_EQ(offered({ "test", "sweep", "--channels", "0,1" }), "0,12 0,19\n");
	EXPECT_EQ(offered({ "test", "sweep", "--channels", "=", "0,3" }), "0,39\n");
}

TEST_F(ClientCompletion, ANameIsNotOfferedAsItsOwnValue)
{
	EXPECT_EQ(offered({ "set", "interval", "" }), "\n");
	EXPECT_EQ(offered({ "set", "interval", "200", "pow" }), "power power-index\n");
	EXPECT_EQ(offered({ "beacon", "1", "--major", "" }), "\n");
}

TEST_F(ClientCompletion, BashOffersTheSimulatorsOptionsAndTheirValues)
{
	program help;
	std::set<std::string> options;

	EXPECT_EQ(run({ built("vorlin-sim"), "--help" }, &help), 0);
	std::istringstream words(content_of(help.out));
	for (std::string word; words >> word;)
		if (word.rfind("--", 0) == 0)
			options.insert(word.substr(0, word.find_first_of(",=:;")));
	EXPECT_GE(options.size(), 20U);
	for (const std::string &option : options)
		EXPECT_TRUE(contains(" " + offered_by_sim({ option }), option)) << option;
	EXPECT_EQ(offered_by_sim({ "--controller", "t" }), "ti-06 ti-08\n");
	EXPECT_EQ(offered_by_sim({ "--controller", "=", "q" }), "qualcomm\n");
	EXPECT_EQ(offered_by_sim({ "--quirk", "credit" }), "credit-0\n");
	EXPECT_EQ(offered_by_sim({ "--fault", "dr" }), "drop\n");
	EXPECT_TRUE(contains(offered_by_sim({ "--fault", "drop", ":" }), "at= way="));
	EXPECT_EQ(offered_by_sim({ "--fault", "drop", ":", "at", "=", "3,w" }), "3,way=\n");
	EXPECT_EQ(offered_by_sim({ "control", "socket", "re" }), "reboot\n");
	EXPECT_EQ(offered_by_sim({ "--seconds", "" }), "\n");
}

TEST_F(ClientCompletion, EveryOptionOfTheDaemonIsOfferedAndEveryOfferedOneIsThere)
{
	for (const char *command : { "show", "config" }) {
		/* The message for an unknown option lists the known ones. */
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

/* Runs zsh on a terminal and shows what it makes of the keys; empty without zsh. */
class ZshCompletion : public ClientCompletion
{
      protected:
	std::string typed(const std::string &keys, const std::string &until)
	{
		program zsh;
		const std::string script =
			"zmodload zsh/zpty; PATH=" + quoted(built("")) +
			":$PATH; export TERM=dumb\n"
			"zpty shell zsh -f -i\n"
			"w() { zpty -w shell $1 }\n"
			"r() { zpty -r -m shell text \"*$1*\"; print -r -- $text }\n"
			"w \"PROMPT='ready> '; fpath=(" +
			quoted(source("client/completion")) + " " +
			quoted(source("sim/completion")) +
			" \\$fpath); autoload -Uz compinit; compinit -u -D; LISTMAX=0; "
			"setopt auto_list; print loa''ded\"\n"
			"r loaded; r 'ready> '\n"
			"zpty -w -n shell $'" +
			keys + "'\nr '" + until + "'\n";

		EXPECT_EQ(run({ "/usr/bin/env", "timeout", "180", "zsh", "-fc", script }, &zsh), 0)
			<< content_of(zsh.out) << content_of(zsh.err);
		return content_of(zsh.out);
	}

	void SetUp() override
	{
		program zsh;

		ClientCompletion::SetUp();
		if (run({ "/usr/bin/env", "zsh", "-fc", "zmodload zsh/zpty" }, &zsh) != 0)
			GTEST_SKIP() << "there is no zsh here";
	}
};

TEST_F(ZshCompletion, OffersEveryCommandOfTheHelpAndItsArguments)
{
	/* Only the beginning of each word is typed. */
	const std::string shown = typed("vorlinctl be\\t1 --uu\\tran\\t", "random");

	for (const char *word : { "beacon", "--uuid", "random" })
		EXPECT_TRUE(contains(shown, word)) << shown;
}

TEST_F(ZshCompletion, OffersValuesBehindAnEqualsSignAndAComma)
{
	typed("vorlinctl beacon 1 --uuid=ran\\t", "--uuid=random");
	typed("vorlinctl trace hci,flo\\t", "hci,flow");
	typed("vorlinctl --timeout=5 resta\\t", "restart");
	typed("vorlinctl --timeout=30\\t", "300");
}

TEST_F(ZshCompletion, OffersTheGuardsMinutes)
{
	typed("vorlinctl guard --pro\\t1\\t", "15");
	typed("vorlinctl guard --probe=1\\t", "--probe=15");
}

TEST_F(ZshCompletion, DoesNotOfferANameAsItsOwnValue)
{
	const std::string shown = typed("vorlinctl set interval inter\\t!", "!");

	EXPECT_FALSE(contains(shown, "interval interval")) << shown;
}

TEST_F(ZshCompletion, OffersTheSimulatorsOptions)
{
	typed("vorlin-sim --controller=qual\\t", "qualcomm");
	typed("vorlin-sim --fault junk:cou\\t", "junk:count=");
}

TEST_F(ClientCompletion, TheManualPageTellsOfEveryCommandAndStatus)
{
	const std::string page = content_of(source("docs/vorlinctl.1"));

	for (const std::string &name : commands())
		EXPECT_TRUE(contains(page, ".It Cm " + name)) << name;
	for (const char *status : { "0", "1", "2", "3", "4", "5", "6", "7" })
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
