// SPDX-License-Identifier: Apache-2.0
/* The patch download in segments, and the address of a Qualcomm controller. */
#include "hci/qualcomm_commands.h"

#include "tests/unit/fakes/fake_console.h"
#include "tests/unit/hci/command_row.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#define OK      "04 0E 05 01 00 FC 00 1E"
#define REFUSED "04 0E 05 01 00 FC 0C 1E"

class Qualcomm : public CommandTest
{
      protected:
	void SetUp() override
	{
		DaemonTest::SetUp();
		before = std::filesystem::current_path();
		std::filesystem::current_path(folder);
	}

	void TearDown() override
	{
		std::filesystem::current_path(before);
		DaemonTest::TearDown();
	}

	/* Write a patch file of `size` bytes, whose values depend on their position. */
	static void put_patch(size_t size, const std::string &path = "mpnv10.bin")
	{
		std::string data = "\x02";
		while (data.size() < size)
			data += static_cast<char>(data.size() * 7);
		std::ofstream(path, std::ios::binary) << data.substr(0, size);
	}

	static std::string hex(const std::string &bytes)
	{
		std::string text;
		for (const char byte : bytes) {
			char pair[4];
			snprintf(pair, sizeof(pair), "%02X ", static_cast<uint8_t>(byte));
			text += pair;
		}
		return text.substr(0, text.size() - 1);
	}

	static std::string file(const std::string &path = "mpnv10.bin")
	{
		std::ifstream stream(path, std::ios::binary);
		return { std::istreambuf_iterator<char>(stream), {} };
	}

	int32_t download(std::string *printed = nullptr)
	{
		int32_t result = 1;
		const std::string said =
			stderr_of([&] { result = _hci_func_download_patch_file_qualcomm(); });
		if (printed)
			*printed = said;
		else
			EXPECT_EQ(said, "");
		return result;
	}

	std::filesystem::path before;
};

TEST_F(Qualcomm, TheFileGoesInSegmentsOf243Bytes)
{
	static const struct {
		size_t size;
		std::vector<size_t> segments;
	} rows[] = {
		{ 1, { 1 } },          { 243, { 243 } },          { 244, { 243, 1 } },
		{ 486, { 243, 243 } }, { 500, { 243, 243, 14 } },
	};

	for (const auto &row : rows) {
		put_patch(row.size);
		std::string expected;
		size_t at = 0;
		for (const size_t segment : row.segments) {
			fake_answers(OK);
			const char head[] = { 0x01,   0x00,
					      '\xFC', static_cast<char>(segment + 2),
					      0x1E,   static_cast<char>(segment) };
			expected += (at ? " " : "") + hex(std::string(head, 6)) + " " +
				    hex(file().substr(at, segment));
			at += segment;
		}
		EXPECT_EQ(download(), 0);
		EXPECT_EQ(fake_heard(), expected) << row.size;
		EXPECT_EQ(fake_unread(), 0U);
	}
	EXPECT_EQ(fake_sleeps, std::vector<unsigned>(5, 1500000));
}

TEST_F(Qualcomm, TheCurrentDirectoryGoesBeforeTheFirmwareFolder)
{
	put_patch(5, "firmware.bin");
	fake_file("/lib/firmware/IPQ5018/mpnv10.bin", folder + "/firmware.bin");
	fake_answers(OK);
	EXPECT_EQ(download(), 0);
	EXPECT_EQ(fake_heard().substr(0, 17), "01 00 FC 07 1E 05");
	put_patch(3);
	fake_answers(OK);
	EXPECT_EQ(download(), 0);
	EXPECT_EQ(fake_heard().substr(0, 17), "01 00 FC 05 1E 03");
}

TEST_F(Qualcomm, WithoutAFileThePathIsEmpty)
{
	std::string said;

	EXPECT_EQ(download(&said), -1);
	EXPECT_EQ(said, "WARNING: can't find patch file !!\n");
	EXPECT_EQ(fake_heard(), "");
	EXPECT_TRUE(fake_sleeps.empty());
}

TEST_F(Qualcomm, OnlyAFirstByteOf2IsAPatch)
{
	std::string said;

	for (const char *content : { "", "\x01pp", "\x03", "p" }) {
		std::ofstream("mpnv10.bin", std::ios::binary) << content;
		EXPECT_EQ(download(&said), -1);
		EXPECT_EQ(said, "WARNING: Invalid patch file mpnv10.bin!!\n");
	}
	EXPECT_EQ(fake_heard(), "");
	EXPECT_TRUE(fake_sleeps.empty());
}

TEST_F(Qualcomm, ADirectoryCannotBeRead)
{
	std::string said;

	std::filesystem::create_directory("mpnv10.bin");
	EXPECT_EQ(download(&said), -1);
	EXPECT_EQ(said, "WARNING: can't read patch file mpnv10.bin (read length is -1)!!\n");
}

