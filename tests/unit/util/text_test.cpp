// SPDX-License-Identifier: Apache-2.0
/* The text and hexadecimal helpers. */
#include "util/text.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"

#include <cstring>
#include <memory>

class Text : public DaemonTest
{
};

TEST_F(Text, IsDecimalTextTakesDigitsAlone)
{
	static const struct {
		const char *text;
		int32_t number;
	} rows[] = {
		{ "42", 42 },
		{ "", 0 },
		{ "-1", -1 },
		{ "4a", -1 },
		{ "007", 7 },
		{ "+1", -1 },
		{ " 1", -1 },
		{ "1 ", -1 },
		{ "0", 0 },
		{ "0x10", -1 },
		{ "65535", 65535 },
		{ "2147483647", INT32_MAX },
		{ "2147483648", INT32_MAX },
		{ "4294967396", INT32_MAX },
		{ "9223372036854775908", INT32_MAX },
	};

	for (const auto &row : rows)
		EXPECT_EQ(is_decimal_text(row.text), row.number) << row.text;
	EXPECT_EQ(is_decimal_text(std::string(2000, '9').c_str()), INT32_MAX);
}

TEST_F(Text, HexToBytesTakesTwoCharactersAByte)
{
	static const struct {
		const char *text;
		int32_t count;
		std::vector<uint8_t> bytes;
	} rows[] = {
		{ "0201061AFF4C000215",
		  19,
		  { 0x02, 0x01, 0x06, 0x1A, 0xFF, 0x4C, 0x00, 0x02, 0x15, 0x00 } },
		{ "NONE", 5, { 0, 0, 0 } },
		{ "a1B2", 4, { 0xA1, 0xB2 } },
		{ "A1B2", 3, { 0xA1, 0xB2 } }, /* 3 characters: the pair of the last one is read */
		{ "A1B", 4, { 0xA1, 0x0B } },
		{ "", 4, { 0, 0 } },
		{ "12", 0, {} },
		{ "12", -2, {} },
		{ "1G", 2, { 0x01 } },
		{ "-1", 2, { 0xFF } },
		{ " 1", 2, { 0x01 } },
		{ "00:00:00:00:00:00", 12, { 0, 0, 0, 0, 0, 0 } },
	};

	for (const auto &row : rows) {
		uint8_t out[24];
		memset(out, 0x55, sizeof(out));
		EXPECT_EQ(hex_to_bytes(out, row.text, row.count), 0);
		EXPECT_EQ(std::vector<uint8_t>(out, out + row.bytes.size()), row.bytes) << row.text;
		EXPECT_EQ(out[row.bytes.size()], 0x55) << row.text;
	}
}

TEST_F(Text, HexToBytesReadsNothingBehindTheTextsEnd)
{
	const std::unique_ptr<char[]> text(new char[2]{ 'A', '\0' }); /* checked by the sanitizer */
	uint8_t out[8];

	EXPECT_EQ(hex_to_bytes(out, text.get(), 16), 0);
	EXPECT_EQ(out[0], 0x0A);
	for (int i = 1; i < 8; i++)
		EXPECT_EQ(out[i], 0);
}

TEST_F(Text, ReverseAddrBytesTurnsSixBytesAround)
{
	uint8_t address[7] = { 1, 2, 3, 4, 5, 6, 7 };
	static const uint8_t reversed[7] = { 6, 5, 4, 3, 2, 1, 7 };

	reverse_addr_bytes(address);
	EXPECT_EQ(memcmp(address, reversed, 7), 0);
}

TEST_F(Text, RemoveCharLeavesOutEveryOccurrence)
{
	char out[32];
	char in_place[] = "00:11:22:33:44:55";

	remove_char(':', "00:11:22:33:44:55", out);
	EXPECT_STREQ(out, "001122334455");
	remove_char(':', in_place, in_place);
	EXPECT_STREQ(in_place, "001122334455");
	remove_char(':', "", out);
	EXPECT_STREQ(out, "");
	remove_char(':', ":::", out);
	EXPECT_STREQ(out, "");
}

TEST_F(Text, FormatUuidTextPutsItsHyphens)
{
	char out[37] = "untouched";

	EXPECT_EQ(format_uuid_text("E2C56DB5DFFB48D2B060D0F5A71096E", out), -1) << "31 characters";
	EXPECT_EQ(format_uuid_text("E2C56DB5DFFB48D2B060D0F5A71096E00", out), -1);
	EXPECT_EQ(format_uuid_text("", out), -1);
	EXPECT_STREQ(out, "untouched");
	EXPECT_EQ(format_uuid_text("E2C56DB5DFFB48D2B060D0F5A71096E0", out), 0);
	EXPECT_STREQ(out, "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");
}

TEST_F(Text, ConvertCaseChangesAsciiLettersAlone)
{
	char text[] = "aZ@[`{m9\xE4\xC4";

	convert_case(text, 1);
	EXPECT_STREQ(text, "AZ@[`{M9\xE4\xC4");
	convert_case(text, 7);
	EXPECT_STREQ(text, "AZ@[`{M9\xE4\xC4");
	convert_case(text, 0);
	EXPECT_STREQ(text, "az@[`{m9\xE4\xC4");
}

TEST_F(Text, UuidGenGivesAnUpperCaseIdentifierAndItsNewline)
{
	char out[38];
	char other[38];

	dbg_level = TRACE_FLOW;
	EXPECT_EQ(uuid_gen(3, out), 0);
	EXPECT_EQ(without_lines(console()),
		  "uuid_gen(N) random_based=3, cmd=cat /proc/sys/kernel/random/uuid\n");
	EXPECT_TRUE(matches(out, "[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\n")) << out;
	EXPECT_EQ(uuid_gen(0, other), 0);
	EXPECT_STRNE(out, other);
}

TEST_F(Text, UuidGenWithoutAnAnswerIsEmpty)
{
	char out[38] = "before";
	const std::string path = getenv("PATH");

	setenv("PATH", folder.c_str(), 1);
	EXPECT_EQ(uuid_gen(0, out), 0);
	setenv("PATH", path.c_str(), 1);
	EXPECT_STREQ(out, "");
}

TEST_F(Text, UuidGenWithoutAnotherProcessSaysSo)
{
	char out[38] = "before";

	fake_refuse("popen", EAGAIN);
	int32_t result = 0;
	EXPECT_EQ(stderr_of([&] { result = uuid_gen(0, out); }),
		  "Could not run cat /proc/sys/kernel/random/uuid\n");
	EXPECT_EQ(result, -1);
	EXPECT_STREQ(out, "");
}

TEST_F(Text, CopyFieldStopsAtTheWidth)
{
	char out[5];

	EXPECT_STREQ(copy_field(out, "NONE2", 4), "NONE");
	EXPECT_STREQ(copy_field(out, "ab\0cd", 4), "ab");
	EXPECT_STREQ(copy_field(out, "", 4), "");
}

TEST_F(Text, SetFieldCutsWhatDoesNotFitAndClearsTheRest)
{
	char field[6];

	memset(field, 'x', sizeof(field));
	set_field(field, 5, "ab");
	EXPECT_EQ(memcmp(field, "ab\0\0\0x", 6), 0);
	set_field(field, 5, "abcdefgh");
	EXPECT_EQ(memcmp(field, "abcd\0x", 6), 0);
}
