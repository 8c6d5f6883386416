-- SPDX-License-Identifier: Apache-2.0
-- A plugin for Wireshark and tshark. It decodes the extension and GAP packets of TI's network
-- processor, Qualcomm's patch download, and beacons in advertising data.

-- Wireshark takes the manufacturer from the answer to Read Local Version Information. For a record
-- without this answer, or with another manufacturer in it, the user chooses with "Decode As".
local TI, QUALCOMM, APPLE = 0x000D, 0x001D, 0x004C
local EVENT_COMMAND_COMPLETE, EVENT_VENDOR = 0x0E, 0xFF

---- The packets: a name, and the fields in their order. Fields after a "?" may be missing.
---- Some words are no fields: a function in `special` reads what depends on earlier fields.

local ti_commands = {
	--           name                            parameters                       what the answer returns
	[0xFC01] = { "HCI Extension Set TX Power",   "power_index",                   "" },
	[0xFC0C] = { "HCI Extension Set BDADDR",     "address",                       "" },
	[0xFC1B] = { "HCI Extension Build Revision", "mode user_revision",            "user_revision revision" },
	[0xFC1D] = { "HCI Extension Reset System",   "reset_type",                    "" },
	[0xFE00] = { "GAP Device Init",              "role scan_responses irk csrk sign_counter", "" },
	[0xFE06] = { "GAP Make Discoverable",        "advertising_type initiator_type initiator channels filter", "" },
	[0xFE07] = { "GAP Update Advertising Data",  "data_type data_length advertising_data", "" },
	[0xFE08] = { "GAP End Discoverable",         "",                              "" },
	[0xFE30] = { "GAP Set Parameter",            "param value",                   "" },
	[0xFE31] = { "GAP Get Parameter",            "param ? unused",                "value" },
}

local ti_events = {
	[0x0600] = { "GAP Device Init Done",             "gap_status ? address packet_length packets irk csrk" },
	[0x0602] = { "GAP Update Advertising Data Done", "gap_status ? data_type" },
	[0x0603] = { "GAP Make Discoverable Done",       "gap_status ? interval" },
	[0x0604] = { "GAP End Discoverable Done",        "gap_status" },
	[0x067F] = { "GAP Command Status",               "gap_status opcode payload_length ? returns" },
}
-- For every extension command: 0x0400 and the low byte of the command.
local extension_done = { "HCI Extension Done", "status opcode ? returns" }
local FIRST_EXTENSION_EVENT, LAST_EXTENSION_EVENT = 0x0400, 0x04FF

local qualcomm_commands = {
	[0xFC00] = { "Patch Download", "patch_command patch_parameters", "patch_command ? patch_returns" },
	[0xFC14] = { "Set BD_ADDR",    "address",                        "unused" },
}
local patch_commands = {
	[0x19] = { "Version", "",                "product rom_build patch_version" },
	[0x1E] = { "Segment", "length segment",  "" },
}
local command_complete = "opcode status ? returns"
local patch_event = { "Patch Download Event", "event answered status" } -- some firmware sends it too
local patch_header = "kind announced total_size code_size format signature download_mode reserved " ..
	"product rom_build patch_version reserved2 entry"
local PATCH_HEADER_SIZE, PATCH_KIND = 28, 0x02

-- Types of structures in advertising data; manufacturer data begins with a company.
local AD_FLAGS, AD_MANUFACTURER = 0x01, 0xFF

local beacon_layout = "kind length uuid major minor power"
local BEACON_SIZE, BEACON_KIND, BEACON_LENGTH = 23, 0x02, 0x15

---- The names of values

local hci_status = {
	[0x00] = "Success", [0x01] = "Unknown HCI Command",
	[0x03] = "Hardware Failure", [0x07] = "Memory Capacity Exceeded",
	[0x0C] = "Command Disallowed", [0x11] = "Unsupported Feature or Parameter Value",
	[0x12] = "Invalid HCI Command Parameters", [0x1F] = "Unspecified Error",
}
local gap_status = {
	[0x00] = "Success", [0x01] = "Failure", [0x02] = "Invalid Parameter",
	[0x03] = "Invalid Task", [0x11] = "Not Available", [0x12] = "Incorrect Mode",
}
local gap_params = {
	[0] = "General discoverable timeout", [1] = "Limited discoverable timeout",
	[2] = "General discovery scan duration", [3] = "Limited discovery scan duration",
	[6] = "Limited discoverable shortest interval", [7] = "Limited discoverable longest interval",
	[8] = "General discoverable shortest interval", [9] = "General discoverable longest interval",
	[10] = "Connectable shortest interval", [11] = "Connectable longest interval",
	[21] = "Shortest connection interval", [22] = "Longest connection interval",
}
local FIRST_INTERVAL, LAST_INTERVAL, MS_OF_SLOT = 6, 11, 0.625

