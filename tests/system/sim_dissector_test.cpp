// SPDX-License-Identifier: Apache-2.0
/*
 * The plugin for Wireshark: it decodes every byte of each controller's session, shows the values
 * on the line, and survives packets that no controller sends.
 */
#include "tests/system/sim_host.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <set>

static const std::string vendor_packets =
	"(bthci_cmd.opcode.ogf == 0x3f || bthci_evt.opcode.ogf == 0x3f || bthci_evt.code == 0xff)";

/* A filter, and the fields of the first packet that it finds. */
struct told {
	const char *filter;
	std::vector<std::string> names;
	const char *values;
};

class SimDissector : public SimulatorTest
{
      protected:
	/* Installs the plugin like a user: tshark finds it there by itself. */
	void SetUp() override
	{
		SimulatorTest::SetUp();
		if (!is_installed("tshark"))
			GTEST_SKIP() << "tshark is not installed";
		const std::string plugins = folder + "/.local/lib/wireshark/plugins";
		std::filesystem::create_directories(plugins);
		std::filesystem::copy(VORLIND_SOURCE "/sim/wireshark/vorlin.lua", plugins);
	}

	std::string capture() const
	{
		return folder + "/capture";
	}

	std::string tshark(std::vector<std::string> words)
	{
		const std::vector<std::string> before = { "/usr/bin/env", "HOME=" + folder,
							  "/usr/bin/tshark", "-r", capture() };
		program analyser;

		words.insert(words.begin(), before.begin(), before.end());
		EXPECT_EQ(run(words, &analyser), 0) << content_of(analyser.err);
		return content_of(analyser.out);
	}

	/* One line for each packet that the filter finds, with the fields in columns. */
	std::vector<std::string> fields(const std::string &filter,
					const std::vector<std::string> &names)
	{
		std::vector<std::string> words = {
			"-Y", filter, "-T", "fields", "-E", "separator= "
		};

		for (const std::string &name : names)
			words.insert(words.end(), { "-e", name });
		return lines_of(tshark(words));
	}

	/* Everything that the daemon sends to a controller, from its start to its end. */
	void record_life(const std::string &controller, std::vector<std::string> more = {})
	{
		program maker;

		ASSERT_EQ(run({ built("vorlin-sim"), "--make-patch", folder + "/mpnv10.bin",
				"--patch-size", "600" },
			      &maker),
			  0);
		more.insert(more.end(), { "--capture", capture(), "--log", folder + "/log" });
		start_both(controller, more);
		ask({ "show", "version" });
		ask({ "show", "mac" });
		ask({ "show", "txpower" });
		ask({ "config", "mac", "A1B2C3D4E5F6" });
		ask({ "config", "interval", "320" });
		ask({ "config", "txpower-index", "2" });
		ask({ "config", "gap-param", "21", "100" });
		ask({ "show", "gap-param", "21" });
		ask({ "config", "ble-reset", "hard" });
		load_beacon(0, "00112233445566778899AABBCCDDEEFF", "258");
		load_beacon(1, "F7826DA64FA24E988024BC5B71E0893E", "2");
		strcpy(segment->config.beacon[1].measured_power, "200");
		rotate_test_and_end();
	}

	/* Write these packets, in hexadecimal, after the answer that names the manufacturer.
	 */
	void write_capture(uint8_t manufacturer, const std::vector<std::string> &packets) const;

	void expect_told(const std::vector<told> &rows)
	{
		for (const told &row : rows) {
			const std::vector<std::string> found = fields(row.filter, row.names);
			ASSERT_FALSE(found.empty()) << row.filter;
			EXPECT_EQ(found[0], row.values) << row.filter;
		}
	}

	void expect_all_told();
	void expect_every_byte_told(size_t fewest_packets = 50);
	void expect_names_of_the_log();
};

static void append_high_first(std::string &text, uint64_t value, int bytes)
{
	for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
		text += static_cast<char>(value >> shift);
}

