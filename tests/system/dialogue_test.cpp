// SPDX-License-Identifier: Apache-2.0
/* What the shipped daemon sends to each controller, and its results for the answers. */
#include "tests/system/line.h"
#include "tests/system/stage.h"

#include <csignal>
#include <cstring>
#include <fstream>

using strings = std::vector<std::string>;

static const char uuid[] = "E2C56DB5DFFB48D2B060D0F5A71096E0";
static const std::string payload_1 =
	"02 01 06 1A FF 4C 00 02 15 E2 C5 6D B5 DF FB 48 D2 B0 60 D0 F5 A7 "
	"10 96 E0 01 02 00 07 CA";
static const std::string payload_4 =
	"02 01 06 1A FF 4C 00 02 15 E2 C5 6D B5 DF FB 48 D2 B0 60 D0 F5 A7 "
	"10 96 E0 00 00 FF FF C5";

static const std::string device_init =
	"01 00 FE 26 01 05 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
	"00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00";
static const std::string end_discoverable = "01 08 FE 00";
static const std::string make_discoverable = "01 06 FE 0A 03 00 00 00 00 00 00 00 07 00";

class Dialogue : public SystemTest
{
      protected:
	void load_entry(size_t i, const char *major, const char *minor, const char *power)
	{
		beacon_entry &entry = segment->config.beacon[i];
		strcpy(entry.uuid, uuid);
		strcpy(entry.major, major);
		strcpy(entry.minor, minor);
		strcpy(entry.measured_power, power);
		strcpy(entry.enable, "1");
	}

	void load_two_entries()
	{
		load_entry(0, "258", "7", "202");
		load_entry(3, "0", "65535", "197");
	}

	void make_patch_file(size_t size)
	{
		std::ofstream file(folder + "/mpnv10.bin", std::ios::binary);
		file << '\x02' << std::string(size - 1, 'p');
	}

	uint32_t used_chip() const
	{
		uint32_t kind;

		memcpy(&kind, segment->info + INFO_USED_CHIP, sizeof(kind));
		return kind;
	}

	/* The first `count` commands. */
	static strings first_of(Line &line, size_t count)
	{
		strings all;
		comes_true([&] {
			for (const std::string &one : line.heard())
				all.push_back(one);
			return all.size() >= count;
		});
		if (all.size() > count)
			all.resize(count);
		return all;
	}
};

TEST_F(Dialogue, Ti06IsIdentifiedResetAndSet)
{
	Line line("ti-06");
	const program daemon = start_daemon();

	EXPECT_EQ(line.heard(), (strings{
					"01 01 10 00",
					"01 01 10 00",
					"01 1B FC 03 01 00 00",
					"01 1D FC 01 01",
					"01 30 FE 03 06 A0 00",
					"01 30 FE 03 07 A0 00",
					"01 30 FE 03 08 A0 00",
					"01 30 FE 03 09 A0 00",
					"01 01 FC 01 03",
				}));
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(used_chip(), 1U);
	EXPECT_EQ(memcmp(segment->info + INFO_VERSION,
			 "\x04\x0E\x0C\x01\x01\x10\x00\x06\x01\x00\x06\x0D\x00\x02\x00", 15),
		  0);
	EXPECT_EQ(memcmp(segment->info + INFO_REVISION,
			 "\x04\xFF\x09\x1B\x04\x00\x1B\xFC\x01\x02\x03\x04", 12),
		  0);
	EXPECT_EQ(segment->info[INFO_REVISION + 12], 0) << "nothing behind the 12 bytes";
	/* No manufacturing data: the address setting is empty, which the daemon refuses. */
	EXPECT_EQ(content_of(daemon.err), "Start vorlind daemon...\n"
					  "Open /proc/MRD failed.\n"
					  "WARNING: hci_fun_set_bdaddr() failed.\n"
					  "BLE configuration utility: 0.3.0\n");
}

TEST_F(Dialogue, Ti08HasNoSoftReset)
{
	Line line("ti-08");
	start_daemon();

	EXPECT_EQ(line.heard(), (strings{
					"01 01 10 00",
					"01 01 10 00",
					"01 1B FC 03 01 00 00",
					"01 30 FE 03 06 A0 00",
					"01 30 FE 03 07 A0 00",
					"01 30 FE 03 08 A0 00",
					"01 30 FE 03 09 A0 00",
					"01 01 FC 01 0C",
				}));
	EXPECT_EQ(used_chip(), 2U);
}