local revision_modes = { [0] = "Set the user's, and read", [1] = "Read" }
local reset_types = { [0] = "Hard", [1] = "Soft" }
local roles = { [0x01] = "Broadcaster", [0x02] = "Observer", [0x04] = "Peripheral", [0x08] = "Central" }
local advertising_types = {
	[0] = "Connectable undirected", [1] = "Connectable directed",
	[2] = "Scannable undirected", [3] = "Non-connectable undirected",
}
local address_types = { [0] = "Public", [1] = "Random" }
local channels = {
	[1] = "37", [2] = "38", [3] = "37, 38", [4] = "39", [5] = "37, 39", [6] = "38, 39", [7] = "37, 38, 39",
}
local filters = {
	[0] = "Scan and connect: any", [1] = "Scan: accept list; connect: any",
	[2] = "Scan: any; connect: accept list", [3] = "Scan and connect: accept list",
}
local ad_flags = { [0x06] = "General discoverable, no BR/EDR" }
local ad_types = { [AD_FLAGS] = "Flags", [AD_MANUFACTURER] = "Manufacturer specific" }
local data_types = { [0] = "Scan response", [1] = "Advertisement" }

local function names_of(rows)
	local names = {}

	for code, row in pairs(rows) do
		names[code] = row[1]
	end
	return names
end

local ti_event_names = names_of(ti_events)
for code = FIRST_EXTENSION_EVENT, LAST_EXTENSION_EVENT do
	ti_event_names[code] = extension_done[1]
end

---- The fields: the word of the layouts and of a filter, the label, the type, bytes, how, names

local HEX, DEC = base.HEX, base.DEC

local ti_fields = {
	{ "opcode",           "Command",                  "uint16", 2, HEX, names_of(ti_commands) },
	{ "event",            "Event",                    "uint16", 2, HEX, ti_event_names },
	{ "status",           "Status",                   "uint8",  1, HEX, hci_status },
	{ "power_index",      "Power index",              "uint8",  1, DEC },
	{ "address",          "Address",                  "ether",  6 },
	{ "mode",             "Mode",                     "uint8",  1, DEC, revision_modes },
	{ "user_revision",    "User's revision",          "uint16", 2, HEX },
	{ "revision",         "System's revision",        "uint16", 2, HEX },
	{ "reset_type",       "Reset",                    "uint8",  1, DEC, reset_types },
	{ "gap_status",       "Status",                   "uint8",  1, HEX, gap_status },
	{ "payload_length",   "Payload length",           "uint8",  1, DEC },
	{ "role",             "Role",                     "uint8",  1, HEX, roles },
	{ "scan_responses",   "Scan responses at most",   "uint8",  1, DEC },
	{ "irk",              "Identity resolving key",   "bytes",  16 },
	{ "csrk",             "Signature resolving key",  "bytes",  16 },
	{ "sign_counter",     "Sign counter",             "uint32", 4, DEC },
	{ "packet_length",    "Data packet length",       "uint16", 2, DEC },
	{ "packets",          "Data packets",             "uint8",  1, DEC },
	{ "advertising_type", "Advertising",              "uint8",  1, DEC, advertising_types },
	{ "initiator_type",   "Initiator's address type", "uint8",  1, DEC, address_types },
	{ "initiator",        "Initiator's address",      "ether",  6 },
	{ "channels",         "Channels",                 "uint8",  1, HEX, channels },
	{ "filter",           "Filter",                   "uint8",  1, DEC, filters },
	{ "data_type",        "Data",                     "uint8",  1, DEC, data_types },
	{ "data_length",      "Data length",              "uint8",  1, DEC },
	{ "ad_length",        "Length",                   "uint8",  1, DEC },
	{ "ad_type",          "Type",                     "uint8",  1, HEX, ad_types },
	{ "ad_flags",         "Flags",                    "uint8",  1, HEX, ad_flags },
	{ "ad_company",       "Company",                  "uint16", 2, HEX, { [APPLE] = "Apple" } },
	{ "ad_data",          "Data",                     "bytes" },
	{ "param",            "Parameter",                "uint8",  1, DEC, gap_params },
	{ "value",            "Value",                    "uint16", 2, DEC },
	{ "unused",           "Unused",                   "uint16", 2, HEX },
	{ "interval",         "Interval",                 "uint16", 2, DEC },
}

