// SPDX-License-Identifier: Apache-2.0
/* The payloads; which entries are on the air, and for how long. */
#include "ble/beacon.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

static const char uuid[] = "E2C56DB5DFFB48D2B060D0F5A71096E0";
static const char prefix[] = "0201061AFF4C000215";
#define HEAD "02 01 06 1A FF 4C 00 02 15 E2 C5 6D B5 DF FB 48 D2 B0 60 D0 F5 A7 10 96 E0 "
#define OK   "04 0E 04 01 0A 20 00"

/* A Qualcomm controller: one event answers each command. */
class Beacon : public DaemonTest
{
      protected:
	void SetUp() override
	{
		DaemonTest::SetUp();
		hci_ver_index = 2;
		write_field(ble_config->interval, "100");
		write_field(ble_config->measured_power, "202");
		for (beacon_entry &entry : ble_config->beacon) {
			write_field(entry.enable, "0");
			write_field(entry.prefix, prefix);
			write_field(entry.uuid, "NONE");
			write_field(entry.major, "0");
			write_field(entry.minor, "0");
			write_field(entry.measured_power, "202");
		}
	}

	void enable(size_t i)
	{
		write_field(ble_config->beacon[i].enable, "1");
		write_field(ble_config->beacon[i].uuid, uuid);
	}

	void answer(int commands)
	{
		for (int i = 0; i < commands; i++)
			fake_answers(OK);
	}

	/* The advertised payload when only entry 1 is active. */
	std::string payload()
	{
		answer(3);
		EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
		const std::string heard = fake_heard();
		const std::string command = "01 08 20 20 1E ";
		const size_t at = heard.find(command);
		return at == std::string::npos ? heard : heard.substr(at + command.size(), 89);
	}
};

TEST_F(Beacon, AnEntryIsActiveWithEnableExactly1AndAnIdentifier)
{
	static const struct {
		const char *enable;
		const char *uuid;
		int32_t count;
	} rows[] = {
		{ "1", uuid, 1 }, { "0", uuid, 0 },    { "01", uuid, 0 },  { "1x", uuid, 0 },
		{ "", uuid, 0 },  { "1", "NONE", 0 },  { "1", "none", 1 }, { "1", "", 1 },
		{ "2", uuid, 0 }, { "1", "NONE ", 1 },
	};

	for (const auto &row : rows) {
		write_field(ble_config->beacon[4].enable, row.enable);
		write_field(ble_config->beacon[4].uuid, row.uuid);
		EXPECT_EQ(count_activable_beacons(), row.count) << row.enable << " " << row.uuid;
	}
	for (size_t i = 0; i < 5; i++)
		enable(i);
	EXPECT_EQ(count_activable_beacons(), 5);
}

TEST_F(Beacon, ThePayloadIsPrefixIdentifierMajorMinorPower)
{
	enable(0);
	write_field(ble_config->beacon[0].major, "258");
	write_field(ble_config->beacon[0].minor, "65535");
	write_field(ble_config->beacon[0].measured_power, "197");
	EXPECT_EQ(payload(), HEAD "01 02 FF FF C5");
}

TEST_F(Beacon, NumbersKeepTheirLow16Bits)
{
	static const struct {
		const char *text;
		const char *bytes;
	} rows[] = {
		{ "65536", "00 00" }, { "258", "01 02" }, { "999999", "42 3F" }, { "-1", "FF FF" },
		{ "abc", "00 00" },   { "", "00 00" },    { "12ab", "00 0C" },
	};

	enable(0);
	for (const auto &row : rows) {
		write_field(ble_config->beacon[0].major, row.text);
		EXPECT_EQ(payload(), std::string(HEAD) + row.bytes + " 00 00 CA") << row.text;
	}
}

TEST_F(Beacon, MeasuredPowerIsTheEntrysElseTheRecordsElse0xC8)
{
	static const struct {
		const char *entry;
		const char *record;
		const char *byte;
	} rows[] = {
		{ "197", "202", "C5" },  { "NONE", "180", "B4" }, { "NONE", "NONE", "C8" },
		{ "202", "NONE", "CA" }, { "256", "0", "00" },    { "-59", "0", "C5" },
		{ "", "202", "00" },     { "none", "202", "00" }, { "9999", "0", "0F" },
	};

	enable(0);
	for (const auto &row : rows) {
		write_field(ble_config->beacon[0].measured_power, row.entry);
		write_field(ble_config->measured_power, row.record);
		EXPECT_EQ(payload(), std::string(HEAD) + "00 00 00 00 " + row.byte)
			<< row.entry << " " << row.record;
	}
}

TEST_F(Beacon, APowerThatFillsItsFieldDoesNotRunIntoTheNext)
{
	enable(0);
	write_field(ble_config->beacon[0].measured_power, "NONE"); /* no room for a NUL */
	write_field(ble_config->beacon[1].id, "2");
	write_field(ble_config->measured_power, "NONE");
	write_field(ble_config->power_index, "max");
	EXPECT_EQ(payload(), HEAD "00 00 00 00 C8");
}

