// SPDX-License-Identifier: Apache-2.0
#include "client/commands/daemon_options.h"

#include "client/settings/fields.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

static bool accepts_limited(const char *text, unsigned least, unsigned most)
{
	unsigned number;

	return read_number(text, most, &number) && number >= least;
}

static bool accepts_mask(const char *text)
{
	const char *digits = strncmp(text, "0x", 2) == 0 ? text + 2 : text;
	const size_t length = strlen(digits);

	return length <= 8 && length > 0 && is_hexadecimal(digits, length);
}

static bool accepts_reset(const char *text)
{
	return strcmp(text, "hard") == 0 || strcmp(text, "soft") == 0;
}

static bool accepts_channel(const char *text)
{
	return accepts_limited(text, 0, 39);
}

static bool accepts_length(const char *text)
{
	return accepts_limited(text, 0, 37);
}

static bool accepts_pattern(const char *text)
{
	return accepts_limited(text, 0, 7);
}

static bool accepts_gap_id(const char *text)
{
	return accepts_limited(text, 0, 103);
}

static bool accepts_gap_value(const char *text)
{
	return accepts_limited(text, 0, 65534);
}

static bool accepts_address(const char *text)
{
	return strcmp(text, "by-mrd") == 0 || is_hexadecimal(text, 12);
}

static bool accepts_power_index(const char *text)
{
	return strcmp(text, "max") == 0 || accepts_limited(text, 0, 12);
}

static bool accepts_interval(const char *text)
{
	return accepts_limited(text, 100, LONGEST_INTERVAL);
}

// clang-format off
static const argument_rule mask =        { "MASK",     "a hexadecimal number of up to 8 digits", accepts_mask };
static const argument_rule reset_kind =  { "KIND",     "hard or soft",                           accepts_reset };
static const argument_rule channel =     { "CHANNEL",  "0 to 39",                                accepts_channel };
static const argument_rule length =      { "LENGTH",   "0 to 37 bytes",                          accepts_length };
static const argument_rule pattern =     { "PATTERN",  "0 to 7",                                 accepts_pattern };
static const argument_rule gap_id =      { "ID",       "0 to 103",                               accepts_gap_id };
static const argument_rule gap_value =   { "VALUE",    "0 to 65534",                             accepts_gap_value };
static const argument_rule address =     { "ADDRESS",  "12 hexadecimal digits, or by-mrd",       accepts_address };
static const argument_rule power_index = { "INDEX",    "0 to 12, or max",                        accepts_power_index };
static const argument_rule interval =    { "INTERVAL", "100 to 10240 milliseconds",              accepts_interval };

/*  option                  controller result codes       own failure                          timeout        arguments */
const daemon_option show_options[] = {
	{ "version",              false, true,  HCI_STANDARD,  nullptr,                             USUAL_TIMEOUT, {} },
	{ "mac",                  true,  true,  HCI_STANDARD,  nullptr,                             USUAL_TIMEOUT, {} },
	{ "txpower",              true,  true,  HCI_STANDARD,  nullptr,                             USUAL_TIMEOUT, {} },
	{ "gap-param",            true,  true,  HCI_TI_VENDOR, nullptr,                             USUAL_TIMEOUT, { &gap_id } },
	{},
};

const daemon_option config_options[] = {
	{ "debug-level",          false, false, HCI_STANDARD,  "HCI run failed",                    USUAL_TIMEOUT, { &mask } },
	{ "ble-reset",            false, false, HCI_TI_VENDOR, nullptr,                             RESET_TIMEOUT, { &reset_kind } },
	{ "le-receiver-test",     true,  false, HCI_STANDARD,  "(PTM_ACTION_RECEIVER) failed",      USUAL_TIMEOUT, { &channel } },
	{ "le-transmitter-test",  true,  false, HCI_STANDARD,  "(PTM_ACTION_TRANSMITTER) failed",   USUAL_TIMEOUT, { &channel, &length, &pattern } },
	{ "le-test-end",          true,  true,  HCI_STANDARD,  nullptr,                             USUAL_TIMEOUT, {} },
	{ "gap-param",            true,  false, HCI_TI_VENDOR, "func_gap_set_param() failed",       USUAL_TIMEOUT, { &gap_id, &gap_value } },
	{ "mac",                  true,  false, HCI_TI_VENDOR, "write_ble_mac() failed",            USUAL_TIMEOUT, { &address } },
	{ "txpower-index",        true,  false, HCI_TI_VENDOR, "func_ext_set_tx_power_cmd() failed", USUAL_TIMEOUT, { &power_index } },
	{ "interval",             true,  false, HCI_TI_VENDOR, "set_tgap_disc_adv_int() failed",    USUAL_TIMEOUT, { &interval } },
	{},
};