TEST_F(Dialogue, QualcommIsPatchedBeforeItsReset)
{
	Line line("qualcomm");
	make_patch_file(244);
	start_daemon();
	const strings heard = line.heard();

	ASSERT_EQ(heard.size(), 6U);
	EXPECT_EQ(heard[0], "01 01 10 00");
	EXPECT_EQ(heard[1], "01 01 10 00");
	EXPECT_EQ(heard[2].substr(0, 24), "01 00 FC F5 1E F3 02 70 ");
	EXPECT_EQ(heard[2].size(), 249U * 3 - 1);
	EXPECT_EQ(heard[3], "01 00 FC 03 1E 01 70");
	EXPECT_EQ(heard[4], "01 03 0C 00");
	EXPECT_EQ(heard[5], "01 06 20 0F A0 00 A0 00 03 00 00 00 00 00 00 00 00 07 00");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(used_chip(), 3U);
}

TEST_F(Dialogue, QualcommWithoutAPatchFileStaysUsableForCommands)
{
	Line line("qualcomm");
	const program daemon = start_daemon();

	EXPECT_EQ(line.heard(), (strings{ "01 01 10 00", "01 01 10 00" }));
	EXPECT_EQ(content_of(daemon.err), "Start vorlind daemon...\n"
					  "Open /proc/MRD failed.\n"
					  "WARNING: can't find patch file !!\n"
					  "WARNING: func_download_patch_file() failed.\n"
					  "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
}

TEST_F(Dialogue, TwoBeaconsRotateOnATiController)
{
	Line line("ti-08");
	const program daemon = start_daemon();
	load_two_entries();
	line.heard();

	say_and_wait(daemon, { "ibeacon", "start" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(segment->config.opt.action, uint32_t{ ACTION_START }) << "stays for later events";
	EXPECT_EQ(first_of(line, 6), (strings{
					     device_init,
					     end_discoverable,
					     "01 07 FE 20 01 1E " + payload_1,
					     make_discoverable,
					     "01 07 FE 20 01 1E " + payload_4,
					     "01 07 FE 20 01 1E " + payload_1,
				     }));

	say_and_wait(daemon, { "ibeacon", "stop" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(segment->config.opt.action, uint32_t{ ACTION_NONE });
	const strings heard = line.heard();
	ASSERT_GE(heard.size(), 2U);
	EXPECT_EQ(heard[heard.size() - 2], end_discoverable) << "the rotation ends";
	EXPECT_EQ(heard[heard.size() - 1], end_discoverable) << "the stop itself";
}

TEST_F(Dialogue, TwoBeaconsRotateOnAQualcommController)
{
	Line line("qualcomm");
	make_patch_file(10);
	const program daemon = start_daemon();
	load_two_entries();
	line.heard();

	say_and_wait(daemon, { "ibeacon", "start" });
	EXPECT_EQ(first_of(line, 5), (strings{
					     "01 0A 20 01 00",
					     "01 08 20 20 1E " + payload_1 + " 00",
					     "01 0A 20 01 01",
					     "01 08 20 20 1E " + payload_4 + " 00",
					     "01 08 20 20 1E " + payload_1 + " 00",
				     }));
	say_and_wait(daemon, { "ibeacon", "stop" });
	EXPECT_EQ(line.heard().back(), "01 0A 20 01 00");
}

TEST_F(Dialogue, ASingleBeaconStaysOnTheAirWhileTheLoopGoesOn)
{
	Line line("ti-08");
	const program daemon = start_daemon();
	load_entry(2, "1", "2", "202");
	line.heard();

	say_and_wait(daemon, { "ibeacon", "start" });
	EXPECT_EQ(first_of(line, 4).size(), 4U);
	usleep(350000);
	EXPECT_EQ(line.heard(), strings{}) << "one entry is set once";
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
}

TEST_F(Dialogue, EveryCommandDuringARotationStartsTheBeaconsAgain)
{
	Line line("ti-08");
	const program daemon = start_daemon();
	load_two_entries();
	say_and_wait(daemon, { "ibeacon", "start" });
	ASSERT_TRUE(comes_true([&] { return line.has_heard(make_discoverable); }));
	line.heard();

	say_and_wait(daemon, { "show", "mac" });
	EXPECT_EQ(printed(daemon), "BLE MAC Address: 112233445566\n");
	strings heard = line.heard();
	while (!heard.empty() && heard.front().starts_with("01 07 FE"))
		heard.erase(heard.begin()); /* those of the rotation before the signal */
	ASSERT_GE(heard.size(), 6U);
	EXPECT_EQ(heard[0], end_discoverable);
	EXPECT_EQ(heard[1], "01 09 10 00");
	EXPECT_EQ(heard[2], device_init);
	EXPECT_EQ(heard[3], end_discoverable);
	EXPECT_EQ(heard[4], "01 07 FE 20 01 1E " + payload_1);
	EXPECT_EQ(heard[5], make_discoverable);
}

TEST_F(Dialogue, ARadioTestReportsItsCount)
{
	Line line("ti-06");
	const program daemon = start_daemon();
	line.heard();

	say_and_wait(daemon, { "config", "le-receiver-test", "19" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_TESTING);
	say_and_wait(daemon, { "config", "le-test-end" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
	say_and_wait(daemon, { "config", "le-transmitter-test", "39", "37", "7" });
	say_and_wait(daemon, { "ibeacon", "stop" });
	EXPECT_EQ(line.heard(), (strings{ "01 1D 20 01 13", "01 1F 20 00", "01 1E 20 03 27 25 07",
					  "01 1F 20 00", end_discoverable }));
	EXPECT_EQ(printed(daemon), "Num of packets: 4660\nNum of packets: 4660\n");
}

TEST_F(Dialogue, ARefusalIsReportedLayerByLayer)
{
	Line line("ti-08");
	const program daemon = start_daemon();
	line.answer("01 30 FE 03 07", "04 FF 06 7F 06 02 30 FE 00");

	say_and_wait(daemon, { "config", "interval", "200" });
	EXPECT_EQ(printed(daemon), "WARNING: func_gap_set_param() failed.\n"
				   "WARNING: set_tgap_disc_adv_int() failed.\n"
				   "WARNING: HCI run failed (error code: 0x2)\n");
}

TEST_F(Dialogue, ASilentControllerLeavesTheLinkOpenAndCostsFiveSeconds)
{
	Line line("ti-08");
	line.answer("01 01 10", "");
	const program daemon = start_daemon();

	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_UNCONFIRMED);
	EXPECT_EQ(content_of(daemon.err), "Start vorlind daemon...\n"
					  "Open /proc/MRD failed.\n"
					  "WARNING: failed to read HCI response.\n"
					  "BLE configuration utility: 0.3.0\n");
	EXPECT_EQ(line.heard(), strings{ "01 01 10 00" });
}

TEST_F(Dialogue, AStartWaitsUntilAControllerComes)
{
	const program daemon = start_daemon();
	load_two_entries();

	say_and_wait(daemon, { "ibeacon", "start" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_NONE);
	EXPECT_EQ(segment->config.opt.action, uint32_t{ ACTION_START });

	Line line("ti-08");
	kill(daemon.pid, SIGUSR2);
	EXPECT_TRUE(comes_true([&] { return line.has_heard(make_discoverable); }));
	EXPECT_TRUE(
		comes_true([&] { return segment->config.opt.status == BLE_STATUS_ADVERTISING; }));

	/* SIGTERM would cut an exchange short. */
	say_and_wait(daemon, { "ibeacon", "stop" });
	EXPECT_EQ(line.heard().back(), end_discoverable);
}

TEST_F(Dialogue, ACrashDuringARotationIsRecoveredFrom)
{
	Line line("ti-08");
	const program crashed = start_daemon();
	load_two_entries();
	say_and_wait(crashed, { "ibeacon", "start" });
	EXPECT_EQ(stop(crashed, SIGKILL), 128 + SIGKILL);

	const program daemon = start_daemon();
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE)
		<< "the start that was pending found no entry enabled";
	load_two_entries();
	line.heard();
	say_and_wait(daemon, { "ibeacon", "start" });
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_TRUE(comes_true([&] { return line.has_heard("01 07 FE 20 01 1E " + payload_4); }));
}

/* How often a process has slept. */
static unsigned long sleeps_of(const program &of)
{
	const std::string status = content_of("/proc/" + std::to_string(of.pid) + "/status");
	const std::string field = "\nvoluntary_ctxt_switches:";
	const size_t at = status.find(field);

	return at == std::string::npos ? 0 : std::stoul(status.substr(at + field.size()));
}

TEST_F(Dialogue, ARotationOfWhatHasJustBeenSwitchedOffSleeps)
{
	Line line("qualcomm");
	make_patch_file(1);
	const program daemon = start_daemon();

	load_two_entries();
	line.answer("01 0A 20", "");
	say(daemon, { "ibeacon", "start" });
	/* Two active beacons were counted; disable both while advertising is switched off. */
	ASSERT_TRUE(comes_true([&] { return line.has_heard("01 0A 20 01 00"); }));
	for (beacon_entry &entry : segment->config.beacon)
		strcpy(entry.enable, "0");
	const unsigned long before = sleeps_of(daemon);
	line.answer("01 0A 20", "04 0E 04 01 0A 20 00");
	line.send("04 0E 04 01 0A 20 00");
	EXPECT_TRUE(comes_true([&] { return sleeps_of(daemon) >= before + 5; }));

	line.heard();
	say(daemon, { "ibeacon", "stop" });
	EXPECT_EQ(first_of(line, 2), (strings{ "01 0A 20 01 00", "01 0A 20 01 00" }))
		<< "the rotation's end, and the stop";
	EXPECT_TRUE(comes_true([&] { return segment->config.opt.action == ACTION_NONE; }));
	EXPECT_EQ(segment->config.opt.status, BLE_STATUS_AVAILABLE);
}
