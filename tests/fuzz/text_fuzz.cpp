// SPDX-License-Identifier: Apache-2.0
/* The text helpers with any text, in buffers of exactly the promised size. */
#include "tests/fuzz/fuzz.h"
#include "util/text.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

constexpr char GUARD = '\x5A';

/* A heap block of exact size, with a guard after it for builds without a sanitizer. */
class block
{
      public:
	explicit block(size_t size) : m_size(size), m_bytes(new char[size + sizeof(m_guard)])
	{
		memset(m_bytes.get(), GUARD, size + sizeof(m_guard));
	}
	~block()
	{
		must(memcmp(m_bytes.get() + m_size, m_guard, sizeof(m_guard)) == 0,
		     "nothing is written behind the buffer");
	}
	block(const block &) = delete;
	block &operator=(const block &) = delete;

	char *text()
	{
		return m_bytes.get();
	}
	uint8_t *data()
	{
		return reinterpret_cast<uint8_t *>(m_bytes.get());
	}

      private:
	static constexpr char m_guard[8] = {
		GUARD, GUARD, GUARD, GUARD, GUARD, GUARD, GUARD, GUARD
	};
	size_t m_size;
	std::unique_ptr<char[]> m_bytes;
};

/* A field may have no NUL: the block ends with it. */
static void fuzz_copy_field(const std::string &field, size_t)
{
	const std::unique_ptr<char[]> exact(new char[field.size()]);
	block text(field.size() + 1);

	memcpy(exact.get(), field.data(), field.size());
	must(copy_field(text.text(), exact.get(), field.size()) == text.text(),
	     "copy_field gives its text");
	must(field.substr(0, field.find('\0')) == text.text(), "copy_field copies up to the NUL");
}

static void fuzz_set_field(const std::string &text, size_t parameter)
{
	const size_t width = parameter + 1;
	const std::string cut = text.substr(0, text.find('\0')).substr(0, width - 1);
	block field(width);

	set_field(field.text(), width, text.c_str());
	must(cut + std::string(width - cut.size(), '\0') == std::string(field.text(), width),
	     "set_field stores the text, cut, and fills the field up");
}

static void fuzz_is_decimal_text(const std::string &text, size_t)
{
	const std::string seen = text.c_str();
	const bool all_digits = seen.find_first_not_of("0123456789") == std::string::npos;
	const int32_t number = is_decimal_text(seen.c_str());

	if (!all_digits)
		must(number == -1, "what is no number is -1");
	else if (seen.size() <= 9)
		must(number == (seen.empty() ? 0 : std::stoi(seen)), "a number is its value");
}

static int digit(char c)
{
	const char *const digits = "0123456789abcdef0123456789ABCDEF";
	const char *const at = c == '\0' ? nullptr : strchr(digits, c);

	return at ? static_cast<int>(at - digits) % 16 : -1;
}

/* Two characters as a number in base 16, with a sign or space before it, up to the first other. */
static uint8_t expected_byte(char high, char low)
{
	const int units = digit(low);

	if (digit(high) >= 0 && units >= 0)
		return static_cast<uint8_t>(digit(high) * 16 + units);
	if (digit(high) >= 0)
		return static_cast<uint8_t>(digit(high));
	if (units < 0 || high == '\0')
		return 0;
	if (high == '-')
		return static_cast<uint8_t>(-units);
	return strchr("+ \t\n\v\f\r", high) ? static_cast<uint8_t>(units) : uint8_t{ 0 };
}

static void fuzz_hex_to_bytes(const std::string &text, size_t parameter)
{
	const std::string seen = text.c_str();
	const size_t count = (parameter + 1) / 2;
	block bytes(count);

	must(hex_to_bytes(bytes.data(), seen.c_str(), static_cast<int32_t>(parameter)) == 0,
	     "hex_to_bytes gives 0");
	for (size_t i = 0; i < count; i++) {
		const char high = 2 * i < seen.size() ? seen[2 * i] : '\0';
		const char low = 2 * i + 1 < seen.size() ? seen[2 * i + 1] : '\0';
		must(bytes.data()[i] == expected_byte(high, low), "each pair is its byte");
	}
}

static void fuzz_reverse_addr_bytes(const std::string &text, size_t)
{
	std::string address = text.substr(0, 6);
	block bytes(6);

	address.resize(6);
	memcpy(bytes.text(), address.data(), 6);
	reverse_addr_bytes(bytes.data());
	must(std::string(address.rbegin(), address.rend()) == std::string(bytes.text(), 6),
	     "the address is reversed");
	reverse_addr_bytes(bytes.data());
	must(address == std::string(bytes.text(), 6), "reversed twice it is the same");
}

static void fuzz_remove_char(const std::string &text, size_t parameter)
{
	const std::string seen = text.c_str();
	const char unwanted = static_cast<char>(parameter);
	std::string expected = seen;
	block apart(seen.size() + 1);
	block same(seen.size() + 1);

	std::erase(expected, unwanted);
	remove_char(unwanted, seen.c_str(), apart.text());
	must(expected == apart.text(), "the character is gone, and no other");
	strcpy(same.text(), seen.c_str());
	remove_char(unwanted, same.text(), same.text());
	must(expected == same.text(), "in place as well");
}

static void fuzz_format_uuid_text(const std::string &text, size_t)
{
	const std::string seen = text.c_str();
	block formatted(37);
	const int32_t result = format_uuid_text(seen.c_str(), formatted.text());

	must(result == (seen.size() == 32 ? 0 : -1), "only 32 characters are taken");
	if (result != 0) {
		must(formatted.text()[0] == GUARD, "what is not taken leaves the buffer alone");
		return;
	}
	const std::string whole = formatted.text();
	std::string digits;
	for (const size_t part : { 0u, 9u, 14u, 19u, 24u })
		digits += whole.substr(part, part == 0 ? 8 : part == 24 ? 12 : 4);
	must(whole.size() == 36 && digits == seen && whole[8] == '-' && whole[13] == '-' &&
		     whole[18] == '-' && whole[23] == '-',
	     "five groups with hyphens between them");
}

static void fuzz_convert_case(const std::string &text, size_t parameter)
{
	const std::string seen = text.c_str();
	const int32_t upper = parameter & 1;
	std::string expected = seen;
	block converted(seen.size() + 1);

	for (char &c : expected) {
		if (upper && c >= 'a' && c <= 'z')
			c = static_cast<char>(c - 'a' + 'A');
		else if (!upper && c >= 'A' && c <= 'Z')
			c = static_cast<char>(c - 'A' + 'a');
	}
	strcpy(converted.text(), seen.c_str());
	convert_case(converted.text(), upper);
	must(expected == converted.text(), "letters change their case, and nothing else");
}

static void (*const helpers[])(const std::string &text, size_t parameter) = {
	fuzz_copy_field,         fuzz_set_field,   fuzz_is_decimal_text,  fuzz_hex_to_bytes,
	fuzz_reverse_addr_bytes, fuzz_remove_char, fuzz_format_uuid_text, fuzz_convert_case,
};

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	input in(data, size);
	const uint8_t which = in.byte();
	const uint8_t parameter = in.byte();
	const byte_span rest = in.rest();

	helpers[which % std::size(helpers)](std::string(rest.begin(), rest.end()), parameter);
	check_streams();
	return 0;
}