TEST_F(Qualcomm, AFileThatReadsShorterThanItsSizeIsRefused)
{
	/* The kernel reports 4096 bytes for such a file, which has fewer. */
	const std::string setting = "/sys/kernel/mm/transparent_hugepage/enabled";
	std::string said;

	if (!std::filesystem::exists(setting))
		GTEST_SKIP() << "no " << setting << " here to read shorter than its size";
	fake_file("/lib/firmware/IPQ5018/mpnv10.bin", setting);
	EXPECT_EQ(download(&said), -1);
	EXPECT_EQ(said, "WARNING: can't read patch file /lib/firmware/IPQ5018/mpnv10.bin "
			"(read length is " +
				std::to_string(file(setting).size()) + ")!!\n");
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Qualcomm, AFileThatCannotBeOpenedIsTold)
{
	const sockaddr_un address = { AF_UNIX, "mpnv10.bin" }; /* a socket: root cannot open it */
	const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
	std::string said;

	ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);
	EXPECT_EQ(download(&said), -1);
	EXPECT_EQ(said, "WARNING: can't open patch file mpnv10.bin!!\n");
	close(fd);
}

TEST_F(Qualcomm, TheFirstRefusedSegmentEndsItAndIsStillWaitedFor)
{
	std::string said;

	put_patch(600);
	fake_answers(OK REFUSED);
	EXPECT_EQ(download(&said), 0x0C);
	EXPECT_EQ(said, "WARNING: patch download failed(times=2)!!\n");
	EXPECT_EQ(fake_sleeps, std::vector<unsigned>{ 1500000 });
	EXPECT_EQ(fake_heard().size(), (2 * 249) * 3 - 1U) << "the third was not sent";

	fake_answers("04 0F 00");
	EXPECT_EQ(download(&said), -1);
	EXPECT_EQ(said, "WARNING: failed to read HCI response.\n"
			"WARNING: patch download failed(times=1)!!\n");
}