local qualcomm_fields = {
	{ "opcode",           "Command",                  "uint16", 2, HEX, names_of(qualcomm_commands) },
	{ "event",            "Event",                    "uint8",  1, HEX },
	{ "answered",         "Answer to",                "uint8",  1, HEX, { [0x04] = "Segment" } },
	{ "status",           "Status",                   "uint8",  1, HEX, hci_status },
	{ "address",          "Address",                  "ether",  6 },
	{ "unused",           "Unused",                   "uint8",  1, HEX },
	{ "patch_command",    "Patch command",            "uint8",  1, HEX, names_of(patch_commands) },
	{ "length",           "Segment length",           "uint8",  1, DEC },
	{ "data",             "Data",                     "bytes" },
	{ "kind",             "Kind",                     "uint8",  1, HEX },
	{ "announced",        "Bytes behind these",       "uint24", 3, DEC },
	{ "total_size",       "Total size",               "uint32", 4, DEC },
	{ "code_size",        "Code size",                "uint32", 4, DEC },
	{ "format",           "Format",                   "uint8",  1, DEC },
	{ "signature",        "Signature",                "uint8",  1, DEC },
	{ "download_mode",    "Download mode",            "uint8",  1, DEC },
	{ "reserved",         "Reserved",                 "uint8",  1, HEX },
	{ "product",          "Product",                  "uint16", 2, HEX },
	{ "rom_build",        "ROM build",                "uint16", 2, HEX },
	{ "patch_version",    "Patch version",            "uint16", 2, HEX },
	{ "reserved2",        "Reserved",                 "uint16", 2, HEX },
	{ "entry",            "Entry",                    "uint32", 4, HEX },
}

local beacon_fields = {
	{ "kind",             "Kind",                     "uint8",  1, HEX, { [BEACON_KIND] = "iBeacon" } },
	{ "length",           "Length",                   "uint8",  1, DEC },
	{ "uuid",             "UUID",                     "guid",   16 },
	{ "major",            "Major",                    "uint16", 2, DEC },
	{ "minor",            "Minor",                    "uint16", 2, DEC },
	{ "power",            "Measured power (dBm)",     "int8",   1, DEC },
}