void SimDissector::write_capture(uint8_t manufacturer,
				 const std::vector<std::string> &packets) const
{
	constexpr uint64_t year_2000 = 0x00E03AB44A676000;
	std::string text("btsnoop\0\0\0\0\1\0\0\3\352", 16); /* version 1, H4 */
	std::vector<std::string> all = packets;

	all.insert(all.begin(), host::from_hex("01 01 10 00"));
	all.insert(all.begin() + 1, host::from_hex("04 0E 0C 01 01 10 00 08 10 00 08 00 00 10 01"));
	all[1][11] = static_cast<char>(manufacturer);
	for (const std::string &packet : all) {
		append_high_first(text, packet.size(), 4);
		append_high_first(text, packet.size(), 4);
		append_high_first(text, packet[0] == 4 ? 3 : 2, 4);
		append_high_first(text, 0, 4);
		append_high_first(text, year_2000, 8);
		text += packet;
	}
	std::ofstream(capture(), std::ios::binary) << text;
}

/*
 * Wireshark itself notes "Event undecoded" at every vendor event, even of a vendor that it knows.
 * No packet may have any other note.
 */
void SimDissector::expect_all_told()
{
	EXPECT_GT(fields(vendor_packets, { "frame.number" }).size(), 10u);
	EXPECT_EQ(fields(vendor_packets + " && !vorlin_ti && !vorlin_qualcomm", { "_ws.col.Info" }),
		  std::vector<std::string>());
	EXPECT_EQ(fields("data || (_ws.expert && bthci_evt.code != 0xff) || (_ws.expert && "
			 "bthci_cmd)",
			 { "_ws.col.Info", "_ws.expert.message" }),
		  std::vector<std::string>());
	for (const std::string &line :
	     fields("_ws.expert", { "_ws.col.Info", "_ws.expert.message" }))
		EXPECT_EQ(line.substr(line.rfind(' ', line.rfind(' ') - 1)), " Event undecoded")
			<< line;
}

