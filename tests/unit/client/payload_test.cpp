// SPDX-License-Identifier: Apache-2.0
/* How the client shows the 30 bytes of a beacon. */
#include "client/settings/payload.h"

#include "tests/unit/client/record.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

class Payload : public testing::Test
{
      protected:
	void SetUp() override
	{
		clear_entry(&record.beacon[0], 1);
		strcpy(entry.uuid, "E2C56DB5DFFB48D2B060D0F5A71096E0");
		strcpy(entry.major, "258");
		strcpy(entry.minor, "7");
	}

	std::string bytes()
	{
		const beacon_payload payload = payload_of(&record, &entry);
		return written([&](FILE *file) { print_payload(file, &payload); });
	}

	ble_record record = {};
	beacon_entry &entry = record.beacon[0];
};

TEST_F(Payload, IsPrefixUuidMajorMinorPower)
{
	EXPECT_EQ(bytes(), "0201061AFF4C000215"
			   "E2C56DB5DFFB48D2B060D0F5A71096E0"
			   "01020007CA");
}

TEST_F(Payload, ANumberIsCutTo16Bits)
{
	memcpy(entry.major, "65537", 6);
	memcpy(entry.minor, "-1\0\0\0", 6);
	EXPECT_EQ(bytes().substr(50), "0001FFFFCA");
}

TEST_F(Payload, PowerIsTheEntrysElseTheRecordsElseMinus56)
{
	strcpy(entry.measured_power, "197");
	EXPECT_EQ(bytes().substr(58), "C5");
	memcpy(entry.measured_power, "NONE", 4);
	strcpy(record.measured_power, "200");
	EXPECT_EQ(bytes().substr(58), "C8");
	strcpy(record.measured_power, "100");
	EXPECT_EQ(bytes().substr(58), "64");
	memcpy(record.measured_power, "NONE", 4);
	memcpy(record.power_index, "max", 4);
	EXPECT_EQ(bytes().substr(58), "C8");
}

TEST_F(Payload, TextThatIsNoHexadecimalIsZeros)
{
	strcpy(entry.uuid, "NONE");
	EXPECT_EQ(bytes().substr(18, 32), std::string(32, '0'));
	strcpy(entry.prefix, "02");
	EXPECT_EQ(bytes().substr(0, 18), "020000000000000000");
}

TEST_F(Payload, FieldsWithoutAnEndAreReadWithinTheirWidth)
{
	memset(&entry, '1', sizeof(entry));
	EXPECT_EQ(bytes().size(), 60U);
}

TEST_F(Payload, EveryByteIsExplainedOnce)
{
	const beacon_payload payload = payload_of(&record, &entry);

	EXPECT_EQ(written([&](FILE *file) { explain_payload(file, &payload); }),
		  " 0  02 01 06                    flags: general discoverable, no BR/EDR\n"
		  " 3  1A FF                       26 bytes of manufacturer data follow\n"
		  " 5  4C 00                       company 0x004C, low byte first\n"
		  " 7  02 15                       a proximity beacon, 21 bytes\n"
		  " 9  E2 C5 6D B5 DF FB 48 D2     UUID\n"
		  "17  B0 60 D0 F5 A7 10 96 E0     UUID, continued\n"
		  "25  01 02                       major 258\n"
		  "27  00 07                       minor 7\n"
		  "29  CA                          measured power -54 dBm at one metre\n");
}

TEST_F(Payload, AnotherPrefixIsNotExplainedAsIfItWereTheUsual)
{
	strcpy(entry.prefix, "0201041AFF4C000215");
	const beacon_payload payload = payload_of(&record, &entry);

	EXPECT_EQ(written([&](FILE *file) { explain_payload(file, &payload); }).substr(0, 65),
		  " 0  02 01 04 1A FF 4C 00 02 15  prefix of this entry's own\n 9  E2");
}