TEST_F(Beacon, MalformedHexadecimalBecomesZeroBytes)
{
	enable(0);
	write_field(ble_config->beacon[0].prefix, "02ZZ06");
	write_field(ble_config->beacon[0].uuid, "E2-56DB5");
	EXPECT_EQ(payload(), "02 00 06 00 00 00 00 00 00 E2 FB 6D B5 00 00 00 00 00 00 00 00 00 00 "
			     "00 00 00 00 00 00 CA");
}

TEST_F(Beacon, FieldsWithoutANulEndAtTheirWidth)
{
	enable(0);
	write_field(ble_config->beacon[0].prefix, std::string(prefix) + "9");
	write_field(ble_config->beacon[0].uuid, std::string(uuid) + "9");
	write_field(ble_config->beacon[0].major, "000258");
	write_field(ble_config->beacon[0].minor, "000007");
	EXPECT_EQ(payload(), HEAD "01 02 00 07 CA");
}

TEST_F(Beacon, AStopSwitchesAdvertisingOffAndNothingElse)
{
	enable(0);
	answer(1);
	EXPECT_EQ(do_beacon_advertising(ACTION_STOP), 0);
	EXPECT_EQ(fake_heard(), "01 0A 20 01 00");
	write_field(ble_config->beacon[0].enable, "0");
	answer(1);
	EXPECT_EQ(do_beacon_advertising(ACTION_STOP), 0);
	EXPECT_EQ(fake_heard(), "01 0A 20 01 00");
	EXPECT_TRUE(fake_sleeps.empty());
}

TEST_F(Beacon, AStartWithoutActiveEntriesOnlySwitchesOff)
{
	dbg_level = TRACE_FLOW;
	answer(1);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(fake_heard(), "01 0A 20 01 00");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(without_lines(console()),
		  "do_beacon_advertising(N) action=2\n"
		  "do_beacon_advertising(N) action=2, activate_beacon=0, loop=0\n"
		  "do_beacon_advertising(N) WARNING: no activable beacons!!\n"
		  "do_beacon_advertising(N) Stop beacon...\n");
}

TEST_F(Beacon, ASingleBeaconIsAnnouncedAfterItsDwellAndStays)
{
	enable(2);
	ble_ipc.buf->cmd_doing = 1;
	fake_ac_result = 1;
	fake_during_sleep = [] {
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE) << "not before the dwell";
		EXPECT_EQ(ble_ipc.buf->cmd_doing, 1U);
		EXPECT_EQ(fake_reports, 0);
	};
	answer(3);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(fake_heard(),
		  "01 0A 20 01 00 01 08 20 20 1E " HEAD "00 00 00 00 CA 00 01 0A 20 01 01");
	EXPECT_EQ(fake_sleeps, std::vector<unsigned>{ 100000 });
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(ble_ipc.buf->cmd_doing, 0U);
	EXPECT_EQ(fake_reports, 1);
}

TEST_F(Beacon, TwoRotateUntilAFlagIsRaisedAndAreThenSwitchedOff)
{
	enable(0);
	enable(3);
	write_field(ble_config->beacon[3].major, "4");
	for (volatile sig_atomic_t *flag :
	     { &flag_daemon_quit, &flag_cmd_change, &flag_uevent_change }) {
		fake_sleeps.clear();
		fake_during_sleep = [&] {
			if (fake_sleeps.size() == 3)
				*flag = 1;
		};
		answer(6);
		EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
		EXPECT_EQ(fake_heard(), "01 0A 20 01 00 "
					"01 08 20 20 1E " HEAD "00 00 00 00 CA 00 01 0A 20 01 01 "
					"01 08 20 20 1E " HEAD "00 04 00 00 CA 00 "
					"01 08 20 20 1E " HEAD "00 00 00 00 CA 00 "
					"01 0A 20 01 00");
		EXPECT_EQ(fake_sleeps, (std::vector<unsigned>{ 100000, 100000, 100000 }));
		EXPECT_EQ(*flag, 1) << "the loop clears it, not the rotation";
		*flag = 0;
	}
}

TEST_F(Beacon, TheDwellFollowsTheSettingWhileTheEntriesStay)
{
	static const struct {
		const char *interval;
		unsigned microseconds;
	} rows[] = { { "250", 250000 },
		     { "65534", 65534000 },
		     { "100000", 100000000 },
		     { "999999", 999999000 } };

	enable(0);
	enable(1);
	fake_during_sleep = [&] {
		const size_t n = fake_sleeps.size();
		if (n <= std::size(rows))
			write_field(ble_config->interval, rows[n - 1].interval);
		else
			flag_cmd_change = 1;
		write_field(ble_config->beacon[0].major, "9"); /* takes effect at the next start */
	};
	answer(8);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	ASSERT_EQ(fake_sleeps.size(), 5U);
	EXPECT_EQ(fake_sleeps[0], 100000U);
	for (size_t i = 0; i < std::size(rows); i++)
		EXPECT_EQ(fake_sleeps[i + 1], rows[i].microseconds);
	EXPECT_EQ(fake_heard().find("00 09"), std::string::npos);
}

