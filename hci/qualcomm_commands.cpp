// SPDX-License-Identifier: Apache-2.0
#include "hci/qualcomm_commands.h"

#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/exchange.h"
#include "util/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// clang-format off
/*                                     opcode  params  event */
constexpr hci_command PATCH_SEGMENT = { 0xFC00,  0,     8 }; /* as many as the segment needs */
constexpr hci_command SET_BDADDR    = { 0xFC14,  6,     8 };
// clang-format on

constexpr uint8_t PATCH_TLV_DOWNLOAD = 0x1E;
constexpr uint8_t PATCH_FIRST_BYTE = 0x02; /* the only check of a patch file's content */
constexpr long PATCH_SEGMENT_MAX = 243;

static const char *const patch_files[] = {
	"mpnv10.bin",
	"/lib/firmware/IPQ5018/mpnv10.bin",
};

int32_t _hci_func_set_bdaddr_qualcomm(const char *address)
{
	TRACE(TRACE_HCI, "Start...\n");
	if (address[0] == '\0') /* no manufacturing data: the address would be all zeros */
		return -1;

	uint8_t params[SET_BDADDR.params];
	hex_to_bytes(params, address, 12);
	const int32_t status = hci_run(SET_BDADDR, params);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

int32_t _hci_func_download_patch_segment_qualcomm(const uint8_t *segment_ptr, uint8_t segment_size)
{
	TRACE(TRACE_HCI, "Start...\n");
	TRACE(TRACE_HCI, "segment_size=%d, segment_ptr=%p\n", segment_size,
	      static_cast<const void *>(segment_ptr));

	uint8_t packet[6 + 255] = {
		0x01,
		LE16(PATCH_SEGMENT.opcode),
		static_cast<uint8_t>(segment_size + 2), /* cmd.tol.length */
		PATCH_TLV_DOWNLOAD,
		segment_size, /* cmd.tol.data_length */
	};
	memcpy(packet + 6, segment_ptr, segment_size);
	TRACE(TRACE_HCI, "cmd.tol.length=%d, cmd.tol.data_length=%d\n", packet[3], packet[5]);
	if (hci_send_command(packet, size_t{ 6 } + segment_size) != 0)
		return -1;
	const int32_t status = hci_receive(PATCH_SEGMENT, nullptr);

	if (status > 0)
		TRACE(TRACE_HCI, "HCI error code = 0x%x\n", status);
	return status;
}

/* Send the patch segment by segment: 0, or the result of the first that failed. */
static int32_t download_segments(const uint8_t *patch, long size)
{
	const uint8_t *segment_ptr = patch;

	for (int times = 1; size > 0; times++) {
		const long segment_size = size <= PATCH_SEGMENT_MAX ? size : PATCH_SEGMENT_MAX;
		TRACE_AS(
			"_hci_func_download_patch_file_qualcomm", __LINE__, TRACE_HCI_TX,
			"Attempt to download the patch segment(times=%d, file_size=%ld, segment_ptr=%p, segment_size=%d).\n",
			times, size, static_cast<const void *>(segment_ptr),
			static_cast<int>(segment_size));
		const int32_t result = _hci_func_download_patch_segment_qualcomm(
			segment_ptr, static_cast<uint8_t>(segment_size));
		if (result != 0) {
			fprintf(stderr, "WARNING: patch download failed(times=%d)!!\n", times);
			return result;
		}
		segment_ptr += segment_size;
		size -= segment_size;
	}
	return 0;
}

/* Read the whole open file: true when it is a patch, else false after a message. */
static bool read_patch(int fd, const char *path, uint8_t *patch, long size)
{
	const ssize_t length = read(fd, patch, static_cast<size_t>(size));
	if (length != size) {
		fprintf(stderr, "WARNING: can't read patch file %s (read length is %d)!!\n", path,
			static_cast<int>(length));
		return false;
	}
	TRACE_AS("_hci_func_download_patch_file_qualcomm", __LINE__, TRACE_HCI_TX,
		 "All patch data:\n");
	if (dbg_level & TRACE_HCI_TX)
		hex_dump(" ", 16, patch, static_cast<size_t>(size));
	if (size == 0 || patch[0] != PATCH_FIRST_BYTE) {
		fprintf(stderr, "WARNING: Invalid patch file %s!!\n", path);
		return false;
	}
	return true;
}

/* Find the patch file: its path and size, or an empty path. */
static const char *find_patch_file(off_t *size)
{
	struct stat info;

	for (const char *path : patch_files) {
		if (stat(path, &info) == 0) {
			*size = info.st_size;
			return path;
		}
	}
	return "";
}

int32_t _hci_func_download_patch_file_qualcomm()
{
	TRACE(TRACE_HCI, "Start...\n");

	off_t file_size = 0;
	const char *path = find_patch_file(&file_size);
	if (path[0] == '\0') {
		fprintf(stderr, "WARNING: can't find patch file %s!!\n", path);
		return -1;
	}
	/* A file whose size does not fit into a 32-bit long does not fit into memory either. */
	const long size = static_cast<long>(file_size);
	uint8_t *patch = nullptr;
	if (size == file_size)
		patch = static_cast<uint8_t *>(malloc(size > 0 ? static_cast<size_t>(size) : 1));
	if (!patch) {
		fprintf(stderr, "WARNING: can't malloc memory for patch file %s!!\n", path);
		return -1;
	}
	TRACE(TRACE_HCI_TX, "The patch file %s size is %ld\n", path, size);

	const int fd = open(path, O_RDONLY | O_NONBLOCK);
	if (fd < 0) {
		fprintf(stderr, "WARNING: can't open patch file %s!!\n", path);
		free(patch);
		return -1;
	}
	if (!read_patch(fd, path, patch, size)) {
		free(patch);
		close(fd);
		return -1;
	}
	const int32_t result = download_segments(patch, size);
	sleep_undisturbed(1500000); /* after a refused segment as well */
	TRACE(TRACE_HCI_TX, "The patch download process is complete.\n\n");
	free(patch);
	if (fd > 0) /* descriptor 0 stays open here, on purpose */
		close(fd);
	return result;
}