-- `is_low_first`: numbers have their low byte first.
local function make_protocol(name, label, rows, is_low_first)
	local proto = Proto(name, label)
	local made = { proto = proto, is_low_first = is_low_first, fields = {} }
	local fields = {}

	for _, row in ipairs(rows) do
		local word, text, kind, bytes, as, names = table.unpack(row, 1, 6)
		local field = ProtoField[kind](name .. "." .. word, text, as, names)
		fields[#fields + 1] = field
		made.fields[word] = { field = field, bytes = bytes, kind = kind }
	end
	proto.fields = fields
	made.short = ProtoExpert.new(name .. ".short", "It ends before its fields do",
		expert.group.MALFORMED, expert.severity.WARN)
	made.long = ProtoExpert.new(name .. ".long", "There are bytes behind its fields",
		expert.group.MALFORMED, expert.severity.WARN)
	proto.experts = { made.short, made.long }
	return made
end

local ti = make_protocol("vorlin_ti", "TI network processor", ti_fields, true)
local qualcomm = make_protocol("vorlin_qualcomm", "Qualcomm controller", qualcomm_fields, true)
local beacon = make_protocol("vorlin_beacon", "iBeacon", beacon_fields, false)

---- A packet is read field by field

local function new_reader(protocol, tvb, pinfo, tree, at)
	return {
		protocol = protocol,
		tvb = tvb,
		pinfo = pinfo,
		tree = tree,
		at = at,
		items = {},
		values = {},
	}
end

local function bytes_left(reader)
	return reader.tvb:len() - reader.at
end

local function is_there(reader, count)
	if count <= bytes_left(reader) then
		return true
	end
	if not reader.is_short then
		reader.tree:add_proto_expert_info(reader.protocol.short)
		reader.is_short = true
	end
	reader.at = reader.tvb:len()
	return false
end

local function turned_address(range)
	local text = {}

	for i = 5, 0, -1 do
		text[#text + 1] = string.format("%02x", range(i, 1):uint())
	end
	return Address.ether(table.concat(text, ":"))
end

-- Only a Qualcomm controller takes its address with the most significant byte first.
local function read_field(reader, word)
	local field = reader.protocol.fields[word]
	local bytes = field.bytes or bytes_left(reader)

	if not is_there(reader, bytes) or bytes == 0 then
		return
	end
	local range = reader.tvb(reader.at, bytes)
	reader.at = reader.at + bytes
	if field.kind == "ether" and reader.protocol ~= qualcomm then
		reader.items[word] = reader.tree:add(field.field, range, turned_address(range))
	elseif field.kind:find("int") and reader.protocol.is_low_first then
		reader.items[word] = reader.tree:add_le(field.field, range)
		reader.values[word] = range:le_uint()
	else
		reader.items[word] = reader.tree:add(field.field, range)
	end
end

local special = {}

local function read_layout(reader, layout)
	for word in layout:gmatch("%S+") do
		if word == "?" and bytes_left(reader) == 0 then
			return
		elseif special[word] then
			special[word](reader)
		elseif word ~= "?" then
			read_field(reader, word)
		end
	end
end

-- The opcode in the answer decides which fields follow.
function special.returns(reader)
	local command = reader.commands[reader.values.opcode]

	if command then
		read_layout(reader, command[3])
	end
end

-- Manufacturer data after the company; returns 0 if it is no beacon.
function beacon.proto.dissector(tvb, pinfo, tree)
	if tvb:len() ~= BEACON_SIZE or tvb(0, 1):uint() ~= BEACON_KIND or
		tvb(1, 1):uint() ~= BEACON_LENGTH then
		return 0
	end
	read_layout(new_reader(beacon, tvb, pinfo, tree:add(beacon.proto, tvb()), 0), beacon_layout)
	return tvb:len()
end

-- A reader of the next `length` bytes only.
local function part_of(reader, length)
	local range = reader.tvb(reader.at, length)

	reader.at = reader.at + length
	return new_reader(reader.protocol, range:tvb(), reader.pinfo, reader.tree, 0)
end

local function read_structure(reader)
	local length = 1 + reader.tvb(reader.at, 1):uint()

	if not is_there(reader, length) then
		return
	end
	local one = part_of(reader, length)
	read_layout(one, "ad_length ad_type")
	if one.values.ad_type == AD_FLAGS and bytes_left(one) == 1 then
		read_field(one, "ad_flags")
	elseif one.values.ad_type == AD_MANUFACTURER and bytes_left(one) >= 2 then
		read_field(one, "ad_company")
	end
	if one.values.ad_company == APPLE and bytes_left(one) > 0 and
		beacon.proto.dissector(one.tvb(one.at):tvb(), one.pinfo, one.tree) > 0 then
		return
	end
	read_field(one, "ad_data")
end

-- Wireshark's own dissector for this needs data that Lua cannot pass.
function special.advertising_data(reader)
	local length = reader.values.data_length

	if not length or length == 0 or not is_there(reader, length) then
		return
	end
	local data = part_of(reader, length)
	while bytes_left(data) > 0 and data.tvb(data.at, 1):uint() > 0 do
		read_structure(data)
	end
	read_field(data, "ad_data") -- an empty structure ends the list early
end

local function read_slots(reader, word)
	read_field(reader, word)
	if reader.items[word] then
		reader.items[word]:append_text(string.format(" (%g ms)", reader.values[word] * MS_OF_SLOT))
	end
end

function special.interval(reader)
	read_slots(reader, "interval")
end

function special.value(reader)
	local param = reader.values.param or 0

	if param >= FIRST_INTERVAL and param <= LAST_INTERVAL then
		read_slots(reader, "value")
	else
		read_field(reader, "value")
	end
end

local function read_patch(reader, column)
	local command = patch_commands[reader.values.patch_command]

	if command then
		read_layout(reader, command[column])
	end
end

function special.patch_parameters(reader) read_patch(reader, 2) end
function special.patch_returns(reader) read_patch(reader, 3) end

-- The first segment begins with the header of the file, which has the length twice.
local function begins_patch(tvb)
	return tvb:len() >= PATCH_HEADER_SIZE and tvb(0, 1):uint() == PATCH_KIND and
		tvb(1, 3):le_uint() == tvb(4, 4):le_uint()
end

function special.segment(reader)
	local length = reader.values.length

	if not length or length == 0 or not is_there(reader, length) then
		return
	end
	local segment = part_of(reader, length)
	if begins_patch(segment.tvb) then
		read_layout(segment, patch_header)
	end
	read_field(segment, "data")
end

-- Set the line in the list of packets, and report bytes that are left.
local function finish(reader, verb, name)
	local status = reader.values.status or reader.values.gap_status or 0
	local text = name .. (status ~= 0 and string.format(", status 0x%02X", status) or "")

	if bytes_left(reader) > 0 then
		reader.tree:add_proto_expert_info(reader.protocol.long)
	end
	reader.tree:append_text(": " .. text)
	reader.pinfo.cols.info:set(verb .. " " .. text)
	return reader.tvb:len()
end

---- Wireshark calls these without the H4 indicator; 0 leaves the packet to Wireshark

local event_code = Field.new("bthci_evt.code")

-- One opcode has several patch commands: "Patch Download Segment".
local function command_name(reader, row)
	local patch_command = patch_commands[reader.values.patch_command]

	return patch_command and row[1] .. " " .. patch_command[1] or row[1]
end

local function read_command(protocol, commands, tvb, pinfo, tree)
	local row = tvb:len() >= 3 and commands[tvb(0, 2):le_uint()]

	if not row then
		return 0
	end
	local reader = new_reader(protocol, tvb, pinfo, tree:add(protocol.proto, tvb()), 0)
	read_field(reader, "opcode")
	reader.at = 3 -- Wireshark itself shows the length
	read_layout(reader, row[2])
	return finish(reader, "Sent", command_name(reader, row))
end

local function ti_event(code)
	if code >= FIRST_EXTENSION_EVENT and code <= LAST_EXTENSION_EVENT then
		return extension_done
	end
	return ti_events[code]
end

-- Add the command that an event answers, if the event names one.
local function with_command(reader, name)
	local command = reader.commands[reader.values.opcode]

	return command and name .. " (" .. command_name(reader, command) .. ")" or name
end

function ti.proto.dissector(tvb, pinfo, tree)
	if not event_code() then
		return read_command(ti, ti_commands, tvb, pinfo, tree)
	end
	local row = tvb:len() >= 5 and tvb(0, 1):uint() == EVENT_VENDOR and ti_event(tvb(2, 2):le_uint())
	if not row then
		return 0
	end
	local reader = new_reader(ti, tvb, pinfo, tree:add(ti.proto, tvb()), 2)
	reader.commands = ti_commands
	read_field(reader, "event")
	read_layout(reader, row[2])
	return finish(reader, "Rcvd", with_command(reader, row[1]))
end

local function read_command_complete(tvb, pinfo, tree)
	if tvb:len() < 6 or not qualcomm_commands[tvb(3, 2):le_uint()] then
		return 0
	end
	local reader = new_reader(qualcomm, tvb, pinfo, tree:add(qualcomm.proto, tvb()), 3)
	reader.commands = qualcomm_commands
	read_layout(reader, command_complete)
	return finish(reader, "Rcvd", with_command(reader, "Command Complete"))
end

function qualcomm.proto.dissector(tvb, pinfo, tree)
	if not event_code() then
		return read_command(qualcomm, qualcomm_commands, tvb, pinfo, tree)
	end
	local code = tvb(0, 1):uint()
	if code == EVENT_COMMAND_COMPLETE then
		return read_command_complete(tvb, pinfo, tree)
	elseif code ~= EVENT_VENDOR then
		return 0
	end
	local reader = new_reader(qualcomm, tvb, pinfo, tree:add(qualcomm.proto, tvb()), 2)
	read_layout(reader, patch_event[2])
	return finish(reader, "Rcvd", patch_event[1])
end

local manufacturers = DissectorTable.get("bluetooth.vendor")
manufacturers:add(TI, ti.proto)
manufacturers:add(QUALCOMM, qualcomm.proto)
DissectorTable.get("btcommon.eir_ad.manufacturer_company_id"):add(APPLE, beacon.proto)

local decode_as = DissectorTable.get("bthci_cmd.vendor")
decode_as:add_for_decode_as(ti.proto)
decode_as:add_for_decode_as(qualcomm.proto)
