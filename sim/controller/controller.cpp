// SPDX-License-Identifier: Apache-2.0
/* One simulated controller: command packets in, event packets and the air's new state out. */
#include "sim/controller/controller.h"

#include "sim/controller/advertising_rules.h"
#include "sim/controller/packet.h"

#include <algorithm>

namespace sim
{

// clang-format off
constexpr std::array<controller_kind, 3> controller_kinds = { {
	/* name        vendor            manufacturer  HCI version  highest TX power */
	{ "ti-06",     vendor::ti,        0x000D,        6,            3 },
	{ "ti-08",     vendor::ti,        0x000D,        8,           12 },
	{ "qualcomm",  vendor::qualcomm,  0x001D,       11,            0 },
} };
// clang-format on

constexpr uint8_t EVENT_COMMAND_COMPLETE = 0x0E;
constexpr uint8_t EVENT_COMMAND_STATUS = 0x0F;
constexpr uint8_t EVENT_VENDOR = 0xFF;
constexpr uint64_t MASK_LE_META = uint64_t{ 1 } << 61;
constexpr uint64_t MASK_ADVERTISING_REPORT = uint64_t{ 1 } << 1;
constexpr uint16_t TI_EXTENSION_EVENT = 0x0400; /* plus the low byte of the opcode */
constexpr uint16_t TI_GAP_COMMAND_STATUS = 0x067F;
constexpr uint16_t PATCH_COMMAND = 0xFC00;
constexpr uint8_t PATCH_SEGMENT = 0x1E;

controller_settings settings_of(const controller_kind &kind)
{
	return { .kind = &kind,
		 .manufacturer = kind.manufacturer,
		 .hci_version = kind.hci_version };
}

static std::array<uint16_t, GAP_PARAM_COUNT> initial_gap_params()
{
	std::array<uint16_t, GAP_PARAM_COUNT> params = {};

	params[1] = 180; /* seconds of limited advertising; general advertising has no limit */
	params[2] = params[3] = 10240;
	params[6] = params[7] = params[8] = params[9] = 160;
	params[10] = params[11] = 2048;
	params[21] = params[22] = 80;
	return params;
}

controller_state power_up_state(const controller_settings &settings)
{
	const bool is_ti = settings.kind->vendor == vendor::ti;
	controller_state state;

	/* A Qualcomm controller waits for its patch, a TI one for its GAP layer. */
	state.firmware = is_ti ? firmware::running : firmware::missing;
	state.gap_ready = !is_ti;
	state.gap_params = initial_gap_params();
	state.tx_power = settings.kind->highest_tx_power > 3 ? 7 : 2; /* both are 0 dBm */
	state.address = settings.address;
	return state;
}

std::vector<std::span<const command>> command_groups(enum vendor vendor)
{
	return { vendor == vendor::ti ? ti_commands() : qualcomm_commands(), basic_commands(),
		 advertising_commands(), scan_commands(), test_commands() };
}

const command *find_command(enum vendor vendor, uint16_t opcode)
{
	for (const auto rows : command_groups(vendor)) {
		const auto row = std::ranges::find(rows, opcode, &command::opcode);
		if (row != rows.end())
			return &*row;
	}
	return nullptr;
}

static uint8_t place_of(radio doing)
{
	switch (doing) {
	case radio::off:
		return WHEN_OFF;
	case radio::advertising:
		return WHEN_ADVERTISING;
	case radio::receiving:
		return WHEN_RECEIVING;
	case radio::transmitting:
		return WHEN_TRANSMITTING;
	}
	return 0;
}

static bool is_allowed(const command &row, const controller_state &state)
{
	if (row.allowed & NEEDS_FIRMWARE && state.firmware != firmware::running)
		return false;
	if (row.allowed & NEEDS_GAP && !state.gap_ready)
		return false;
	return row.allowed & place_of(state.doing);
}

static bytes command_complete(uint8_t credits, uint16_t opcode, const reply &answer)
{
	bytes event = { PACKET_EVENT, EVENT_COMMAND_COMPLETE,
			static_cast<uint8_t>(4 + answer.payload.size()), credits };

	append_low_first_16(event, opcode);
	event.push_back(answer.status);
	append(event, answer.payload);
	return event;
}

/* For a command without Command Complete. */
static bytes command_status(uint8_t credits, uint16_t opcode, uint8_t status)
{
	bytes event = { PACKET_EVENT, EVENT_COMMAND_STATUS, 4, status, credits };

	append_low_first_16(event, opcode);
	return event;
}

static bytes extension_done(uint16_t opcode, const reply &answer)
{
	bytes event = { PACKET_EVENT, EVENT_VENDOR,
			static_cast<uint8_t>(5 + answer.payload.size()) };

	append_low_first_16(event, static_cast<uint16_t>(TI_EXTENSION_EVENT | (opcode & 0xFF)));
	event.push_back(answer.status);
	append_low_first_16(event, opcode);
	append(event, answer.payload);
	return event;
}

static bytes gap_command_status(uint16_t opcode, const reply &answer)
{
	const auto count = static_cast<uint8_t>(answer.payload.size());
	bytes event = { PACKET_EVENT, EVENT_VENDOR, static_cast<uint8_t>(6 + count) };

	append_low_first_16(event, TI_GAP_COMMAND_STATUS);
	event.push_back(answer.status);
	append_low_first_16(event, opcode);
	event.push_back(count);
	append(event, answer.payload);
	return event;
}

/* A refusal needs all return parameters too: otherwise an analyser calls it malformed. */
static reply filled_up(const reply &answer, size_t returns)
{
	reply whole = answer;

	if (answer.status != STATUS_SUCCESS && answer.payload.empty())
		whole.payload.resize(returns);
	return whole;
}

bytes controller::first_answer(uint16_t opcode, const reply &answer) const
{
	const controller_settings &settings = m_core.settings;
	const bool is_ti = settings.kind->vendor == vendor::ti;
	const uint8_t credits = settings.quirks & QUIRK_CREDIT_0 ? 0 : 1;
	const command *const row = find_command(settings.kind->vendor, opcode);

	if (is_ti && opcode >= 0xFE00)
		return gap_command_status(opcode, answer);
	if (is_ti && opcode >= 0xFC00)
		return extension_done(opcode, answer);
	if (settings.quirks & QUIRK_LONE_STATUS)
		return command_complete(credits, opcode, answer);
	if (!row)
		return command_status(credits, opcode, answer.status);
	return command_complete(credits, opcode, filled_up(answer, row->returns));
}

controller::controller(const controller_settings &settings)
    : m_core{ .settings = settings,
	      .state = power_up_state(settings),
	      .random = std::mt19937_64(settings.seed) }
{
}

reply controller::execute(uint16_t opcode, byte_view params)
{
	const command *row = find_command(m_core.settings.kind->vendor, opcode);

	if (opcode != PATCH_COMMAND)
		m_core.state.download.open = false;
	if (!row)
		return { STATUS_UNKNOWN_COMMAND };
	if (row->params != ANY_LENGTH && static_cast<size_t>(row->params) != params.size())
		return { STATUS_BAD_PARAMETER };
	if (!is_allowed(*row, m_core.state))
		return { STATUS_WRONG_STATE };
	return row->run(m_core, params);
}

/* A TI controller has no command for patches. */
bool controller::sends_segment_event(uint16_t opcode, const reply &answer) const
{
	return m_core.settings.quirks & QUIRK_SEGMENT_EVENT && opcode == PATCH_COMMAND &&
	       find_command(m_core.settings.kind->vendor, opcode) && !answer.payload.empty() &&
	       answer.payload[0] == PATCH_SEGMENT;
}

std::vector<bytes> controller::answers(uint16_t opcode, const reply &answer) const
{
	std::vector<bytes> events;

	if (sends_segment_event(opcode, answer))
		events.push_back({ PACKET_EVENT, EVENT_VENDOR, 3, 0x00, 0x04, answer.status });
	events.push_back(first_answer(opcode, answer));
	if (answer.status == STATUS_SUCCESS)
		events.insert(events.end(), answer.further.begin(), answer.further.end());
	return events;
}

outcome controller::handle(byte_view packet)
{
	const bool is_first = !m_core.state.heard_a_command;
	const air_state air_before = air();
	outcome result;

	if (packet.size() < 4 || packet[0] != PACKET_COMMAND)
		return result;
	m_core.state.heard_a_command = true;
	if (is_first && m_core.settings.quirks & QUIRK_FIRST_UNANSWERED)
		return result;

	const uint16_t opcode = low_first_16(packet, 1);
	const reply answer = execute(opcode, packet.subspan(4));
	result.events = answers(opcode, answer);
	if (air() != air_before)
		result.air = air();

	if (answer.patch_arrived)
		result.patch = m_core.state.download.data;
	return result;
}

outcome controller::refuse(byte_view packet, uint8_t status)
{
	const bool is_segment = packet.size() > 4 && low_first_16(packet, 1) == PATCH_COMMAND;
	reply answer = { status };

	if (is_segment)
		answer.payload = { packet[4] };
	m_core.state.heard_a_command = true;
	return { .events = answers(low_first_16(packet, 1), answer) };
}

outcome controller::restart()
{
	const air_state air_before = air();
	outcome result;

	m_core.state = power_up_state(m_core.settings);
	if (air() != air_before)
		result.air = air();
	return result;
}

void controller::hear(uint32_t packets)
{
	const uint32_t total = m_core.state.received + std::min(packets, 0xFFFFu);

	if (m_core.state.doing == radio::receiving)
		m_core.state.received = static_cast<uint16_t>(std::min(total, 0xFFFFu));
}

bool controller::reports_advertisements() const
{
	return m_core.state.scan.is_on && m_core.state.event_mask & MASK_LE_META &&
	       m_core.state.le_event_mask & MASK_ADVERTISING_REPORT;
}

air_state controller::air() const
{
	const controller_state &state = m_core.state;
	air_state air = { .doing = state.doing };

	if (state.doing == radio::off)
		return air;
	air.address = state.address;
	if (state.doing == radio::advertising) {
		air.is_random_address = wants_random_address(state.own_address_type);
		if (air.is_random_address)
			air.address = state.random_address.value_or(device_address{});
		air.type = state.advertising_type;
		air.slots = state.advertising_slots;
		air.channels = state.advertising_channels;
		air.payload = state.advertising_data;
		if (is_scannable(air.type))
			air.scan_response = state.scan_response;
	} else {
		air.channel = state.test_channel;
	}
	if (state.doing == radio::transmitting) {
		air.test_length = state.test_length;
		air.test_pattern = state.test_pattern;
	}
	return air;
}

} // namespace sim