TEST_F(Qualcomm, ASegmentThatCannotBeSentEndsTheDownload)
{
	put_patch(300);
	ble_config->opt.status = BLE_STATUS_NONE;
	std::string said;
	EXPECT_EQ(download(&said), -1);
	EXPECT_EQ(said, "WARNING: patch download failed(times=1)!!\n");
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(Qualcomm, ARefusedSegmentsStatusIsTraced)
{
	static const uint8_t data[1] = {};

	fake_answers("04 0E 05 01 00 FC 01 1E"); /* the shortest event with a status */
	dbg_level = TRACE_HCI_RX;
	int32_t result = 0;
	stderr_of([&] { result = _hci_func_download_patch_segment_qualcomm(data, 1); });
	EXPECT_EQ(result, 1);
	EXPECT_NE(traced().find(
			  "_hci_func_download_patch_segment_qualcomm(N) HCI error code = 0x1\n"),
		  std::string::npos);
}

/* Makes the sanitizer's malloc fail as the C library's does. */
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options()
{
	return "allocator_may_return_null=1";
}

TEST_F(Qualcomm, AFileTooLargeForTheMemoryIsTold)
{
	put_patch(1);
	if (truncate("mpnv10.bin", off_t{ 1 } << 43) != 0)
		GTEST_SKIP() << "no file of 8 TiB, mostly hole, can be made here";
	std::string said;
	EXPECT_EQ(download(&said), -1);
	EXPECT_TRUE(said.ends_with("WARNING: can't malloc memory for patch file mpnv10.bin!!\n"))
		<< said; /* a sanitizer prints a line before it */
	EXPECT_EQ(fake_heard(), "");
	EXPECT_TRUE(fake_sleeps.empty());
}

TEST_F(Qualcomm, NoDescriptorIsLeftOpen)
{
	const auto open_files = [] {
		return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
	};
	std::string said;

	put_patch(3);
	fake_answers(OK REFUSED);
	const auto count = open_files();
	download(&said);
	download(&said);
	std::ofstream("mpnv10.bin") << "x";
	download(&said);
	EXPECT_EQ(open_files(), count);
}

TEST_F(Qualcomm, NoMemoryIsLeft)
{
	constexpr size_t SIZE = 200'000; /* no other allocation is as large */

	put_patch(SIZE);
	fake_answers(REFUSED);
	const size_t allocated = mallinfo2().uordblks + mallinfo2().hblkhd;
	std::string said;
	download(&said);
	EXPECT_LT(mallinfo2().uordblks + mallinfo2().hblkhd, allocated + SIZE / 2);
}

/* The calls in their order: f for free, c for close. */
static char calls[16];
static size_t call_count;

static void write_down(char call)
{
	calls[call_count++ % sizeof(calls)] = call;
}

/* Used instead of the C library's; do the same, and record. */
extern "C" int close(int fd)
{
	write_down('c');
	return static_cast<int>(syscall(SYS_close, fd));
}

#if defined(__SANITIZE_ADDRESS__)
#define MEMORY_IS_THE_SANITIZERS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MEMORY_IS_THE_SANITIZERS
#endif
#endif
#ifndef MEMORY_IS_THE_SANITIZERS
extern "C" void __libc_free(void *memory);
extern "C" void free(void *memory) noexcept
{
	write_down('f');
	__libc_free(memory);
}
#endif

TEST_F(Qualcomm, TheMemoryIsFreedBeforeTheFileIsClosed)
{
#ifdef MEMORY_IS_THE_SANITIZERS
	GTEST_SKIP() << "what frees memory is the sanitizer's";
#endif
	for (const std::string content : { "\x02", "x", "" }) {
		std::ofstream("mpnv10.bin", std::ios::binary) << content;
		fake_answers(OK);
		stderr_of([] {
			call_count = 0;
			_hci_func_download_patch_file_qualcomm();
			EXPECT_EQ(std::string(calls, call_count), "fc");
		});
	}
}

/* Descriptor 0 is free, so the file gets it: true if it is open afterwards. */
static bool stays_open_as_0(const std::string &content)
{
	const int saved = dup(STDIN_FILENO);

	std::ofstream("mpnv10.bin", std::ios::binary) << content;
	close(STDIN_FILENO);
	testing::internal::CaptureStderr();
	close(STDIN_FILENO); /* taken by the capture of stderr */
	_hci_func_download_patch_file_qualcomm();
	const bool is_open = fcntl(STDIN_FILENO, F_GETFD) >= 0;
	dup2(saved, STDIN_FILENO);
	testing::internal::GetCapturedStderr();
	close(saved);
	return is_open;
}

TEST_F(Qualcomm, ThePatchStaysOpenAsDescriptor0ButNothingElseDoes)
{
	fake_answers(OK);
	EXPECT_TRUE(stays_open_as_0("\x02")) << "a download, on purpose";
	EXPECT_FALSE(stays_open_as_0("x")) << "no patch";
	EXPECT_FALSE(stays_open_as_0("")) << "nothing at all";
}

TEST_F(Qualcomm, ASegmentOfAnySizeStaysInItsBuffer)
{
	static const uint8_t data[255] = { 1 };

	fake_answers(OK);
	EXPECT_EQ(_hci_func_download_patch_segment_qualcomm(data, 255), 0);
	const std::string heard = fake_heard();
	EXPECT_EQ(heard.substr(0, 17), "01 00 FC 01 1E FF") << "the length is cut to 8 bits";
	EXPECT_EQ(heard.size(), 261U * 3 - 1);
}

static const command_row rows[] = {
	{ "the address goes in text order",
	  [] { return _hci_func_set_bdaddr_qualcomm("A1B2C3D4E5F6"); },
	  "01 14 FC 06 A1 B2 C3 D4 E5 F6", "04 0E 05 01 14 FC 00 00", 0,
	  "_hci_func_set_bdaddr_qualcomm(N) Start...\n" },
	{ "no address is not sent", [] { return _hci_func_set_bdaddr_qualcomm(""); }, "", "", -1,
	  "_hci_func_set_bdaddr_qualcomm(N) Start...\n" },
	{ "the address, refused", [] { return _hci_func_set_bdaddr_qualcomm("zyxwvutsrqpo"); },
	  "01 14 FC 06 00 00 00 00 00 00", "04 0E 05 01 14 FC 01 00", 1,
	  "_hci_func_set_bdaddr_qualcomm(N) Start...\n"
	  "_hci_func_set_bdaddr_qualcomm(N) HCI error code = 0x1\n" },
};

TEST_F(Qualcomm, TheAddressCommandSaysWhatTheTableSays)
{
	hold(rows);
}

/* With P for each buffer address. */
static std::string without_pointers(const std::string &text)
{
	return replaced(text, "0x[0-9a-f]{6,}", "P");
}

TEST_F(Qualcomm, TheDownloadIsTracedAndDumped)
{
	put_patch(244);
	fake_answers(OK OK);
	dbg_level = TRACE_HCI_TX;
	std::string said;
	EXPECT_EQ(download(&said), 0);
	EXPECT_EQ(said.find(" 02 07 0E 15 1C 23 2A 31 38 3F 46 4D 54 5B 62 69 \n"), 0U);
	EXPECT_EQ(
		without_pointers(traced()),
		"_hci_func_download_patch_file_qualcomm(N) Start...\n"
		"_hci_func_download_patch_file_qualcomm(N) The patch file mpnv10.bin size is 244\n"
		"_hci_func_download_patch_file_qualcomm(N) All patch data:\n"
		"_hci_func_download_patch_file_qualcomm(N) Attempt to download the patch segment(times=1, file_size=244, segment_ptr=P, segment_size=243).\n"
		"_hci_func_download_patch_segment_qualcomm(N) Start...\n"
		"_hci_func_download_patch_segment_qualcomm(N) segment_size=243, segment_ptr=P\n"
		"_hci_func_download_patch_segment_qualcomm(N) cmd.tol.length=245, cmd.tol.data_length=243\n"
		"_hci_func_download_patch_file_qualcomm(N) Attempt to download the patch segment(times=2, file_size=1, segment_ptr=P, segment_size=1).\n"
		"_hci_func_download_patch_segment_qualcomm(N) Start...\n"
		"_hci_func_download_patch_segment_qualcomm(N) segment_size=1, segment_ptr=P\n"
		"_hci_func_download_patch_segment_qualcomm(N) cmd.tol.length=3, cmd.tol.data_length=1\n"
		"_hci_func_download_patch_file_qualcomm(N) The patch download process is complete.\n\n");
}
