// SPDX-License-Identifier: Apache-2.0
#include "client/settings/payload.h"

#include "client/settings/fields.h"

#include <cstdlib>
#include <cstring>

constexpr uint8_t UNSET_POWER = 0xC8; /* -56 dBm */

// clang-format off
enum : size_t { /* offsets in the payload */
	AT_PREFIX = 0,
	AT_UUID   = 9,
	AT_MAJOR  = 25,
	AT_MINOR  = 27,
	AT_POWER  = 29,
};
// clang-format on

static void put_hexadecimal(uint8_t *out, size_t size, const char *field, size_t width)
{
	char text[FIELD_TEXT];

	bounded_text(field, width, text);
	for (size_t i = 0; i < size && 2 * i < strlen(text); i++) {
		const char pair[] = { text[2 * i], text[2 * i + 1], '\0' };
		out[i] = static_cast<uint8_t>(strtol(pair, nullptr, 16));
	}
}

static void put_16_bits(uint8_t *out, const char *field, size_t width)
{
	char text[FIELD_TEXT];
	const long number = strtol(bounded_text(field, width, text), nullptr, 10);

	out[0] = static_cast<uint8_t>(number >> 8);
	out[1] = static_cast<uint8_t>(number);
}

static bool take_power(uint8_t *out, const char *field, size_t width)
{
	char text[FIELD_TEXT];

	if (strcmp(bounded_text(field, width, text), "NONE") == 0)
		return false;
	*out = static_cast<uint8_t>(strtol(text, nullptr, 10));
	return true;
}

beacon_payload payload_of(const ble_record *record, const beacon_entry *entry)
{
	beacon_payload payload = {};
	uint8_t *bytes = payload.bytes;

	put_hexadecimal(bytes + AT_PREFIX, AT_UUID - AT_PREFIX, entry->prefix,
			sizeof(entry->prefix));
	put_hexadecimal(bytes + AT_UUID, AT_MAJOR - AT_UUID, entry->uuid, sizeof(entry->uuid));
	put_16_bits(bytes + AT_MAJOR, entry->major, sizeof(entry->major));
	put_16_bits(bytes + AT_MINOR, entry->minor, sizeof(entry->minor));
	if (!take_power(bytes + AT_POWER, entry->measured_power, sizeof(entry->measured_power)) &&
	    !take_power(bytes + AT_POWER, record->measured_power, sizeof(record->measured_power)))
		bytes[AT_POWER] = UNSET_POWER;
	return payload;
}

static unsigned big_endian(const uint8_t *bytes)
{
	return static_cast<unsigned>(bytes[0] << 8 | bytes[1]);
}

unsigned payload_major(const beacon_payload *payload)
{
	return big_endian(payload->bytes + AT_MAJOR);
}

unsigned payload_minor(const beacon_payload *payload)
{
	return big_endian(payload->bytes + AT_MINOR);
}

int payload_power(const beacon_payload *payload)
{
	return static_cast<int8_t>(payload->bytes[AT_POWER]);
}

static void print_bytes(FILE *out, const uint8_t *bytes, size_t size, const char *between)
{
	for (size_t i = 0; i < size; i++)
		fprintf(out, "%s%02X", i ? between : "", bytes[i]);
}

void print_payload(FILE *out, const beacon_payload *payload)
{
	print_bytes(out, payload->bytes, PAYLOAD_SIZE, "");
}

struct payload_part {
	size_t offset;
	size_t size;
	const char *meaning;
};

// clang-format off
static const payload_part beacon_parts[] = { /* for an iBeacon prefix */
	{  0, 3, "flags: general discoverable, no BR/EDR" },
	{  3, 2, "26 bytes of manufacturer data follow" },
	{  5, 2, "company 0x004C, low byte first" },
	{  7, 2, "a proximity beacon, 21 bytes" },
	{},
};

static const payload_part unknown_parts[] = {
	{  0, 9, "prefix of this entry's own" },
	{},
};
// clang-format on

static void explain_part(FILE *out, const beacon_payload *payload, size_t offset, size_t size,
			 const char *meaning)
{
	fprintf(out, "%2zu  ", offset);
	print_bytes(out, payload->bytes + offset, size, " ");
	fprintf(out, "%*s  %s", static_cast<int>(size < 9 ? 27 - 3 * size : 0), "", meaning);
}

static void explain_prefix(FILE *out, const beacon_payload *payload)
{
	static const uint8_t usual[] = { 2, 1, 6, 0x1A, 0xFF, 0x4C, 0, 2, 0x15 };
	const bool is_usual = memcmp(payload->bytes, usual, sizeof(usual)) == 0;

	for (const payload_part *part = is_usual ? beacon_parts : unknown_parts; part->meaning;
	     part++) {
		explain_part(out, payload, part->offset, part->size, part->meaning);
		fputc('\n', out);
	}
}

void explain_payload(FILE *out, const beacon_payload *payload)
{
	explain_prefix(out, payload);
	explain_part(out, payload, AT_UUID, 8, "UUID\n");
	explain_part(out, payload, AT_UUID + 8, 8, "UUID, continued\n");
	explain_part(out, payload, AT_MAJOR, 2, "major ");
	fprintf(out, "%u\n", payload_major(payload));
	explain_part(out, payload, AT_MINOR, 2, "minor ");
	fprintf(out, "%u\n", payload_minor(payload));
	explain_part(out, payload, AT_POWER, 1, "measured power ");
	fprintf(out, "%d dBm at one metre\n", payload_power(payload));
}
