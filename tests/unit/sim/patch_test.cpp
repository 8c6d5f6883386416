// SPDX-License-Identifier: Apache-2.0
/* The patch download: which patches a controller accepts, when one is complete, when it starts. */
#include "tests/unit/sim/talk.h"

#include <gtest/gtest.h>

using sim::bytes;
using sim::controller;

/* Sends a file as the host does; returns the patch that the controller then has. */
static bytes download(controller &chip, const bytes &file, size_t segment = 243)
{
	bytes arrived;

	for (size_t at = 0; at < file.size(); at += segment) {
		const size_t count = std::min(segment, file.size() - at);
		bytes packet = { 0x01, 0x00,
				 0xFC, static_cast<uint8_t>(count + 2),
				 0x1E, static_cast<uint8_t>(count) };
		sim::append(packet, sim::byte_view(file).subspan(at, count));
		const sim::outcome result = chip.handle(packet);
		EXPECT_EQ(sim::hex_text(result.events.at(0)), "04 0E 05 01 00 FC 00 1E");
		if (!result.patch.empty())
			arrived = result.patch;
	}
	return arrived;
}

static bytes reset(controller &chip)
{
	return chip.handle(sim::parse_hex(RESET).value()).patch;
}

/* False while the patch is missing or not yet started: commands are refused. */
static bool works(controller &chip)
{
	return ask(chip, "01 09 10 00").substr(0, 20) == "04 0E 0A 01 09 10 00";
}

static controller strict_chip()
{
	sim::controller_settings settings = settings_named("qualcomm");

	settings.strict_patch = true;
	return controller(settings);
}

TEST(SimPatch, MadePatchesHoldInEveryCheckAndAreRepeatable)
{
	for (const size_t size : { 28u, 29u, 243u, 5000u }) {
		SCOPED_TRACE(size);
		const bytes patch = sim::make_patch(size, 7);
		EXPECT_EQ(patch.size(), size);
		EXPECT_EQ(patch[0], 0x02);
		EXPECT_EQ(sim::announced_patch_size(patch), size);
		EXPECT_EQ(sim::patch_problem(patch), "");
		EXPECT_EQ(patch, sim::make_patch(size, 7));
	}
	EXPECT_NE(sim::make_patch(100, 7), sim::make_patch(100, 8));
}

TEST(SimPatch, EveryWrongLengthOfAHeaderIsNamed)
{
	const bytes good = sim::make_patch(100, 1);
	const auto with = [&](size_t at, uint8_t value) {
		bytes patch = good;
		patch[at] = value;
		return sim::patch_problem(patch);
	};

	EXPECT_EQ(with(0, 0x01), "the first byte is not 0x02");
	EXPECT_EQ(with(1, 23), "the announced length leaves no room for the header");
	EXPECT_EQ(with(1, 95), "there are more bytes than announced");
	EXPECT_EQ(with(4, 95), "the total size differs from the announced length");
	EXPECT_EQ(with(8, 73), "the data length does not fit into the total size");
	EXPECT_EQ(with(8, 72), "") << "exactly as many as there are";
	EXPECT_EQ(sim::patch_problem({}), "") << "nothing has come yet";
}

TEST(SimPatch, ArrivesByteForByteAndStartsWithTheReset)
{
	for (const size_t size : { 28u, 243u, 244u, 486u, 5000u }) {
		SCOPED_TRACE(size);
		controller chip(settings_named("qualcomm"));
		const bytes patch = sim::make_patch(size, 1);
		EXPECT_EQ(download(chip, patch), patch);
		EXPECT_FALSE(works(chip)) << "it waits for the reset";
		reset(chip);
		EXPECT_TRUE(works(chip));
		reset(chip);
		EXPECT_TRUE(works(chip)) << "a reset keeps the patch";
		chip.restart();
		EXPECT_FALSE(works(chip)) << "a loss of power does not";
	}
}

