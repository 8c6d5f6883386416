// SPDX-License-Identifier: Apache-2.0
/*
 * Records whole sessions of the daemon with each controller. Two independent analysers read
 * every packet, find none malformed, and see the commands in their order.
 */
#include "tests/system/sim_stage.h"

#include <algorithm>
#include <filesystem>

class SimCaptures : public SimulatorTest
{
      protected:
	/* From the daemon's start to its end: beacons, a production test, a reset. */
	void hold_session(const std::string &controller)
	{
		program maker;

		ASSERT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin",
				"--patch-size", "1000" },
			      &maker),
			  0);
		start_both(controller, { "--capture", folder + "/capture", "--log", folder + "/log",
					 "--strict-patch" });
		load_beacon(0, "00112233445566778899AABBCCDDEEFF", "1");
		load_beacon(1, "F7826DA64FA24E988024BC5B71E0893E", "2");
		rotate_test_and_end();
	}

	/* The number of packets in the log: the capture must have as many. */
	size_t logged(const std::string &what)
	{
		return count_of(content_of(folder + "/log"), "\"what\":\"" + what + "\"");
	}

	std::string analysed(const std::vector<std::string> &words)
	{
		program analyser;

		EXPECT_EQ(run(words, &analyser), 0) << content_of(analyser.err);
		return content_of(analyser.out);
	}

	/* The opcodes of all commands, from the analyser; those of the rotation only once. */
	std::vector<std::string> opcodes()
	{
		std::vector<std::string> codes = lines_of(
			analysed({ "/usr/bin/tshark", "-r", folder + "/capture", "-Y", "bthci_cmd",
				   "-T", "fields", "-e", "bthci_cmd.opcode" }));

		codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
		return codes;
	}

	void expect_well_formed()
	{
		const std::string all =
			analysed({ "/usr/bin/tshark", "-r", folder + "/capture", "-V" });

		EXPECT_EQ(count_of(all, "Malformed"), 0u);
		EXPECT_EQ(count_of(all, "\nBluetooth HCI Command - ") +
				  count_of(all, "\nBluetooth HCI Event - "),
			  logged("command") + logged("event"));
	}

	void expect_both_readers_agree()
	{
		const std::string all = analysed({ "/usr/bin/btmon", "-r", folder + "/capture" });

		EXPECT_EQ(count_of(all, "< HCI Command"), logged("command"));
		EXPECT_EQ(count_of(all, "> HCI Event"), logged("event"));
	}
};

static const std::vector<std::string> ti_commands = {
	"0x1001", "0xfc1b", "0xfc1d", "0xfe30", "0xfc01", /* start-up */
	"0xfe00", "0xfe08", "0xfe07", "0xfe06", "0xfe07", /* the first beacon, then the others */
	"0xfe08",                                         /* off */
	"0x201d", "0x201f", "0x201e", "0x201f",           /* the production tests */
};

TEST_F(SimCaptures, OfTheOlderTiController)
{
	if (!is_installed("tshark"))
		GTEST_SKIP() << "tshark is not installed";
	hold_session("ti-06");
	expect_well_formed();
	EXPECT_EQ(opcodes(), ti_commands);
}

TEST_F(SimCaptures, OfTheNewerTiController)
{
	std::vector<std::string> expected = ti_commands;

	if (!is_installed("tshark"))
		GTEST_SKIP() << "tshark is not installed";
	hold_session("ti-08");
	expect_well_formed();
	std::erase(expected, "0xfc1d"); /* it has no soft reset */
	EXPECT_EQ(opcodes(), expected);
}

TEST_F(SimCaptures, OfTheQualcommController)
{
	if (!is_installed("tshark"))
		GTEST_SKIP() << "tshark is not installed";
	hold_session("qualcomm");
	expect_well_formed();
	EXPECT_EQ(opcodes(), (std::vector<std::string>{
				     "0x1001", "0xfc00", "0x0c03", "0x2006", /* patch first */
				     "0x200a", "0x2008", "0x200a", "0x2008", "0x200a", "0x201d",
				     "0x201f", "0x201e", "0x201f" }));
}

TEST_F(SimCaptures, AreTheSameForAnotherReader)
{
	if (!is_installed("btmon"))
		GTEST_SKIP() << "btmon is not installed";
	hold_session("ti-08");
	expect_both_readers_agree();
}

/* An independent analyser reads from the answers the values that the simulator was given. */
TEST_F(SimCaptures, MeanToAnotherReaderWhatTheyShould)
{
	static const struct {
		const char *kind;
		const char *maker;
		const char *version;
	} controllers[] = {
		{ "ti-06", "Manufacturer: Texas Instruments Inc. (13)", "Bluetooth 4.0 (0x06)" },
		{ "ti-08", "Manufacturer: Texas Instruments Inc. (13)", "Bluetooth 4.2 (0x08)" },
	};

	if (!is_installed("btmon"))
		GTEST_SKIP() << "btmon is not installed";
	for (const auto &one : controllers) {
		start_both(one.kind, { "--capture", folder + "/capture", "--receiver-count", "1234",
				       "--address", "02:11:22:33:44:55" });
		EXPECT_EQ(ask({ "show", "mac" }), "BLE MAC Address: 021122334455\n");
		ask({ "config", "le-receiver-test", "39" });
		EXPECT_EQ(ask({ "config", "le-test-end" }), "Num of packets: 1234\n");
		EXPECT_EQ(ask({ "config", "le-test-end" }),
			  "WARNING: func_le_test_end_command() failed.\n"
			  "WARNING: ble_ptm_test(PTM_ACTION_END) failed.\n"
			  "WARNING: HCI run failed (error code: 0xc)\n");
		EXPECT_EQ(stop(daemon, SIGTERM), 0);
		EXPECT_EQ(stop(simulator, SIGTERM), 0);
		const std::string all = analysed({ "/usr/bin/btmon", "-r", folder + "/capture" });
		for (const char *words :
		     { one.maker, one.version, "Address: 02:11:22:33:44:55",
		       "RX frequency: 2480 MHz (0x27)", "Number of packets: 1234",
		       "Status: Command Disallowed (0x0c)" })
			EXPECT_NE(all.find(words), std::string::npos) << one.kind << ": " << words;
	}
}

TEST_F(SimCaptures, OfABoundedSizeCanStillBeRead)
{
	if (!is_installed("tshark"))
		GTEST_SKIP() << "tshark is not installed";
	start_both("ti-08", { "--capture", folder + "/capture", "--capture-max", "4000" });
	for (int i = 0; i < 60; i++)
		EXPECT_EQ(ask({ "show", "mac" }), simulated_address);
	EXPECT_EQ(stop(simulator, SIGTERM), 0);
	for (const char *name : { "/capture", "/capture.1" }) {
		EXPECT_LE(std::filesystem::file_size(folder + name), 2000u);
		const std::string all = analysed({ "/usr/bin/tshark", "-r", folder + name });
		EXPECT_GT(lines_of(all).size(), 3u) << name;
		EXPECT_EQ(count_of(all, "Malformed"), 0u);
	}
}
