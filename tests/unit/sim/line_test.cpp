// SPDX-License-Identifier: Apache-2.0
/* What carries bytes: the pty and its link, packets in a stream, the pace, the sockets. */
#include "sim/air/socket.h"
#include "sim/controller/packet.h"
#include "sim/line/line.h"
#include "sim/line/pace.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

using namespace std::chrono_literals;
using sim::bytes;

/* A temporary folder, removed with its content at the end. */
class scratch
{
      public:
	scratch()
	{
		EXPECT_NE(mkdtemp(m_path.data()), nullptr);
	}
	~scratch()
	{
		for (const char *name : { "tty", "socket" })
			unlink(path(name).c_str());
		rmdir(m_path.c_str());
	}
	std::string path(const std::string &name) const
	{
		return m_path + ("/" + name);
	}

      private:
	std::string m_path = std::filesystem::temp_directory_path() / "sim_line_test.XXXXXX";
};

static bool exists(const std::string &path)
{
	struct stat status;

	return lstat(path.c_str(), &status) == 0;
}

static bool is_readable(int descriptor)
{
	pollfd watched = { descriptor, POLLIN, 0 };

	return poll(&watched, 1, 180'000) == 1; /* only a hang takes so long */
}

TEST(SimLine, CarriesEveryByteBothWaysUnchanged)
{
	sim::line line;
	bytes all(256);
	bytes got(256);

	for (size_t i = 0; i < all.size(); i++)
		all[i] = static_cast<uint8_t>(i);
	ASSERT_EQ(line.open(""), "");
	const int host = open(line.port().c_str(), O_RDWR | O_NOCTTY);
	ASSERT_GE(host, 0);
	ASSERT_EQ(write(host, all.data(), all.size()), 256);
	ASSERT_TRUE(is_readable(line.descriptor()));
	EXPECT_EQ(line.read(1000), all);
	bytes sent = all;
	line.write(sent);
	EXPECT_TRUE(sent.empty());
	ASSERT_TRUE(is_readable(host));
	EXPECT_EQ(read(host, got.data(), got.size()), 256);
	EXPECT_EQ(got, all);
	close(host);
}

TEST(SimLine, AHostMayCloseAndOpenItsPort)
{
	sim::line line;

	ASSERT_EQ(line.open(""), "");
	close(open(line.port().c_str(), O_RDWR | O_NOCTTY));
	EXPECT_TRUE(line.read(10).empty());
	const int host = open(line.port().c_str(), O_RDWR | O_NOCTTY);
	ASSERT_EQ(write(host, "x", 1), 1);
	ASSERT_TRUE(is_readable(line.descriptor()));
	EXPECT_EQ(line.read(10).size(), 1u);
	close(host);
}

TEST(SimLine, SeesWhetherTheHostWantsFlowControl)
{
	sim::line line;
	struct termios settings;

	ASSERT_EQ(line.open(""), "");
	EXPECT_FALSE(line.has_flow_control());
	const int host = open(line.port().c_str(), O_RDWR | O_NOCTTY);
	ASSERT_EQ(tcgetattr(host, &settings), 0);
	settings.c_cflag |= CRTSCTS;
	ASSERT_EQ(tcsetattr(host, TCSANOW, &settings), 0);
	EXPECT_TRUE(line.has_flow_control());
	close(host);
}

TEST(SimLine, ItsLinkComesAndGoesWithIt)
{
	const scratch folder;
	sim::line line;

	ASSERT_EQ(line.open(folder.path("tty")), "");
	EXPECT_TRUE(exists(folder.path("tty")));
	line.close();
	EXPECT_FALSE(exists(folder.path("tty")));
}

TEST(SimLine, AClosedPortIsHungUp)
{
	sim::line line;
	char byte;

	ASSERT_EQ(line.open(""), "");
	const int host = open(line.port().c_str(), O_RDWR | O_NOCTTY);
	line.close();
	EXPECT_LE(read(host, &byte, 1), 0);
	close(host);
}

TEST(SimLine, LeavesAloneWhatIsNoLinkOfASimulator)
{
	const scratch folder;
	sim::line line;

	std::ofstream(folder.path("tty")) << "precious";
	EXPECT_EQ(line.open(folder.path("tty")),
		  folder.path("tty") +
			  " exists and is not a link of a simulator; it is left alone");
	EXPECT_TRUE(exists(folder.path("tty")));
}

TEST(SimLine, LeavesAloneALinkToALivingPty)
{
	const scratch folder;
	sim::line first;
	sim::line second;

	ASSERT_EQ(first.open(folder.path("tty")), "");
	EXPECT_EQ(second.open(folder.path("tty")), folder.path("tty") + " exists and leads to " +
							   first.port() + ", which is in use");
	second.close();
	EXPECT_TRUE(exists(folder.path("tty")));
}

TEST(SimLine, ReplacesTheLinkOfASimulatorThatWasKilled)
{
	const scratch folder;
	sim::line line;

	ASSERT_EQ(symlink("/dev/pts/999999", folder.path("tty").c_str()), 0);
	EXPECT_EQ(line.open(folder.path("tty")), "");
}

TEST(SimLine, ALinkThatCannotBeMadeIsToldAboutWithItsReason)
{
	sim::line line;

	EXPECT_EQ(line.open("/nowhere/tty"),
		  "cannot make the link /nowhere/tty: No such file or directory");
}

/* Feeds bytes and returns all packets found, each followed by "|". */
static std::string packets_in(sim::packet_reader &reader, const std::string &text)
{
	const bytes data = sim::parse_hex(text).value();
	std::string found;

	for (const uint8_t byte : data)
		if (const auto packet = reader.take(byte))
			found += sim::hex_text(*packet) + "|";
	return found;
}

TEST(SimPacket, FindsEachKindByItsOwnLength)
{
	sim::packet_reader reader(sim::stray::skip);

	EXPECT_EQ(packets_in(reader, "01 03 0C 00"), "01 03 0C 00|");
	EXPECT_EQ(packets_in(reader, "01 09 20 02 AA BB"), "01 09 20 02 AA BB|");
	EXPECT_EQ(packets_in(reader, "02 00 00 01 00 55"), "02 00 00 01 00 55|");
	EXPECT_EQ(packets_in(reader, "03 00 00 01 55"), "03 00 00 01 55|");
	EXPECT_EQ(packets_in(reader, "04 0E 01 55"), "04 0E 01 55|");
	EXPECT_EQ(packets_in(reader, "05 00 00 01 40 55"), "05 00 00 01 40 55|")
		<< "two bits of that length mean something else";
}

TEST(SimPacket, FindsPacketsInPiecesAndInARow)
{
	sim::packet_reader reader;

	EXPECT_EQ(packets_in(reader, "01 03"), "");
	EXPECT_EQ(reader.pending(), 2u);
	EXPECT_EQ(packets_in(reader, "0C 00 01 01 10 00 01"), "01 03 0C 00|01 01 10 00|");
	EXPECT_EQ(reader.pending(), 1u);
	reader.restart();
	EXPECT_EQ(reader.pending(), 0u);
}

TEST(SimPacket, WithoutItsStepItLooksForAResetInTheBytes)
{
	sim::packet_reader reader;

	EXPECT_EQ(packets_in(reader, "01 09 10 00 00"), "01 09 10 00|");
	EXPECT_TRUE(reader.is_lost());
	EXPECT_EQ(packets_in(reader, "01 01 10 00 01 03 01 01 03 0C 01 03 0C"), "");
	EXPECT_EQ(packets_in(reader, "00 01 09 10 00"), "01 03 0C 00|01 09 10 00|");
	EXPECT_FALSE(reader.is_lost());
}

TEST(SimPacket, KeepsWhatBeginsNoPacketApart)
{
	sim::packet_reader reader(sim::stray::skip);

	EXPECT_EQ(packets_in(reader, "00 06 FF 01 03 0C 00 99"), "01 03 0C 00|");
	EXPECT_EQ(sim::hex_text(reader.take_junk()), "00 06 FF 99");
	EXPECT_TRUE(reader.take_junk().empty());
}

TEST(SimPace, TenBitsAByteAndNoDrift)
{
	sim::line_pace line(115200);
	const bytes many(11520);

	line.push(many, 1s);
	EXPECT_EQ(line.free_at(), 2s);
	EXPECT_FALSE(line.take(1s));
	EXPECT_EQ(line.next(), 1s + sim::moment(10 * 1'000'000'000LL / 115200));
	for (int i = 0; i < 11519; i++)
		ASSERT_TRUE(line.take(2s - 1ns));
	EXPECT_FALSE(line.take(2s - 1ns)) << "the last ends with its last bit";
	EXPECT_TRUE(line.take(2s));
	EXPECT_EQ(line.waiting(), 0u);
}

TEST(SimPace, ALaterChunkWaitsForTheLineToBeFree)
{
	sim::line_pace line(10000);

	line.push({ { 1, 2 } }, 0s);
	line.push({ { 3 } }, 1ms);
	line.push({ { 4 } }, 10ms);
	EXPECT_EQ(line.take(10s)->at, 1ms);
	EXPECT_EQ(line.take(10s)->at, 2ms);
	EXPECT_EQ(line.take(10s)->at, 3ms);
	EXPECT_EQ(line.take(10s)->at, 11ms);
}

TEST(SimPace, WithoutARateEverythingIsThroughAtOnce)
{
	sim::line_pace line(0);

	line.push({ { 1, 2 } }, 5ms);
	EXPECT_FALSE(line.take(4ms));
	EXPECT_EQ(line.take(5ms)->byte, 1);
	EXPECT_EQ(line.take(5ms)->byte, 2);
	EXPECT_FALSE(line.next());
}

TEST(SimSocket, CarriesLinesAndNoticesTheEnd)
{
	const scratch folder;
	sim::text_socket listener;
	sim::text_socket client;

	ASSERT_EQ(sim::listen_at(folder.path("socket"), listener), "");
	EXPECT_FALSE(sim::accept_from(listener).is_open()) << "nobody is there yet";
	ASSERT_EQ(sim::connect_to(folder.path("socket"), client), "");
	sim::text_socket server = sim::accept_from(listener);
	ASSERT_TRUE(server.is_open());
	client.write("one\ntw");
	EXPECT_EQ(server.read_lines(), std::vector<std::string>{ "one" });
	client.write("o\n");
	EXPECT_EQ(server.read_lines(), std::vector<std::string>{ "two" });
	EXPECT_TRUE(server.read_lines().empty());
	EXPECT_TRUE(server.is_open());
	client.close();
	EXPECT_TRUE(server.read_lines().empty());
	EXPECT_FALSE(server.is_open());
}

TEST(SimSocket, AListenerIsRespectedAndADeadOneReplaced)
{
	const scratch folder;
	sim::text_socket other;
	{
		sim::text_socket listener;
		ASSERT_EQ(sim::listen_at(folder.path("socket"), listener), "");
		EXPECT_EQ(sim::listen_at(folder.path("socket"), other),
			  folder.path("socket") + " is in use");
	}
	EXPECT_EQ(sim::connect_to(folder.path("socket"), other),
		  "cannot reach " + folder.path("socket") + ": Connection refused");
	EXPECT_EQ(sim::listen_at(folder.path("socket"), other), "");
}

TEST(SimSocket, AFileInItsPlaceIsLeftAlone)
{
	const scratch folder;
	sim::text_socket listener;

	std::ofstream(folder.path("socket")) << "precious";
	EXPECT_EQ(sim::listen_at(folder.path("socket"), listener),
		  folder.path("socket") + " exists and is no socket; it is left alone");
	EXPECT_TRUE(exists(folder.path("socket")));
}
