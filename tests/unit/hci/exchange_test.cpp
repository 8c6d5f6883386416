// SPDX-License-Identifier: Apache-2.0
/* Packets out, events in: framing, limits, results and messages. */
#include "hci/exchange.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/fakes/fake_daemon.h"
#include "tests/unit/fakes/fake_select.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

class Exchange : public DaemonTest
{
      protected:
	uint8_t event[HCI_EVENT_MAX + 1] = {};

	int32_t receive()
	{
		return hci_receive_event(event, 9, 1);
	}
};

static const char no_response[] = "WARNING: failed to read HCI response.\n";

struct framing_row {
	const char *name;
	const char *bytes;
	int32_t result;
	size_t left; /* unread afterwards */
};

static const framing_row framings[] = {
	{ "a Command Complete", "04 0E 04 01 01 10 00", 0, 0 },
	{ "its status is returned", "04 0E 04 01 01 10 0C", 12, 0 },
	{ "the highest status", "04 0E 04 01 01 10 FF", 255, 0 },
	{ "a vendor event has its status at 5", "04 FF 06 7F 06 07 01 FC 00", 7, 0 },
	{ "a vendor event of an extension", "04 FF 05 1D 04 00 1D FC", 0, 0 },
	{ "stray bytes before it are discarded", "00 FF 04 0E 04 01 01 10 00", 0, 0 },
	{ "so are an ACL packet's", "02 40 00 01 00 AA 04 0E 04 01 01 10 00", 0, 0 },
	{ "a stray 04 costs the event", "04 04 0E 04 01 01 10 00", -1, 5 },
	{ "a Command Status is no answer", "04 0F 04 00 01 01 10", -1, 4 },
	{ "an LE event is no answer", "04 3E 02 0A 00", -1, 2 },
	{ "a parameter length of 0 stops after the header", "04 0E 00", 0, 0 },
	{ "a vendor event without parameters", "04 FF 00", 0, 0 },
	{ "a short Command Complete has no status", "04 0E 03 01 01 10", 0, 0 },
	{ "the next event is left alone", "04 0E 04 01 01 10 00 | 04 0E 00", 0, 3 },
};

TEST_F(Exchange, EventsAreFramedOutOfTheBytes)
{
	for (const framing_row &row : framings) {
		SCOPED_TRACE(row.name);
		fake_unplug();
		fake_plug();
		memset(event, 0, sizeof(event));
		fake_answers(row.bytes);
		int32_t result = 0;
		EXPECT_EQ(stderr_of([&] { result = receive(); }),
			  row.result < 0 ? no_response : "");
		EXPECT_EQ(result, row.result);
		EXPECT_EQ(fake_unread(), row.left);
	}
}

TEST_F(Exchange, TheStoredEventBeginsWithItsIndicator)
{
	static const uint8_t stored[] = { 0x04, 0x0E, 0x04, 0x01, 0x01, 0x10, 0x00, 0x00 };

	fake_answers("00 FF 04 0E 04 01 01 10 00");
	EXPECT_EQ(receive(), 0);
	EXPECT_EQ(memcmp(event, stored, sizeof(stored)), 0);
}

TEST_F(Exchange, EveryByteButTheIndicatorIsSkipped)
{
	for (int byte = 0; byte < 256; byte++) {
		if (byte == 0x04)
			continue;
		char junk[4];
		snprintf(junk, sizeof(junk), "%02X ", static_cast<unsigned>(byte));
		fake_answers(std::string(junk) + "04 0E 04 01 01 10 00");
		EXPECT_EQ(receive(), 0) << byte;
		EXPECT_EQ(fake_unread(), 0U);
	}
}

TEST_F(Exchange, TheLongestEventFills258BytesAndNotOneMore)
{
	std::string bytes = "04 0E FF";
	for (int i = 0; i < 255; i++)
		bytes += " 77";
	event[HCI_EVENT_MAX] = 0x55;
	fake_answers(bytes);
	EXPECT_EQ(receive(), 0x77);
	EXPECT_EQ(event[HCI_EVENT_MAX - 1], 0x77);
	EXPECT_EQ(event[HCI_EVENT_MAX], 0x55);
}

TEST_F(Exchange, AShortEventReturnsWhatTheBufferHeld)
{
	event[6] = 0x42;
	fake_answers("04 0E 02 01 01");
	EXPECT_EQ(receive(), 0x42) << "the reader does not clear the buffer";
}

