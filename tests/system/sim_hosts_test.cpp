// SPDX-License-Identifier: Apache-2.0
/*
 * Start-up sequences of hosts that were not written for this simulator: it refuses nothing, and
 * an analyser finds no malformed packet.
 */
#include "tests/system/sim_host.h"

static const std::string zeros_8 = "00 00 00 00 00 00 00 00";

/* Of a kernel: first information, then what the masks allow, then the radio. */
static const std::vector<std::string> kernel = {
	"01 03 0C 00", /* Reset */
	"01 03 10 00", /* features: also BR/EDR? */
	"01 01 10 00", /* version */
	"01 09 10 00", /* address */
	"01 02 10 00", /* commands */
	"01 02 20 00", /* LE buffers */
	"01 03 20 00", /* LE features */
	"01 1C 20 00", /* LE states */
	"01 01 0C 08 90 00 00 00 00 00 00 20",
	"01 01 20 08 5F 00 00 00 00 00 00 00",
	"01 07 20 00", /* power */
	"01 0F 20 00", /* accept list: its size, then clear it */
	"01 10 20 00",
	"01 63 0C 08 " + zeros_8,
	"01 05 20 06 06 05 04 03 02 C1", /* a random address */
	"01 08 20 20 03 02 01 06 " + zeros_8 + " " + zeros_8 + " " + zeros_8 + " 00 00 00 00",
	"01 09 20 20 05 04 09 61 70 31 " + zeros_8 + " " + zeros_8 + " " + zeros_8 + " 00 00",
	"01 0B 20 07 01 60 00 30 00 01 00",
	"01 0C 20 02 01 01",
	"01 0C 20 02 00 00",
};

/* Of a small real-time system: late masks, random numbers, a static address. */
static const std::vector<std::string> small_system = {
	"01 03 0C 00",
	"01 03 10 00",
	"01 01 10 00",
	"01 02 10 00",
	"01 03 20 00",
	"01 02 20 00",
	"01 09 10 00",
	"01 1C 20 00",
	"01 01 20 08 1F 00 00 00 00 00 00 00",
	"01 01 0C 08 10 82 00 00 02 00 00 20",
	"01 18 20 00",
	"01 18 20 00",
	"01 05 20 06 11 22 33 44 55 E6",
	"01 06 20 0F A0 00 F0 00 03 01 00 00 00 00 00 00 00 07 00",
	"01 08 20 20 03 02 01 06 " + zeros_8 + " " + zeros_8 + " " + zeros_8 + " 00 00 00 00",
};

/* Of a workstation or a telephone: also BR/EDR buffers, and a full accept list. */
static const std::vector<std::string> telephone = {
	"01 03 0C 00",
	"01 05 10 00", /* buffers */
	"01 01 10 00",
	"01 09 10 00",
	"01 02 10 00",
	"01 03 10 00",
	"01 01 0C 08 FF FF FF FF FF FF BF 3D",
	"01 02 20 00",
	"01 03 20 00",
	"01 1C 20 00",
	"01 0F 20 00",
	"01 01 20 08 1F 00 00 00 00 00 00 00",
	"01 07 20 00",
	"01 10 20 00",
	"01 11 20 07 00 01 02 03 04 05 06",
	"01 11 20 07 01 01 02 03 04 05 C6",
	"01 12 20 07 00 01 02 03 04 05 06",
	"01 0B 20 07 00 10 00 10 00 00 00",
	"01 0C 20 02 01 00",
	"01 0C 20 02 00 00",
	"01 18 20 00",
};

struct brought_up {
	const char *controller;
	const char *host;
	const std::vector<std::string> *commands;
};

class SimHosts : public SimulatorTest, public testing::WithParamInterface<brought_up>
{
};