TEST_F(Beacon, NoIntervalOrANegativeOneIsNoDwell)
{
	enable(0);
	for (const char *interval : { "0", "", "-5", "x" }) {
		write_field(ble_config->interval, interval);
		answer(3);
		EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	}
	EXPECT_TRUE(fake_sleeps.empty());
}

TEST_F(Beacon, AnEntryWithoutIdentifierIsAdvertisedBesideARealOneButNotCounted)
{
	enable(1);
	write_field(ble_config->beacon[4].enable, "01");
	answer(4);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(fake_heard(), "01 0A 20 01 00 "
				"01 08 20 20 1E " HEAD "00 00 00 00 CA 00 01 0A 20 01 01 "
				"01 08 20 20 1E 02 01 06 1A FF 4C 00 02 15 00 00 00 00 00 00 00 00 "
				"00 00 00 00 00 00 00 00 00 00 00 00 CA 00");
	EXPECT_EQ(fake_sleeps.size(), 2U);
}

TEST_F(Beacon, TheFlagsAreLookedAtAfterEachEntryAlsoASkippedOne)
{
	enable(4);
	flag_cmd_change = 1;
	dbg_level = TRACE_FLOW;
	answer(2);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(fake_heard(), "01 0A 20 01 00 01 0A 20 01 00") << "never on";
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
	EXPECT_EQ(without_lines(console()),
		  "do_beacon_advertising(N) action=2\n"
		  "do_beacon_advertising(N) action=2, activate_beacon=1, loop=0\n"
		  "is_new_event(N) flag_daemon_quit=0, flag_uevent_change=0, flag_cmd_change=1\n"
		  "do_beacon_advertising(N) Stop beacon...\n"
		  "do_beacon_advertising(N) loop=0\n");
}

TEST_F(Beacon, TheAnnouncementIsTraced)
{
	enable(0);
	dbg_level = TRACE_REPORT;
	answer(3);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(without_lines(console()), "do_beacon_advertising(N) ble_config->opt.status=3\n"
					    "info_forward_to_ac(N) Start...\n");
	dbg_level = TRACE_FLOW;
	answer(3);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(without_lines(console()),
		  "do_beacon_advertising(N) action=2\n"
		  "do_beacon_advertising(N) action=2, activate_beacon=1, loop=0\n"
		  "do_beacon_advertising(N) Change cmd_doing to 0\n");
}

/* The first refused command ends the task; its messages. */
static const struct {
	const char *name;
	const char *answers;
	const char *printed;
	const char *traced;
} failures[] = {
	{ "off", "04 0E 04 01 0A 20 0C", "",
	  "do_beacon_advertising(N) WARNING: func_set_advertise_enable(0) failed.\n" },
	{ "data", OK "04 0E 04 01 08 20 0C", "WARNING: func_set_advertising_data() failed.\n", "" },
	{ "on", OK OK "04 0E 04 01 0A 20 0C", "WARNING: func_set_advertise_enable(1) failed.\n",
	  "" },
};

TEST_F(Beacon, TheFirstRefusalEndsIt)
{
	enable(0);
	enable(1);
	dbg_level = TRACE_WARNING;
	for (const auto &failure : failures) {
		SCOPED_TRACE(failure.name);
		fake_answers(failure.answers);
		int32_t result = 0;
		EXPECT_EQ(stderr_of([&] { result = do_beacon_advertising(ACTION_START); }),
			  failure.printed);
		EXPECT_EQ(result, 0x0C);
		EXPECT_EQ(without_lines(console()), failure.traced);
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
		EXPECT_TRUE(fake_sleeps.empty());
	}
}

TEST_F(Beacon, ARefusalToSwitchOffAfterTheRotationIsTheResult)
{
	enable(0);
	enable(1);
	dbg_level = TRACE_WARNING;
	fake_during_sleep = [] { flag_cmd_change = 1; };
	fake_answers(OK OK OK "04 0E 04 01 0A 20 0C");
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0x0C);
	EXPECT_EQ(without_lines(console()),
		  "do_beacon_advertising(N) WARNING: func_set_advertise_enable(0) failed.\n");
}

TEST_F(Beacon, ATiControllerIsInitialisedFirst)
{
	hci_ver_index = 1;
	enable(0);
	dbg_level = TRACE_WARNING;
	fake_answers("04 FF 06 7F 06 02 00 FE 00");
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 2);
	EXPECT_EQ(fake_heard().substr(0, 17), "01 00 FE 26 01 05");
	EXPECT_EQ(without_lines(console()),
		  "do_beacon_advertising(N) WARNING: func_gap_device_init() failed.\n");
}

TEST_F(Beacon, WithoutAnySlotEverythingCountsAsDone)
{
	hci_ver_index = -1;
	enable(0);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(fake_heard(), "");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
}
