// SPDX-License-Identifier: Apache-2.0
/* One simulated controller: command packets in, event packets and the air's new state out. */
#pragma once

#include "sim/controller/patch.h"

#include <random>

namespace sim
{

enum class vendor { ti, qualcomm };

struct controller_kind {
	const char *name;
	enum vendor vendor;
	uint16_t manufacturer;
	uint8_t hci_version;
	uint8_t highest_tx_power; /* the host's highest level */
};

extern const std::array<controller_kind, 3> controller_kinds;

// clang-format off
enum quirk : uint32_t { /* behaviour of some firmware only */
	QUIRK_CREDIT_0           = 0x01,
	QUIRK_FIRST_UNANSWERED   = 0x02,
	QUIRK_LATE_RESET         = 0x04,
	QUIRK_SWALLOW            = 0x08,
	QUIRK_LONG_DISCOVERABLE  = 0x10,
	QUIRK_ENABLE_TWICE       = 0x20,
	QUIRK_SEGMENT_EVENT      = 0x40,
	QUIRK_LONE_STATUS        = 0x80,
	QUIRK_STRAY_IGNORED      = 0x100,
};
// clang-format on

struct controller_settings {
	const controller_kind *kind = &controller_kinds[1];
	uint16_t manufacturer = 0x000D;
	uint8_t hci_version = 8;
	device_address address = { 0x01, 0x00, 0x00, 0x00, 0x00, 0x02 };
	uint16_t receiver_count = 0; /* what a receiver test counts without other simulators */
	bool strict_patch = false;
	uint32_t quirks = 0;
	uint64_t seed = 1; /* for the numbers of LE Rand */
};

controller_settings settings_of(const controller_kind &kind);

enum class radio : uint8_t { off, advertising, receiving, transmitting };

enum class firmware : uint8_t {
	missing, /* only the version, download and reset commands work */
	loading,
	loaded, /* complete; starts with the next reset */
	running,
};

/* What a receiver would notice. */
struct air_state {
	radio doing = radio::off;
	uint8_t type = 0;   /* of the advertisement: 3 is non-connectable */
	uint16_t slots = 0; /* the interval, in slots of 0.625 ms */
	device_address address = {};
	bool is_random_address = false;
	uint8_t channels = 0; /* channels of advertising: bit 0 is 37, bit 2 is 39 */
	bytes payload = {};
	bytes scan_response = {}; /* of a scannable one */
	uint8_t channel = 0;      /* of a test */
	uint8_t test_length = 0;
	uint8_t test_pattern = 0;

	bool operator==(const air_state &) const = default;
};

/* Another device: the type of its address, and the address. */
struct peer_address {
	uint8_t type;
	device_address address;

