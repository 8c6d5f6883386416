// SPDX-License-Identifier: Apache-2.0
/* vorlinctl metrics: the text for a monitoring system, checked by such a system's program. */
#include "tests/system/client_stage.h"

#include <csignal>
#include <cstring>

class ClientMetrics : public ClientTest
{
      protected:
	/* Check that it is metrics text with all these lines. */
	void expect_metrics(const std::string &text, const std::vector<std::string> &lines)
	{
		program promtool;

		write_file("metrics", text);
		EXPECT_EQ(run({ "/bin/sh", "-c",
				"exec promtool check metrics <'" + folder + "/metrics'" },
			      &promtool),
			  0)
			<< content_of(promtool.out) << content_of(promtool.err) << text;
		EXPECT_EQ(content_of(promtool.err), "") << text;
		EXPECT_TRUE(text.ends_with("\n# EOF\n")) << text;
		for (const std::string &line : lines)
			EXPECT_TRUE(contains("\n" + text, "\n" + line + "\n")) << line << "\n"
									       << text;
	}

	void SetUp() override
	{
		program promtool;

		ClientTest::SetUp();
		if (run({ "/bin/sh", "-c", "command -v promtool" }, &promtool) != 0)
			GTEST_SKIP() << "there is no promtool here";
	}
};

class ClientMetricsOnEach : public ClientMetrics, public testing::WithParamInterface<const char *>
{
};

INSTANTIATE_TEST_SUITE_P(Controllers, ClientMetricsOnEach,
			 testing::Values("ti-06", "ti-08", "qualcomm"));

TEST_P(ClientMetricsOnEach, TheStateIsToldAndNoCommandSent)
{
	start_with(GetParam());
	done({ "beacon", "1", "--uuid", "random", "on" });
	done({ "beacon", "2", "--uuid", "random", "on" });
	done({ "beacon", "3", "on" }); /* without a UUID it is not active */
	done({ "start" });
	memset(segment->cmd.argv[0], 'x', 3);
	const std::string text = done({ "metrics" });
	expect_metrics(text,
		       { "vorlin_up 1", "vorlin_status{status=\"none\"} 0",
			 "vorlin_status{status=\"available\"} 0",
			 "vorlin_status{status=\"advertising\"} 1",
			 "vorlin_action{action=\"start\"} 1", "vorlin_action{action=\"stop\"} 0",
			 "vorlin_beacons_active 2", "vorlin_hung 0", "vorlin_guard_steps 0" });
	EXPECT_TRUE(contains(text, std::string("\nvorlin_controller_info{kind=\"") + GetParam() +
					   "\",hci_version=\""))
		<< text;
	EXPECT_TRUE(contains(text, "\nvorlin_daemon_uptime_seconds ")) << text;
	EXPECT_EQ(memcmp(segment->cmd.argv[0], "xxx", 3), 0) << "a command was sent";
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
}

TEST_F(ClientMetrics, WithoutADaemonOnlyThatIsTold)
{
	const answer a = ctl({ "metrics" });

	EXPECT_EQ(a.status, 2);
	expect_metrics(a.out, { "vorlin_up 0" });
	EXPECT_FALSE(contains(a.out, "vorlin_status"));
}

TEST_F(ClientMetrics, WithoutAControllerThereIsNoWordOfOne)
{
	start_daemon();
	const std::string text = done({ "metrics" });
	expect_metrics(text, { "vorlin_up 1", "vorlin_status{status=\"none\"} 1",
			       "vorlin_beacons_active 0" });
	EXPECT_FALSE(contains(text, "vorlin_controller_info"));
}

TEST_F(ClientMetrics, ADaemonThatHangsIsToldAndSoAreTheGuardsSteps)
{
	const program daemon = start_with("ti-08", { "--fault", "cut:at=3,opcode=0x1009" });
	const program asking = start({ built("vorlinctl"), "--timeout", "300", "show", "mac" });

	EXPECT_TRUE(comes_true([&] { return contains(done({ "metrics" }), "\nvorlin_hung 1\n"); }));
	segment->config.reserved = 7; /* the guard's counter */
	expect_metrics(done({ "metrics" }), { "vorlin_up 1", "vorlin_guard_steps 7" });
	EXPECT_EQ(stop(daemon, SIGKILL), 128 + SIGKILL);
	EXPECT_EQ(wait_for_end(asking), 2);
}

TEST_F(ClientMetrics, TheAgeIsTheDaemons)
{
	const program daemon = start_with("ti-08");
	const auto age = [&] {
		const std::string text = done({ "metrics" });
		const char name[] = "\nvorlin_daemon_uptime_seconds ";
		return std::stol(text.substr(text.find(name) + sizeof(name) - 1));
	};

	const long first = age();
	EXPECT_GE(first, 0);
	EXPECT_TRUE(comes_true([&] { return age() > first; }));
	EXPECT_EQ(ctl({ "metrics", "now" }).status, 1);
	EXPECT_EQ(stop(daemon, SIGTERM), 0);
}