TEST_F(Exchange, AnEventSplitAtAnyPlaceIsFramedTheSame)
{
	static const std::string pieces[] = { "04", "0E", "04", "01", "01", "10", "0C" };

	for (size_t cut = 1; cut < std::size(pieces); cut++) {
		std::thread line([&] {
			for (size_t i = 0; i < std::size(pieces); i++) {
				if (i == cut)
					std::this_thread::sleep_for(std::chrono::milliseconds(5));
				fake_answers(pieces[i]);
			}
		});
		EXPECT_EQ(receive(), 12) << cut;
		line.join();
	}
}

TEST_F(Exchange, SilenceIsMinusOneAfterOneWaitOfFiveSeconds)
{
	const auto start = std::chrono::steady_clock::now();
	int32_t result = 0;

	dbg_level = TRACE_HCI_TX; /* any bit of the category */
	EXPECT_EQ(stderr_of([&] { result = receive(); }), no_response);
	EXPECT_EQ(result, -1);
	EXPECT_NE(without_lines(console()).find("ble_select_read(N) select() timeout \""),
		  std::string::npos);
	const auto waited = std::chrono::steady_clock::now() - start;
	EXPECT_GE(waited, std::chrono::milliseconds(4990));
	EXPECT_EQ(fake_selects, std::vector<double>{ 5 });
}

TEST_F(Exchange, ALineThatClosesIsMinusOneAtEveryStage)
{
	for (const char *bytes : { "", "04", "04 0E", "04 0E 04", "04 0E 04 01 01" }) {
		fake_unplug();
		fake_plug();
		fake_answers(bytes);
		fake_hang_up();
		int32_t result = 0;
		EXPECT_EQ(stderr_of([&] { result = receive(); }), no_response) << bytes;
		EXPECT_EQ(result, -1);
	}
}

TEST_F(Exchange, WithoutADescriptorASendIsSuccessAndAReceiveFailsAtOnce)
{
	static const uint8_t reset[] = { 0x01, 0x03, 0x0C, 0x00 };
	int32_t result = 0;

	fake_unplug();
	EXPECT_EQ(hci_send_command(reset, sizeof(reset)), 0);
	ble_config->opt.status = 0;
	EXPECT_EQ(hci_send_command(reset, sizeof(reset)), 0) << "the descriptor is asked first";
	ble_config->opt.status = 1;
	EXPECT_EQ(stderr_of([&] { result = receive(); }), no_response);
	EXPECT_EQ(result, -1);
	EXPECT_EQ(ble_select_read(-1, event), 0);
}

TEST_F(Exchange, WithStatus0NothingIsSentOrRead)
{
	static const uint8_t reset[] = { 0x01, 0x03, 0x0C, 0x00 };

	ble_config->opt.status = 0;
	fake_answers("04 0E 04 01 03 0C 00");
	EXPECT_EQ(stderr_of([&] {
			  EXPECT_EQ(hci_send_command(reset, sizeof(reset)), -1);
			  EXPECT_EQ(receive(), -1);
		  }),
		  "");
	EXPECT_EQ(fake_heard(), "");
	EXPECT_EQ(fake_unread(), 7U);
	ble_config->opt.status = 1;
	EXPECT_EQ(hci_send_command(reset, sizeof(reset)), 0);
	EXPECT_EQ(fake_heard(), "01 03 0C 00");
}

TEST_F(Exchange, AWriteThatFailsSaysSo)
{
	static const uint8_t reset[] = { 0x01, 0x03, 0x0C, 0x00 };
	const int plugged = ble_fd;

	ble_fd = openat(AT_FDCWD, "/dev/null", O_RDONLY | O_CLOEXEC);
	EXPECT_EQ(stderr_of([&] { EXPECT_EQ(hci_send_command(reset, sizeof(reset)), -1); }),
		  "WARNING: failed to write HCI command !!\n");
	close(ble_fd);
	ble_fd = plugged;
}