	bool operator==(const peer_address &) const = default;
};

/* How a controller listens for advertisements. */
struct scan_state {
	bool is_on = false;
	bool asks = false; /* for scan responses */
	uint16_t interval_slots = 0x0010;
	uint16_t window_slots = 0x0010;
	uint8_t own_address_type = 0;
	uint8_t filter = 0;
	bool drops_duplicates = false;
	uint32_t number = 0;                   /* a new one each time it is switched on */
	std::vector<peer_address> wanted = {}; /* the filter accept list */
};

constexpr size_t GAP_PARAM_COUNT = 104;

/* All that commands can change; a loss of power resets it. */
struct controller_state {
	radio doing = radio::off;
	enum firmware firmware = firmware::running;
	patch_download download;
	bool heard_a_command = false;
	bool gap_ready = false;
	uint8_t gap_role = 0;
	std::array<uint16_t, GAP_PARAM_COUNT> gap_params = {};
	uint8_t tx_power = 0;
	uint16_t user_revision = 0;
	device_address address = {};
	std::optional<device_address> random_address = {};
	uint64_t event_mask = 0x00001FFFFFFFFFFF;
	uint64_t le_event_mask = 0x1F;
	uint8_t advertising_type = 0;
	uint16_t advertising_slots = 0x0800;
	uint8_t advertising_channels = 0x07;
	uint8_t advertising_filter = 0;
	uint8_t own_address_type = 0;
	bytes advertising_data;
	bytes scan_response;
	scan_state scan = {};
	uint8_t test_channel = 0;
	uint8_t test_length = 0;
	uint8_t test_pattern = 0;
	uint16_t received = 0; /* packets of the receiver test */
};

/* What the commands work on: a controller and its settings. */
struct controller_core {
	controller_settings settings;
	controller_state state;
	std::mt19937_64 random;
	uint32_t scans = 0; /* the number of scans begun; kept by a reset */
};

controller_state power_up_state(const controller_settings &settings);

/* A command's result, which the dispatcher puts into events. */
struct reply {
	uint8_t status = 0;
	bytes payload = {};
	std::vector<bytes> further = {}; /* whole events that follow a successful answer */
	bool patch_arrived = false;
};

// clang-format off
enum status : uint8_t {
	STATUS_SUCCESS            = 0x00,
	STATUS_UNKNOWN_COMMAND    = 0x01,
	STATUS_GAP_BAD_PARAMETER  = 0x02, /* only of TI's GAP layer */
	STATUS_NO_MEMORY          = 0x07,
	STATUS_WRONG_STATE        = 0x0C,
	STATUS_BAD_PARAMETER      = 0x12,
	STATUS_GAP_WRONG_MODE     = 0x12, /* the same byte, of TI's GAP layer */
};

enum allowed : uint8_t { /* in which state a command is accepted */
	WHEN_OFF          = 0x01,
	WHEN_ADVERTISING  = 0x02,
	WHEN_RECEIVING    = 0x04,
	WHEN_TRANSMITTING = 0x08,
	ALWAYS            = 0x0F,
	NEEDS_FIRMWARE    = 0x10,
	NEEDS_GAP         = 0x20,
};
// clang-format on

constexpr int ANY_LENGTH = -1; /* the command checks the length itself */

/* The place of a command in the mask of supported commands. */
struct mask_place {
	uint8_t octet;
	uint8_t bit;
};

struct command {
	uint16_t opcode;
	int params; /* parameter bytes */
	uint8_t allowed;
	reply (*run)(controller_core &, byte_view params);
	const char *name;
	uint8_t returns = 0; /* bytes after the status, which a refusal needs too */
	std::optional<mask_place> place = {}; /* vendor commands have none */
};

std::span<const command> basic_commands();
std::span<const command> advertising_commands();
std::span<const command> scan_commands();
std::span<const command> test_commands();
std::span<const command> ti_commands();
std::span<const command> qualcomm_commands();

/* All commands of a vendor's controller, its own first. */
std::vector<std::span<const command>> command_groups(enum vendor vendor);

/* The row of a vendor's controller for an opcode; null for an unknown command. */
const command *find_command(enum vendor vendor, uint16_t opcode);

struct outcome {
	std::vector<bytes> events = {};
	std::optional<air_state> air = {}; /* when it has changed */
	bytes patch = {};                  /* when one is complete */
};

class controller
{
      public:
	explicit controller(const controller_settings &settings);

	/* Takes a whole command packet, indicator first. */
	outcome handle(byte_view packet);

	/* Answers a command with an error, without carrying it out. */
	outcome refuse(byte_view packet, uint8_t status);

	/* Switches the power off and on. */
	outcome restart();

	/* A receiver test receives packets. */
	void hear(uint32_t packets);

	air_state air() const;
	const scan_state &scan() const
	{
		return m_core.state.scan;
	}

	/* Whether the host has enabled reports of advertisements. */
	bool reports_advertisements() const;
	const controller_settings &settings() const
	{
		return m_core.settings;
	}

      private:
	bool sends_segment_event(uint16_t opcode, const reply &answer) const;
	std::vector<bytes> answers(uint16_t opcode, const reply &answer) const;
	bytes first_answer(uint16_t opcode, const reply &answer) const;
	reply execute(uint16_t opcode, byte_view params);

	controller_core m_core;
};

} // namespace sim