TEST_P(SimHosts, IsBroughtUpWithoutARefusal)
{
	if (!is_installed("tshark"))
		GTEST_SKIP() << "tshark is not installed";
	const program sim = start_simulator(
		GetParam().controller,
		{ "--baud", "0", "--capture", folder + "/capture", "--log", folder + "/log" });
	{
		host peer("/dev/ttyMSM1");
		if (std::string(GetParam().controller) == "qualcomm")
			load_patch(peer);
		for (const std::string &command : *GetParam().commands) {
			const std::string done = peer.ask(command);
			/* Command Complete for this command, with a credit and success. */
			EXPECT_EQ(done.substr(0, 5), "04 0E") << command;
			EXPECT_EQ(done.substr(9, 11), "01 " + command.substr(3, 5) + " 00")
				<< command;
		}
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	EXPECT_EQ(content_of(folder + "/log").find("\"notice\""), std::string::npos)
		<< content_of(folder + "/log");
	program analyser;
	EXPECT_EQ(run({ "/usr/bin/tshark", "-r", folder + "/capture", "-V" }, &analyser), 0);
	const std::string all = content_of(analyser.out);
	EXPECT_EQ(count_of(all, "Malformed"), 0u);
	EXPECT_GE(count_of(all, "Command Complete"), GetParam().commands->size());
}

static const brought_up hosts[] = {
	{ "ti-06", "kernel", &kernel },
	{ "ti-08", "kernel", &kernel },
	{ "qualcomm", "kernel", &kernel },
	{ "ti-06", "small_system", &small_system },
	{ "ti-08", "small_system", &small_system },
	{ "qualcomm", "small_system", &small_system },
	{ "ti-06", "telephone", &telephone },
	{ "ti-08", "telephone", &telephone },
	{ "qualcomm", "telephone", &telephone },
};

INSTANTIATE_TEST_SUITE_P(Of, SimHosts, testing::ValuesIn(hosts), [](const auto &of) {
	std::string name = std::string(of.param.controller) + "_" + of.param.host;
	std::erase(name, '-');
	return name;
});

/* An independent analyser prints the mask's commands by name: all are answered. */
TEST_F(SimulatorTest, EveryCommandOfTheMaskIsKnownToAnotherReader)
{
	if (!is_installed("btmon"))
		GTEST_SKIP() << "btmon is not installed";
	const program sim =
		start_simulator("ti-08", { "--baud", "0", "--capture", folder + "/capture" });
	{
		host peer("/dev/ttyMSM1");
		peer.ask("01 02 10 00");
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	program reader;
	EXPECT_EQ(run({ "/usr/bin/btmon", "-r", folder + "/capture" }, &reader), 0);
	const std::string all = content_of(reader.out);
	EXPECT_EQ(count_of(all, " (Octet "), 28u) << all;
	for (const char *name : { "Set Event Mask (Octet 5",
				  "Reset (Octet",
				  "Read Local Version Information (Octet",
				  "Read Local Supported Commands (Octet",
				  "Read Local Supported Features (Octet 14",
				  "Read Buffer Size (Octet 14",
				  "Read BD ADDR (Octet",
				  "Set Event Mask Page 2 (Octet",
				  "LE Set Event Mask (Octet",
				  "LE Read Buffer Size (Octet",
				  "LE Read Local Supported Features (Octet",
				  "LE Set Random Address (Octet",
				  "LE Set Advertising Parameters (Octet",
				  "LE Read Advertising Channel TX Power (Octet",
				  "LE Set Advertising Data (Octet",
				  "LE Set Scan Response Data (Octet",
				  "LE Set Advertise Enable (Octet",
				  "LE Set Scan Parameters (Octet",
				  "LE Set Scan Enable (Octet",
				  "LE Read Accept List Size (Octet",
				  "LE Clear Accept List (Octet",
				  "LE Add Device To Accept List (Octet",
				  "LE Remove Device From Accept List (Octet",
				  "LE Rand (Octet",
				  "LE Read Supported States (Octet",
				  "LE Receiver Test (Octet",
				  "LE Transmitter Test (Octet",
				  "LE Test End (Octet" })
		EXPECT_EQ(count_of(all, name), 1u) << name;
}
