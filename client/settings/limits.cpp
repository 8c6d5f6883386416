// SPDX-License-Identifier: Apache-2.0
#include "client/settings/limits.h"

#include "client/settings/controller_info.h"
#include "client/settings/fields.h"
#include "client/settings/started.h"

#include <cstring>

struct controller_limits {
	const char *kind;
	bool has_gap_params;
	bool keeps_address;    /* at a soft reset, which the daemon does not send to it */
	unsigned power_levels; /* 0: it has no power index */
};

// clang-format off
static const controller_limits controllers[] = {
	{ "ti-06",    true,  false,  4 },
	{ "ti-08",    true,  true,  13 },
	{ "qualcomm", false, false,  0 },
};
// clang-format on

/* Null while no controller is usable. */
static const controller_limits *limits_of(const ble_segment *segment)
{
	controller_info info;

	if (!read_controller(segment, &info))
		return nullptr;
	for (const controller_limits &row : controllers)
		if (strcmp(row.kind, info.kind) == 0)
			return &row;
	return nullptr;
}

bool has_option(const ble_segment *segment, const char *option, fault *wrong)
{
	const controller_limits *limits = limits_of(segment);
	const bool lacks_params =
		limits && !limits->has_gap_params && strcmp(option, "gap-param") == 0;
	const bool lacks_index =
		limits && limits->power_levels == 0 && strcmp(option, "txpower-index") == 0;

	if (!lacks_params && !lacks_index)
		return true;
	set_fault(wrong, "it would have no effect: a %s controller has no %s", limits->kind,
		  lacks_params ? "GAP parameters" : "transmit power index");
	return false;
}

bool needs_hard_reset(const ble_segment *segment, pid_t daemon)
{
	const controller_limits *limits = limits_of(segment);
	const char *mac = segment->config.mac;

	return limits && limits->keeps_address && strncmp(mac, "NONE", sizeof("NONE")) == 0 &&
	       setting_differs(segment, daemon, "mac");
}

void print_undecided(FILE *out, const ble_record *record)
{
	char text[FIELD_TEXT];
	unsigned level;
	const char *comma = "";

	bounded_text(record->power_index, sizeof(record->power_index), text);
	if (!read_number(text, 255, &level))
		return;
	fprintf(out, "the controller decides: power-index %u (", level);
	for (const controller_limits &row : controllers) {
		fprintf(out, "%s%s %s", comma, row.kind,
			row.power_levels == 0      ? "has none"
			: level < row.power_levels ? "takes it"
						   : "does not");
		comma = ", ";
	}
	fputs(")\n", out);
}

bool takes_settings(const ble_segment *segment, const ble_record *before, const ble_record *after,
		    fault *wrong)
{
	const controller_limits *limits = limits_of(segment);
	char text[FIELD_TEXT];
	unsigned level;

	if (!limits ||
	    memcmp(before->power_index, after->power_index, sizeof(after->power_index)) == 0)
		return true;
	bounded_text(after->power_index, sizeof(after->power_index), text);
	if (limits->power_levels == 0)
		set_fault(wrong, "power-index would have no effect: a %s controller has none",
			  limits->kind);
	else if (read_number(text, 255, &level) && level >= limits->power_levels)
		set_fault(wrong, "power-index: a %s controller takes 0 to %u, or max, not %u",
			  limits->kind, limits->power_levels - 1, level);
	else
		return true;
	return false;
}