static const struct {
	const char *name;
	uint32_t mask;
} trace_categories[] = { /* bits of the daemon's mask */
	{ "hci-tx",  0x10 },
	{ "hci-rx",  0x20 },
	{ "hci",     0x30 },
	{ "ipc",     0x1000 },
	{ "uevent",  0x10000 },
	{ "log",     0x100000 },
	{ "report",  0x200000 },
	{ "flow",    0x1000000 },
	{ "warning", 0x2000000 },
	{ "on",      0x3311030 },
	{ "off",     0 },
};
// clang-format on

const daemon_option *find_option(const daemon_option *options, const char *word)
{
	for (; options->word; options++)
		if (strcmp(options->word, word) == 0)
			return options;
	return nullptr;
}

static void unknown_option(const daemon_option *options, const char *word, fault *wrong)
{
	if (word)
		set_fault(wrong, "unknown \"%.40s\": there are", word);
	else
		set_fault(wrong, "what? There are");
	for (; options->word; options++) {
		const size_t used = strlen(wrong->text);
		snprintf(wrong->text + used, sizeof(wrong->text) - used, " %s", options->word);
	}
}

static bool accept_arguments(const daemon_option *option, int argc, const char *const *argv,
			     fault *wrong)
{
	int i = 0;

	for (; option->arguments[i]; i++) {
		const argument_rule *rule = option->arguments[i];
		if (i >= argc) {
			set_fault(wrong, "%s: %s is missing; it takes %s", option->word, rule->name,
				  rule->limit);
			return false;
		}
		if (!rule->accepts(argv[i])) {
			set_fault(wrong, "%s: \"%.60s\" does not fit; %s takes %s", option->word,
				  argv[i], rule->name, rule->limit);
			return false;
		}
	}
	if (argc > i)
		set_fault(wrong, "%s: \"%.60s\" is too much", option->word, argv[i]);
	return argc == i;
}

bool task_of_option(const char *first_word, const daemon_option *options, int argc,
		    const char *const *argv, task *t, fault *wrong)
{
	const daemon_option *option = argc > 0 ? find_option(options, argv[0]) : nullptr;

	if (!option) {
		unknown_option(options, argc > 0 ? argv[0] : nullptr, wrong);
		return false;
	}
	if (!accept_arguments(option, argc - 1, argv + 1, wrong))
		return false;
	*t = {};
	t->words.word[t->words.count++] = first_word;
	for (int i = 0; i < argc; i++)
		t->words.word[t->words.count++] = argv[i];
	t->needs_controller = option->needs_controller;
	t->has_result = option->has_result;
	t->codes = option->codes;
	t->failure = option->failure;
	t->usual_timeout = option->usual_timeout;
	return true;
}

static bool add_category(const char *name, size_t name_length, uint32_t *sum)
{
	for (const auto &category : trace_categories) {
		if (strlen(category.name) == name_length &&
		    memcmp(category.name, name, name_length) == 0) {
			*sum |= category.mask;
			return true;
		}
	}
	return false;
}

static bool is_switch(const char *name, size_t name_length)
{
	return (name_length == 2 && memcmp(name, "on", 2) == 0) ||
	       (name_length == 3 && memcmp(name, "off", 3) == 0);
}

static void unknown_category(const char *name, size_t name_length, fault *wrong)
{
	set_fault(wrong, "unknown category \"%.*s\": there are", static_cast<int>(name_length),
		  name);
	for (const auto &category : trace_categories) {
		const size_t used = strlen(wrong->text);
		snprintf(wrong->text + used, sizeof(wrong->text) - used, " %s", category.name);
	}
}

bool read_trace_mask(const char *text, uint32_t *sum, fault *wrong)
{
	const bool is_list = strchr(text, ',');

	*sum = 0;
	if (strncmp(text, "0x", 2) == 0 && accepts_mask(text)) {
		*sum = static_cast<uint32_t>(strtoul(text, nullptr, 16));
		return true;
	}
	while (true) {
		const size_t name_length = strcspn(text, ",");
		if (is_list && is_switch(text, name_length)) {
			set_fault(wrong, "on and off stand alone, without a comma");
			return false;
		}
		if (!add_category(text, name_length, sum)) {
			unknown_category(text, name_length < 40 ? name_length : 40, wrong);
			return false;
		}
		if (text[name_length] == '\0')
			return true;
		text += name_length + 1;
	}
}
