// SPDX-License-Identifier: Apache-2.0
/* The beacons of the TI controllers, which advertise in the discoverable state. */
#include "ble/beacon.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#define ZEROS_16 "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
#define INIT     "01 00 FE 26 01 05 " ZEROS_16 ZEROS_16 "01 00 00 00 "
#define END      "01 08 FE 00 "
#define MAKE     "01 06 FE 0A 03 00 00 00 00 00 00 00 07 00 "
#define DATA     "01 07 FE 20 01 1E 02 01 06 1A FF 4C 00 02 15 "
#define UUID     "E2 C5 6D B5 DF FB 48 D2 B0 60 D0 F5 A7 10 96 E0 "

/* Two events answer each command: its status, then its completion. */
#define INIT_STATUS "04 FF 06 7F 06 00 00 FE 00 "
#define INIT_DONE   "04 FF 2C 00 06 00 " ZEROS_16 ZEROS_16 "00 00 00 00 00 00 00 00 00 "
#define END_DONE    "04 FF 06 7F 06 00 08 FE 00 04 FF 03 04 06 00 "
#define END_NOT_ON  "04 FF 06 7F 06 12 08 FE 00 "
#define MAKE_STATUS "04 FF 06 7F 06 00 06 FE 00 "
#define MAKE_DONE   "04 FF 03 03 06 00 "
#define DATA_STATUS "04 FF 06 7F 06 00 07 FE 00 "
#define DATA_DONE   "04 FF 04 02 06 00 01 "
#define START       INIT_STATUS INIT_DONE END_NOT_ON DATA_STATUS DATA_DONE MAKE_STATUS MAKE_DONE

class TiBeacon : public DaemonTest, public testing::WithParamInterface<int32_t>
{
      protected:
	void SetUp() override
	{
		DaemonTest::SetUp();
		hci_ver_index = GetParam();
		write_field(ble_config->interval, "100");
		enable(0, "1");
	}

	void enable(size_t i, const std::string &minor_number)
	{
		beacon_entry &entry = ble_config->beacon[i];

		write_field(entry.enable, "1");
		write_field(entry.prefix, "0201061AFF4C000215");
		write_field(entry.uuid, "E2C56DB5DFFB48D2B060D0F5A71096E0");
		write_field(entry.major, "258");
		write_field(entry.minor, minor_number);
		write_field(entry.measured_power, "197");
	}

	/* With the space at the end that the macros have. */
	static std::string heard()
	{
		const std::string bytes = fake_heard();
		return bytes.empty() ? bytes : bytes + " ";
	}
};

INSTANTIATE_TEST_SUITE_P(BothGenerations, TiBeacon, testing::Values(0, 1));

TEST_P(TiBeacon, AStartInitialisesSwitchesOffFillsAndSwitchesOn)
{
	fake_answers(START);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(heard(), INIT END DATA UUID "01 02 00 01 C5 " MAKE);
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(fake_unread(), 0U) << "both events of each command are taken";
}

TEST_P(TiBeacon, ARotationSwitchesOnOnceAndOffAtItsEnd)
{
	enable(3, "4");
	fake_during_sleep = [] {
		if (fake_sleeps.size() == 3)
			flag_uevent_change = 1;
	};
	fake_answers(START DATA_STATUS DATA_DONE DATA_STATUS DATA_DONE END_DONE);
	EXPECT_EQ(do_beacon_advertising(ACTION_START), 0);
	EXPECT_EQ(heard(), INIT END DATA UUID "01 02 00 01 C5 " MAKE DATA UUID
					      "01 02 00 04 C5 " DATA UUID "01 02 00 01 C5 " END);
	EXPECT_EQ(fake_unread(), 0U);
}

TEST_P(TiBeacon, AStopOnlyEndsBeingDiscoverable)
{
	fake_answers(END_DONE);
	EXPECT_EQ(do_beacon_advertising(ACTION_STOP), 0);
	EXPECT_EQ(heard(), END);
	EXPECT_EQ(fake_unread(), 0U);
}

TEST_P(TiBeacon, ARefusalToSwitchOnOrOffGoesUnseen)
{
	dbg_level = TRACE_WARNING;
	fake_answers(INIT_STATUS INIT_DONE "04 FF 06 7F 06 11 08 FE 00" DATA_STATUS DATA_DONE
					   "04 FF 06 7F 06 11 06 FE 00");
	EXPECT_EQ(stderr_of([] { EXPECT_EQ(do_beacon_advertising(ACTION_START), 0); }), "");
	EXPECT_EQ(ble_config->opt.status, BLE_STATUS_ADVERTISING);
	EXPECT_EQ(console(), "");
}

static const struct {
	const char *name;
	const char *answers;
	const char *sent;
	int32_t result;
	const char *printed;
	const char *traced;
} failures[] = {
	{ "the first event of the initialisation", "04 FF 06 7F 06 11 00 FE 00", INIT, 0x11, "",
	  "do_beacon_advertising(N) WARNING: func_gap_device_init() failed.\n" },
	{ "the second event of the initialisation", INIT_STATUS "04 FF 03 00 06 02", INIT, 2, "",
	  "do_beacon_advertising(N) WARNING: func_gap_device_init() failed.\n" },
	{ "the first event of the data",
	  INIT_STATUS INIT_DONE END_DONE "04 FF 06 7F 06 12 07 FE 00",
	  INIT END DATA UUID "01 02 00 01 C5 ", 0x12,
	  "WARNING: func_set_advertising_data() failed.\n", "" },
	{ "the second event of the data",
	  INIT_STATUS INIT_DONE END_DONE DATA_STATUS "04 FF 04 02 06 01 01",
	  INIT END DATA UUID "01 02 00 01 C5 ", 1, "WARNING: func_set_advertising_data() failed.\n",
	  "" },
};

TEST_P(TiBeacon, ARefusalOfAnyOtherCommandEndsTheStart)
{
	dbg_level = TRACE_WARNING;
	for (const auto &failure : failures) {
		SCOPED_TRACE(failure.name);
		fake_answers(failure.answers);
		int32_t result = 0;
		EXPECT_EQ(stderr_of([&] { result = do_beacon_advertising(ACTION_START); }),
			  failure.printed);
		EXPECT_EQ(result, failure.result);
		EXPECT_EQ(heard(), failure.sent);
		EXPECT_EQ(without_lines(console()), failure.traced);
		EXPECT_EQ(ble_config->opt.status, BLE_STATUS_AVAILABLE);
		EXPECT_EQ(fake_unread(), 0U);
	}
}