/* Each byte of a packet belongs to a field with a value, or is padding. */
void SimDissector::expect_every_byte_told(size_t fewest_packets)
{
	static const std::regex leaf(
		R"re(<field name="([^"]*)".* size="(\d+)" pos="(\d+)" show="[^"]*" value="([^"]*)"[^>]*/>)re");
	static const std::regex length(R"re(<field name="frame.len".* show="(\d+)")re");
	std::smatch found;
	std::set<size_t> told;
	size_t bytes = 0;
	size_t packets = 0;

	for (const std::string &line : lines_of(tshark({ "-T", "pdml" }))) {
		if (std::regex_search(line, found, length))
			bytes = std::stoul(found[1]);
		if (std::regex_search(line, found, leaf) &&
		    (found[4] != "" || found[1] == "btcommon.eir_ad.unused"))
			for (size_t i = 0; i < std::stoul(found[2]); i++)
				told.insert(std::stoul(found[3]) + i);
		if (line != "</packet>")
			continue;
		packets++;
		EXPECT_EQ(told.size(), bytes) << "packet " << packets;
		told.clear();
	}
	EXPECT_GE(packets, fewest_packets);
}

/* Commands have the names of the simulator's records. */
void SimDissector::expect_names_of_the_log()
{
	static const std::regex command(R"re("name":"([^"]*)".*"bytes":"01 .. F)re");
	const std::string log = content_of(folder + "/log");
	std::vector<std::string> logged;
	std::vector<std::string> shown = fields("bthci_cmd.opcode.ogf == 0x3f", { "_ws.col.Info" });

	for (std::sregex_iterator it(log.begin(), log.end(), command), end; it != end; ++it)
		logged.push_back("Sent " + (*it)[1].str());
	for (std::string &line : shown)
		if (line == "Sent Patch Download Segment")
			line = "Sent Patch Download";
	EXPECT_EQ(shown, logged);
}

TEST_F(SimDissector, TellsTheLifeOfTheOlderTiController)
{
	record_life("ti-06");
	expect_all_told();
	expect_every_byte_told();
	expect_names_of_the_log();
}

TEST_F(SimDissector, TellsTheLifeOfTheNewerTiController)
{
	record_life("ti-08", { "--quirk", "long-discoverable" });
	expect_all_told();
	expect_every_byte_told();
	expect_names_of_the_log();
}

TEST_F(SimDissector, TellsTheLifeOfTheQualcommController)
{
	record_life("qualcomm");
	expect_all_told();
	expect_every_byte_told();
	expect_names_of_the_log();
}

TEST_F(SimDissector, TellsTheValuesOfATiController)
{
	record_life("ti-08", { "--quirk", "long-discoverable" });
	expect_told({
		{ "vorlin_ti.power_index != 12", { "vorlin_ti.power_index" }, "2" },
		{ "vorlin_ti.opcode == 0xfc0c && vorlin_ti.address",
		  { "vorlin_ti.address" },
		  "a1:b2:c3:d4:e5:f6" },
		{ "vorlin_ti.revision",
		  { "vorlin_ti.opcode", "vorlin_ti.user_revision", "vorlin_ti.revision" },
		  "0xfc1b 0x0000 0x0220" },
		{ "vorlin_ti.reset_type", { "vorlin_ti.reset_type" }, "0" },
		{ "vorlin_ti.param == 21 && vorlin_ti.value",
		  { "vorlin_ti.param", "vorlin_ti.value" },
		  "21 100" },
		{ "vorlin_ti.param && vorlin_ti.value == 512", { "vorlin_ti.param" }, "6" },
		{ "vorlin_ti.payload_length == 2",
		  { "vorlin_ti.event", "vorlin_ti.opcode", "vorlin_ti.gap_status",
		    "vorlin_ti.value" },
		  "0x067f 0xfe31 0x00 100" },
		{ "vorlin_ti.role",
		  { "vorlin_ti.role", "vorlin_ti.scan_responses", "vorlin_ti.sign_counter" },
		  "0x01 5 1" },
		{ "vorlin_ti.event == 0x0600",
		  { "vorlin_ti.address", "vorlin_ti.packet_length", "vorlin_ti.packets" },
		  "a1:b2:c3:d4:e5:f6 27 4" },
		{ "vorlin_ti.gap_status == 0x12",
		  { "vorlin_ti.opcode", "_ws.col.Info" },
		  "0xfe08 Rcvd GAP Command Status (GAP End Discoverable), status 0x12" },
		{ "vorlin_ti.channels",
		  { "vorlin_ti.advertising_type", "vorlin_ti.channels", "vorlin_ti.filter" },
		  "3 0x07 0" },
		{ "vorlin_ti.interval", { "vorlin_ti.event", "vorlin_ti.interval" }, "0x0603 160" },
		{ "vorlin_beacon.uuid == 00112233-4455-6677-8899-aabbccddeeff",
		  { "vorlin_ti.opcode", "vorlin_ti.data_type", "vorlin_ti.data_length",
		    "vorlin_beacon.major", "vorlin_beacon.minor", "vorlin_beacon.power" },
		  "0xfe07 1 30 1 258 -54" },
		{ "vorlin_beacon.power == -56", { "vorlin_beacon.minor" }, "2" },
	});
}

TEST_F(SimDissector, TellsTheValuesOfAQualcommController)
{
	record_life("qualcomm");
	expect_told({
		{ "vorlin_qualcomm.kind",
		  { "vorlin_qualcomm.opcode", "vorlin_qualcomm.patch_command",
		    "vorlin_qualcomm.length", "vorlin_qualcomm.announced",
		    "vorlin_qualcomm.total_size", "vorlin_qualcomm.code_size",
		    "vorlin_qualcomm.product", "vorlin_qualcomm.rom_build",
		    "vorlin_qualcomm.patch_version" },
		  "0xfc00 0x1e 243 596 596 572 0x0010 0x0200 0x0001" },
		{ "vorlin_qualcomm.length < 243", { "vorlin_qualcomm.length" }, "114" },
		{ "bthci_evt.code == 0x0e && vorlin_qualcomm.patch_command",
		  { "vorlin_qualcomm.status", "_ws.col.Info" },
		  "0x00 Rcvd Command Complete (Patch Download Segment)" },
		{ "vorlin_qualcomm.address", { "vorlin_qualcomm.address" }, "a1:b2:c3:d4:e5:f6" },
		{ "vorlin_beacon.minor == 258",
		  { "bthci_cmd.opcode", "vorlin_beacon.uuid", "vorlin_beacon.power" },
		  "0x2008 00112233-4455-6677-8899-aabbccddeeff -54" },
	});
}

/* Not with the daemon, which takes the event for an answer, or not, by when it comes. */
TEST_F(SimDissector, TellsTheEventThatSomeFirmwareSendsBesideASegment)
{
	const program sim =
		start_simulator("qualcomm", { "--capture", capture(), "--quirk", "segment-event" });
	{
		host peer("/dev/ttyMSM1");
		peer.ask("01 01 10 00");
		EXPECT_EQ(peer.ask("01 00 FC 06 1E 04 01 02 03 04"), "04 FF 03 00 04 00");
		EXPECT_EQ(peer.next_event(), "04 0E 05 01 00 FC 00 1E");
	}
	EXPECT_EQ(stop(sim, SIGTERM), 0);
	expect_every_byte_told(5);
	expect_told({ { "vorlin_qualcomm.event",
			{ "vorlin_qualcomm.answered", "vorlin_qualcomm.status", "_ws.col.Info" },
			"0x04 0x00 Rcvd Patch Download Event" } });
}

/* Commands that the daemon does not send, and their answers. */
TEST_F(SimDissector, TellsRefusalsAndOtherCommands)
{
	struct row {
		const char *packet;
		const char *info;
	};
	static const struct {
		uint8_t manufacturer;
		std::vector<row> rows;
	} controllers[] = {
		{ 13,
		  {
			  { "04 FF 06 7F 06 02 30 FE 00",
			    "Rcvd GAP Command Status (GAP Set Parameter), status 0x02" },
			  { "04 FF 05 1B 04 01 1B FC",
			    "Rcvd HCI Extension Done (HCI Extension Build Revision), status 0x01" },
			  { "04 FF 05 99 04 01 99 FC", "Rcvd HCI Extension Done, status 0x01" },
			  { "04 FF 03 00 06 12", "Rcvd GAP Device Init Done, status 0x12" },
			  { "01 31 FE 01 15", "Sent GAP Get Parameter" },
			  { "01 07 FE 06 00 04 03 09 41 42", "Sent GAP Update Advertising Data" },
		  } },
		{ 29,
		  {
			  { "01 00 FC 01 19", "Sent Patch Download Version" },
			  { "04 0E 0B 01 00 FC 00 19 10 00 00 02 01 00",
			    "Rcvd Command Complete (Patch Download Version)" },
			  { "04 0E 05 01 00 FC 12 1E",
			    "Rcvd Command Complete (Patch Download Segment), status 0x12" },
			  { "04 0E 04 01 14 FC 0C",
			    "Rcvd Command Complete (Set BD_ADDR), status 0x0C" },
		  } },
	};

	for (const auto &controller : controllers) {
		std::vector<std::string> packets;
		std::vector<std::string> infos;
		for (const row &one : controller.rows) {
			packets.push_back(host::from_hex(one.packet));
			infos.push_back(one.info);
		}
		write_capture(controller.manufacturer, packets);
		EXPECT_EQ(fields("vorlin_ti || vorlin_qualcomm", { "_ws.col.Info" }), infos);
		EXPECT_EQ(fields("vorlin_ti.short || vorlin_ti.long || vorlin_qualcomm.short || "
				 "vorlin_qualcomm.long",
				 { "frame.number" }),
			  std::vector<std::string>());
	}
}

TEST_F(SimDissector, TellsWhatIsTooShortAndTooLong)
{
	static const struct {
		uint8_t manufacturer;
		const char *packet;
		const char *filter;
	} rows[] = {
		{ 13, "01 30 FE 02 06 A0", "vorlin_ti.short" },
		{ 13, "01 30 FE 04 06 A0 00 00", "vorlin_ti.long" },
		{ 13, "04 FF 05 7F 06 00 30 FE", "vorlin_ti.short" },
		{ 13, "04 FF 04 04 06 00 00", "vorlin_ti.long" },
		{ 13, "01 07 FE 03 01 1E 02", "vorlin_ti.short" },
		{ 13, "01 07 FE 05 01 03 1A FF 4C", "vorlin_ti.short" },
		{ 29, "01 00 FC 03 1E F3 02", "vorlin_qualcomm.short" },
		{ 29, "01 00 FC 04 1E 01 02 00", "vorlin_qualcomm.long" },
	};

	for (const auto &row : rows) {
		write_capture(row.manufacturer, { host::from_hex(row.packet) });
		EXPECT_EQ(fields(row.filter, { "frame.number" }), std::vector<std::string>{ "3" })
			<< row.packet;
	}
}

/* In milliseconds; only an interval has this unit. */
TEST_F(SimDissector, TellsIntervalsInMilliseconds)
{
	write_capture(13, { host::from_hex("01 30 FE 03 06 A1 00"),
			    host::from_hex("01 30 FE 03 0C A1 00"),
			    host::from_hex("04 FF 05 03 06 00 A1 00") });
	const std::string all = tshark({ "-V" });
	EXPECT_EQ(count_of(all, "    Value: 161 (100.625 ms)\n"), 1u) << all;
	EXPECT_EQ(count_of(all, "    Value: 161\n"), 1u) << all;
	EXPECT_EQ(count_of(all, "    Interval: 161 (100.625 ms)\n"), 1u) << all;
}

/* A record without the controller's start does not show which controller it is. */
TEST_F(SimDissector, ReadsARecordWithoutItsBeginningWhenTold)
{
	write_capture(99, { host::from_hex("01 30 FE 03 06 A0 00") });
	EXPECT_EQ(fields("vorlin_ti", { "frame.number" }), std::vector<std::string>());
	EXPECT_NE(tshark({ "-d", "bthci_cmd.vendor,vorlin_ti" }).find("Sent GAP Set Parameter"),
		  std::string::npos);
	write_capture(99, { host::from_hex("01 00 FC 01 19") });
	EXPECT_NE(tshark({ "-d", "bthci_cmd.vendor,vorlin_qualcomm" })
			  .find("Sent Patch Download Version"),
		  std::string::npos);
}

/* It ignores other commands of these vendors, and other data of the beacons' company.
 */
TEST_F(SimDissector, LeavesAloneWhatItDoesNotKnow)
{
	write_capture(13, { host::from_hex("01 36 FF 01 00"), host::from_hex("04 FF 03 00 07 00"),
			    host::from_hex("01 08 20 08 07 06 FF 4C 00 10 01 00") });
	EXPECT_EQ(fields("vorlin_ti || vorlin_qualcomm || vorlin_beacon", { "frame.number" }),
		  std::vector<std::string>());
	EXPECT_EQ(fields("frame.number > 2", { "frame.number" }).size(), 3u);
}

/* Packets cut, extended and changed at random, the same in each run. */
TEST_F(SimDissector, IsNotUpset)
{
	static const std::vector<std::string> packets = {
		"01 00 FE 04 01 05 00 00",
		"01 06 FE 0A 03 00 00 00 00 00 00 00 07 00",
		"01 07 FE 20 01 1E 02 01 06 1A FF 4C 00 02 15 00 11 22 33 44 55 66 77 88 99 AA BB "
		"CC DD EE FF 00 01 00 02 CA",
		"01 30 FE 03 06 A0 00",
		"04 FF 08 7F 06 00 31 FE 02 50 00",
		"04 FF 09 1B 04 00 1B FC 00 00 20 02",
		"04 FF 05 03 06 00 A0 00",
		"01 00 FC 1E 1E 1C 02 18 00 00 18 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
		"00 00 00 00 00 00 00",
		"04 0E 0B 01 00 FC 00 19 10 00 00 02 01 00",
		"04 FF 03 00 04 00",
	};
	std::mt19937 random(1);

	for (const uint8_t manufacturer : { uint8_t{ 13 }, uint8_t{ 29 } }) {
		std::vector<std::string> bad;
		for (int i = 0; i < 2000; i++) {
			std::string packet = host::from_hex(packets[random() % packets.size()]);
			const size_t head = packet[0] == 1 ? 4 : 3;
			if (random() % 2)
				packet.resize(head + random() % (packet.size() - head + 4));
			for (auto turns = random() % 3; turns > 0 && packet.size() > head; turns--)
				packet[head + random() % (packet.size() - head)] =
					static_cast<char>(random());
			packet[head - 1] = static_cast<char>(packet.size() - head);
			bad.push_back(packet);
		}
		write_capture(manufacturer, bad);
		EXPECT_EQ(fields("frame", { "frame.number" }).size(), bad.size() + 2);
		EXPECT_GT(fields("vorlin_ti.short || vorlin_qualcomm.short", { "frame.number" })
				  .size(),
			  50u);
		const std::string all = tshark({ "-V" });
		EXPECT_EQ(count_of(all, "Lua Error"), 0u);
		EXPECT_EQ(count_of(all, "Dissector bug"), 0u);
	}
}