TEST(SimPatch, ASecondDownloadReplacesTheFirst)
{
	controller chip(settings_named("qualcomm"));

	download(chip, sim::make_patch(300, 1));
	reset(chip);
	ask(chip, LE_ON);
	const bytes second = sim::make_patch(700, 2);
	EXPECT_EQ(download(chip, second), second);
	EXPECT_EQ(chip.air().doing, sim::radio::off) << "what sent has ended";
	EXPECT_FALSE(works(chip));
	reset(chip);
	EXPECT_TRUE(works(chip));
}

TEST(SimPatch, AnyOtherCommandBreaksADownloadOff)
{
	controller chip(settings_named("qualcomm"));
	const bytes patch = sim::make_patch(300, 1);

	download(chip, bytes(patch.begin(), patch.begin() + 243));
	ask(chip, "01 01 10 00");
	EXPECT_EQ(download(chip, patch), patch) << "from its beginning again";
}

TEST(SimPatch, WithoutStrictChecksTheResetEndsAnyFile)
{
	controller chip(settings_named("qualcomm"));
	const bytes made_up = { 0x02, 0xFF, 0xFF, 0xFF, 0x55 }; /* announces far more bytes */

	EXPECT_EQ(download(chip, made_up), bytes());
	EXPECT_EQ(reset(chip), made_up);
	EXPECT_TRUE(works(chip));
}

TEST(SimPatch, WithoutStrictChecksBytesPastTheAnnouncedEndBelongToTheFile)
{
	controller chip(settings_named("qualcomm"));
	const bytes zeros = { 0x02, 0x00, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55 };

	download(chip, zeros, 4);
	EXPECT_EQ(reset(chip), zeros);
}

TEST(SimPatch, StrictChecksRefuseAWrongHeader)
{
	controller chip = strict_chip();

	EXPECT_EQ(ask(chip, "01 00 FC 03 1E 01 01"), "04 0E 05 01 00 FC 12 1E");
	EXPECT_EQ(ask(chip, "01 00 FC 06 1E 04 02 17 00 00"), "04 0E 05 01 00 FC 12 1E");
	const bytes patch = sim::make_patch(300, 1);
	EXPECT_EQ(download(chip, patch), patch) << "the next attempt starts afresh";
}

TEST(SimPatch, StrictChecksLeaveAHalfPatchWithoutEffect)
{
	controller chip = strict_chip();
	const bytes patch = sim::make_patch(300, 1);

	download(chip, bytes(patch.begin(), patch.begin() + 243));
	EXPECT_EQ(reset(chip), bytes());
	EXPECT_FALSE(works(chip));
}

TEST(SimPatch, ABadSegmentIsRefused)
{
	controller chip(settings_named("qualcomm"));

	EXPECT_EQ(ask(chip, "01 00 FC 02 1E 00"), "04 0E 05 01 00 FC 12 1E") << "empty";
	EXPECT_EQ(ask(chip, "01 00 FC 03 1E 02 02"), "04 0E 05 01 00 FC 12 1E") << "short";
	EXPECT_EQ(ask(chip, "01 00 FC F6 1E F4 " + repeated("02", 244)), "04 0E 05 01 00 FC 12 1E")
		<< "longer than a segment may be";
	EXPECT_EQ(ask(chip, "01 00 FC 01 55"), "04 0E 05 01 00 FC 12 55") << "no such part";
	EXPECT_EQ(ask(chip, "01 00 FC 00"), "04 0E 04 01 00 FC 12") << "no part at all";
}

TEST(SimPatch, ADownloadWithoutEndFindsTheMemoryFull)
{
	controller chip(settings_named("qualcomm"));
	const std::string segment = "01 00 FC F5 1E F3 " + repeated("FF", 243);
	std::string answer;

	for (int i = 0; i < 5000 && answer.empty(); i++)
		if (const std::string got = ask(chip, segment); got != "04 0E 05 01 00 FC 00 1E")
			answer = got;
	EXPECT_EQ(answer, "04 0E 05 01 00 FC 07 1E");
}
