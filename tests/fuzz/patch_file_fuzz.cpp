// SPDX-License-Identifier: Apache-2.0
/* The patch file and its download: any content, any size that stat may report, any answers. */
#include "daemon/bleipc.h"
#include "daemon/signals.h"
#include "daemon/trace.h"
#include "hci/qualcomm_commands.h"
#include "hci/serial.h"
#include "tests/fuzz/fake_system.h"
#include "tests/unit/fakes/fake_clock.h"

#include <algorithm>
#include <cstring>
#include <vector>

constexpr size_t SEGMENT_MAX = 243;
constexpr size_t PATTERN_MAX = 1000; /* more segments find nothing new */

static ble_segment segment;

/* Answers each segment as the input says: with success, an error, or not at all. */
struct controller {
	input script;
	std::vector<uint8_t> line = {};
	byte_span left = {}; /* of the file */
	size_t segments = 0;
	int32_t last_status = 0; /* the daemon's expected result for the last answer */

	void take_segment(byte_span packet);
	void answer();
};

void controller::take_segment(byte_span packet)
{
	must(last_status == 0, "nothing follows a refused segment");
	must(packet.size() > 6 && packet[0] == 0x01 && packet[1] == 0x00 && packet[2] == 0xFC &&
		     packet[3] == packet.size() - 4 && packet[4] == 0x1E &&
		     packet[5] == packet.size() - 6,
	     "a segment is one whole packet");
	const byte_span part = packet.subspan(6);
	must(part.size() == std::min(SEGMENT_MAX, left.size()) &&
		     memcmp(part.data(), left.data(), part.size()) == 0,
	     "the segments are the file, in order");
	left = left.subspan(part.size());
	segments++;
}

void controller::answer()
{
	const uint8_t how = script.byte();

	line.clear();
	if (how < 0xE0) {
		line = { 0x04, 0x0E, 0x05, 0x01, 0x00, 0xFC, 0x00, 0x1E };
		if (how >= 0xC0)
			line[6] = script.byte();
		last_status = line[6];
	} else if (how < 0xF0) {
		line = { 0x04, 0xFF, 0x03, 0x00, 0x04, script.byte() };
		last_status = line[5];
	} else {
		last_status = -1; /* the event ends before its announced length */
		line = { 0x04, 0x0E, 0x7F };
		const byte_span some = script.take(how & 0x0F);
		line.insert(line.end(), some.begin(), some.end());
	}
	fake.line = line;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	input in(data, size);
	const uint8_t how = in.byte();
	const int larger = static_cast<int8_t>(in.byte()); /* stat's size beyond the file's */
	fake_system_clear();
	fake_sleeps.clear();
	fake.single = in.byte();
	controller chip = { input(in.take(in.byte())) };
	/* A long file repeats a few bytes. */
	const byte_span pattern = in.take(PATTERN_MAX);
	std::vector<uint8_t> file;
	for (int times = how & 0x08 ? 16 : 1; times > 0; times--)
		file.insert(file.end(), pattern.begin(), pattern.end());

	fake.patch = file;
	fake.patch_missing = (how & 0x70) == 0x10;
	fake.patch_unreadable = (how & 0x70) == 0x20;
	fake.line_refuses = (how & 0x70) == 0x30;
	const auto lied = static_cast<ptrdiff_t>(file.size()) + larger;
	fake.patch_size = lied < 0 ? 0 : static_cast<size_t>(lied);
	fake.heard = [&](byte_span packet) {
		chip.take_segment(packet);
		chip.answer();
	};
	chip.left = fake.patch.first(std::min(file.size(), fake.patch_size));
	const size_t announced = (chip.left.size() + SEGMENT_MAX - 1) / SEGMENT_MAX;
	const bool is_usable = !fake.patch_missing && !fake.patch_unreadable &&
			       fake.patch_size <= file.size() && fake.patch_size > 0 &&
			       file[0] == 0x02;

	sigemptyset(&ble_sig_set);
	ble_config = &segment.config;
	ble_config->opt.status = BLE_STATUS_UNCONFIRMED;
	ble_fd = FAKE_LINE;
	dbg_level = how == 0xF7 ? uint32_t{ TRACE_HCI } : 0;

	const int32_t result = _hci_func_download_patch_file_qualcomm();
	must(fake.open_files == 0, "the file is closed");
	must(fake_sleeps ==
		     (is_usable ? std::vector<unsigned>{ 1500000 } : std::vector<unsigned>{}),
	     "the controller gets its time to settle after each download");
	if (!is_usable || fake.line_refuses) {
		must(result == -1 && chip.segments == 0, "without file or line nothing is sent");
	} else {
		must(result == chip.last_status, "the last answer is the result");
		must(result != 0 || chip.segments == announced, "success is the whole file");
	}
	check_streams();
	return 0;
}