TEST_F(Exchange, AShortWriteSaysFourBytesWhateverTheLength)
{
	static const uint8_t packet[36] = { 0x01, 0x08, 0x20, 0x20 };
	const int plugged = ble_fd;
	const std::string path = folder + "/line";
	rlimit before;

	/* A file limited to 10 bytes acts as a line that accepts no more. */
	ble_fd = openat(AT_FDCWD, path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
	signal(SIGXFSZ, SIG_IGN);
	getrlimit(RLIMIT_FSIZE, &before);
	const int usual = dup(STDERR_FILENO);
	int said[2];
	ASSERT_EQ(pipe2(said, O_CLOEXEC), 0);
	dup2(said[1], STDERR_FILENO); /* to a pipe: the limit is for files */
	const rlimit limit = { 10, before.rlim_max };
	setrlimit(RLIMIT_FSIZE, &limit);
	const int32_t result = hci_send_command(packet, sizeof(packet));
	setrlimit(RLIMIT_FSIZE, &before);
	dup2(usual, STDERR_FILENO);
	char text[256] = {};
	EXPECT_GT(read(said[0], text, sizeof(text) - 1), 0);
	EXPECT_STREQ(text, "WARNING: wanted to write 4 bytes, could only write 10. Stop\n");
	EXPECT_EQ(result, -1);
	for (const int fd : { usual, said[0], said[1], ble_fd })
		close(fd);
	ble_fd = plugged;
	signal(SIGXFSZ, SIG_DFL);
}

TEST_F(Exchange, ADescriptorThatNoSetHoldsIsNotRead)
{
	rlimit files;
	getrlimit(RLIMIT_NOFILE, &files);
	if (files.rlim_max < 1100)
		GTEST_SKIP() << "no more than " << files.rlim_max << " descriptors are allowed";
	const rlimit many = { 1100, files.rlim_max };
	setrlimit(RLIMIT_NOFILE, &many);
	const int high = fcntl(ble_fd, F_DUPFD_CLOEXEC, 1024);
	ASSERT_GE(high, 1024);
	fake_answers("04");
	EXPECT_EQ(ble_select_read(high, event), 0);
	EXPECT_EQ(fake_unread(), 1U);
	close(high);
	setrlimit(RLIMIT_NOFILE, &files);
}

/* The signals are blocked only while the reader waits. */
static int handled;
static void count_signal(int)
{
	handled++;
}

TEST_F(Exchange, CommandAndAttachSignalsDoNotCutTheWaitShort)
{
	signal(SIGUSR1, count_signal);
	signal(SIGUSR2, count_signal);
	handled = 0;
	int during = -1;
	fake_as_select_begins = [&] {
		raise(SIGUSR1);
		raise(SIGUSR2);
		during = handled;
		fake_answers("04 0E 04 01 01 10 00");
	};
	EXPECT_EQ(receive(), 0);
	EXPECT_EQ(during, 0);
	EXPECT_EQ(handled, 2) << "delivered as soon as the wait has ended";
	sigset_t blocked;
	sigprocmask(SIG_BLOCK, nullptr, &blocked);
	EXPECT_EQ(sigismember(&blocked, SIGUSR1), 0);
	EXPECT_EQ(sigismember(&blocked, SIGUSR2), 0);
	signal(SIGUSR1, SIG_DFL);
	signal(SIGUSR2, SIG_DFL);
}

TEST_F(Exchange, AnotherSignalEndsTheWaitAsAFailure)
{
	signal(SIGTERM, count_signal);
	const pthread_t reader = pthread_self();
	std::atomic<bool> is_over = false;
	std::thread line;
	/* Sent repeatedly: a signal just before the wait would not end it. */
	fake_as_select_begins = [&] {
		line = std::thread([&] {
			while (!is_over) {
				pthread_kill(reader, SIGTERM);
				std::this_thread::sleep_for(std::chrono::milliseconds(5));
			}
		});
	};
	int32_t result = 0;
	dbg_level = TRACE_HCI_TX; /* any bit of the category */
	EXPECT_EQ(stderr_of([&] { result = receive(); }), no_response);
	is_over = true;
	EXPECT_EQ(result, -1);
	EXPECT_NE(without_lines(console()).find(
			  "ble_select_read(N) select() failed \"Interrupted system call\"\n"),
		  std::string::npos);
	line.join();
	signal(SIGTERM, SIG_DFL);
}

TEST_F(Exchange, AHexDumpBeginsEachLineWithItsPrefix)
{
	static const uint8_t bytes[] = { 0x00, 0x0A, 0xFF, 0x10, 0x7F };
	static const struct {
		int32_t per_line;
		size_t length;
		const char *dump;
	} rows[] = {
		{ 16, 0, "" },
		{ 16, 5, " 00 0A FF 10 7F \n" },
		{ 2, 5, " 00 0A \n FF 10 \n 7F \n" },
		{ 5, 5, " 00 0A FF 10 7F \n" },
		{ 2, 4, " 00 0A \n FF 10 \n" },
		{ 1, 2, " 00 \n 0A \n" },
		{ 0, 5, " 00 0A FF 10 7F \n" },
		{ -3, 5, " 00 0A FF 10 7F \n" },
	};

	for (const auto &row : rows)
		EXPECT_EQ(stderr_of([&] { hex_dump(" ", row.per_line, bytes, row.length); }),
			  row.dump)
			<< row.per_line;
	EXPECT_EQ(stderr_of([] { hex_dump("> ", 2, bytes, 3); }), "> 00 0A \n> FF \n");
}
