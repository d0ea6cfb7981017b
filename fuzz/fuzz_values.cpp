// SPDX-License-Identifier: BSD-2-Clause

// Values of every type, and texts of any bytes, against a plain reference.
//
// The input is a type, a number of fraction digits and eight bytes; all that follows them, and the
// whole, is a text. Asserted: a number's text is the C library's, and the getters give it by the
// rule of their width; an escaped text reads as the characters that it has, those that are none or
// may not be in the format being U+FFFD.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <jansson.h>
#include <libxml/parser.h>

#include "frame/dr_plain_text.h"
#include "frame/drend_value.h"
#include "frame/escape.h"
#include "fuzzed_daemon.h"

namespace {

__extension__ using wide_t = __int128;

// --- numbers ---

struct number_s {
    dr_value_type_t type;
    uint64_t bits;

    template <typename T>
    T as() const {
        T value;
        memcpy(&value, &bits, sizeof value);
        return value;
    }
    bool is_signed() const { return type >= DRV_INT8 && type <= DRV_INT64; }
    bool is_whole() const { return type >= DRV_INT8 && type <= DRV_UINT64; }
    unsigned width() const {
        return is_whole() ? 8U << ((type - DRV_INT8) % 4) : type == DRV_DOUBLE ? 64 : 32;
    }
    wide_t whole() const {
        const wide_t all = static_cast<wide_t>(bits) & ((wide_t{1} << width()) - 1);
        const bool is_negative = is_signed() && (all >> (width() - 1)) != 0;
        return is_negative ? all - (wide_t{1} << width()) : all;
    }
    double real() const {
        return type == DRV_FLOAT    ? static_cast<double>(as<float>())
               : type == DRV_DOUBLE ? as<double>()
                                    : static_cast<double>(whole());
    }
};

std::string print(const char* format, double number) {
    char text[512];
    snprintf(text, sizeof text, format, number);
    return text;
}

std::string text_of(const number_s& number) {
    if (number.type == DRV_BOOLEAN) {
        return number.as<uint8_t>() != 0 ? "true" : "false";
    }
    return number.type == DRV_FLOAT    ? print("%f", number.real())
           : number.type == DRV_DOUBLE ? print("%e", number.real())
           : number.is_signed() ? std::to_string(static_cast<int64_t>(number.whole()))
                                : std::to_string(static_cast<uint64_t>(number.whole()));
}

// Empty: there is none.
std::string decimal64_of(const number_s& number, unsigned digits) {
    if (number.type == DRV_BOOLEAN || digits < 1 || digits > 18) {
        return "";
    }
    const double most = std::ldexp(1, 63) / std::pow(10, digits);
    if (!(std::fabs(number.real()) <= most)) { // nor what is no number
        return "";
    }
    if (number.is_whole()) {
        return text_of(number) + "." + std::string(digits, '0');
    }
    char text[128];
    const auto end = std::to_chars(text, std::end(text), number.real(),
                                   std::chars_format::fixed, static_cast<int>(digits));
    return {text, end.ptr};
}

// A getter takes what its own type has; a signed one, any signed number that is not above its
// range and any unsigned one of its width; an unsigned one, what is in its range.
template <typename T>
bool is_taken(const number_s& number, dr_value_type_t own) {
    using limits_t = std::numeric_limits<T>;
    const wide_t most_unsigned = std::numeric_limits<std::make_unsigned_t<T>>::max();
    const wide_t whole = number.is_whole() ? number.whole() : 0;
    return number.type == own ||
           (number.is_whole() && (!limits_t::is_signed || !number.is_signed()
                                      ? whole >= 0 && whole <= most_unsigned
                                      : whole <= limits_t::max()));
}

// A value is one number, or may be taken as several of the same bits.
using numbers_t = std::initializer_list<number_s>;

template <typename T>
void check_getter(const dr_value_c& value, numbers_t numbers,
                  int (dr_value_c::*get)(T&) const, dr_value_type_t own) {
    const bool passes = std::any_of(numbers.begin(), numbers.end(), [own](const auto& one) {
        return is_taken<T>(one, own);
    });
    const wide_t whole = numbers.begin()->is_whole() ? numbers.begin()->whole() : 0;
    T found{};
    require(((value.*get)(found) == 0) == passes);
    require(!passes || found == static_cast<T>(whole));
}

void check_getters(const dr_value_c& value, numbers_t numbers) {
    check_getter(value, numbers, &dr_value_c::get_int8, DRV_INT8);
    check_getter(value, numbers, &dr_value_c::get_int16, DRV_INT16);
    check_getter(value, numbers, &dr_value_c::get_int32, DRV_INT32);
    check_getter(value, numbers, &dr_value_c::get_int64, DRV_INT64);
    check_getter(value, numbers, &dr_value_c::get_uint8, DRV_UINT8);
    check_getter(value, numbers, &dr_value_c::get_uint16, DRV_UINT16);
    check_getter(value, numbers, &dr_value_c::get_uint32, DRV_UINT32);
    check_getter(value, numbers, &dr_value_c::get_uint64, DRV_UINT64);
}

void check_number(const number_s& number, unsigned digits) {
    dr_value_c value;
    value.set_raw_value(number.type, &number.bits, sizeof number.bits);
    dr_value_c::scratch_t scratch;
    std::string_view text;
    // A double of many digits does not fit in the room for a text.
    const std::string expected = text_of(number);
    require(value.get_text(text, scratch));
    require(text == expected.substr(0, sizeof scratch - 1));
    const bool has_decimal =
        value.get_decimal64_text(text, scratch, static_cast<unsigned char>(digits));
    require((has_decimal ? std::string(text) : "") == decimal64_of(number, digits));
    check_getters(value, {number});
    require(value.is_value_zero() == (number.is_whole() && number.whole() == 0));
}

// --- texts ---

constexpr char32_t NONE = 0xFFFD;

// The character whose bytes a text begins with, and how many they are; NONE and one byte where
// there is none.
std::pair<char32_t, size_t> first_character(std::string_view text) {
    const auto byte = [&](size_t i) {
        return i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0};
    };
    const uint8_t lead = byte(0);
    const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t character = length == 1 ? lead : lead & (0x7FU >> length);
    bool is_one = lead < 0x80 || (lead >= 0xC0 && lead < 0xF8);
    for (size_t i = 1; i < length; ++i) {
        is_one = is_one && (byte(i) & 0xC0U) == 0x80;
        character = character << 6 | (byte(i) & 0x3FU);
    }
    constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    is_one = is_one && character >= least[length] && character <= 0x10FFFF &&
             (character < 0xD800 || character > 0xDFFF);
    return is_one ? std::pair(character, length) : std::pair(NONE, size_t{1});
}

// The characters of a text, one for each byte that belongs to none.
std::u32string characters_of(std::string_view text) {
    std::u32string characters;
    while (!text.empty()) {
        const auto [character, length] = first_character(text);
        characters += character;
        text.remove_prefix(length);
    }
    return characters;
}

bool is_allowed_in_xml(char32_t c) {
    return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c != 0xFFFE && c != 0xFFFF);
}

std::u32string expected_in_xml(const std::u32string& text, bool is_exact) {
    std::u32string expected;
    for (size_t i = 0; i < text.size(); ++i) {
        const char32_t c = text[i];
        const bool is_line_end = c == '\r' && !is_exact; // as a parser reads it
        if (is_line_end && i + 1 < text.size() && text[i + 1] == '\n') {
            continue;
        }
        expected += is_line_end ? U'\n' : is_allowed_in_xml(c) ? c : NONE;
    }
    return expected;
}

std::string escaped(const dri_escaper_s& escaper, const std::string& text) {
    std::string out;
    require(escaper.append(out, text, SIZE_MAX));
    std::string written(text.size() * escaper.most, '\0');
    written.resize(
        static_cast<size_t>(escaper.write(written.data(), text) - written.data()));
    require(written == out);
    return out;
}

std::u32string read_xml(const std::string& text) {
    const std::string whole = "<_>" + text + "</_>";
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
        xmlReadMemory(whole.data(), static_cast<int>(whole.size()), "text", "UTF-8",
                      XML_PARSE_NONET | XML_PARSE_HUGE),
        xmlFreeDoc);
    require(document != nullptr);
    const std::unique_ptr<xmlChar, decltype(xmlFree)> content(
        xmlNodeGetContent(xmlDocGetRootElement(document.get())), xmlFree);
    return characters_of(reinterpret_cast<const char*>(content.get()));
}

std::u32string read_json(const std::string& text) {
    const std::string whole = "[\"" + text + "\"]";
    const std::unique_ptr<json_t, void (*)(json_t*)> document(
        json_loadb(whole.data(), whole.size(), 0, nullptr), json_decref);
    require(document != nullptr);
    return characters_of(json_string_value(json_array_get(document.get(), 0)));
}

bool is_ascii(const std::string& text) {
    return std::none_of(text.begin(), text.end(), [](char c) { return c < 0; });
}

void check_text(const std::string& text) {
    dr_value_c value;
    value.set_string(text.c_str());
    dr_value_c::scratch_t scratch;
    require(value.text(scratch) == text);
    const uint64_t read = strtoull(text.c_str(), nullptr, 0);
    check_getters(value, {{DRV_INT64, read}, {DRV_UINT64, read}});
    require(value.is_value_zero() == (text == "0"));
    const bool is_plain = std::all_of(text.begin(), text.end(), [](char byte) {
        const auto c = static_cast<uint8_t>(byte);
        return dri_xml_plain_s::is_plain(c) && dri_json_plain_s::is_plain(c) &&
               dri_table_plain_s::is_plain(c);
    });
    require(!value.is_plain_text() || is_plain);

    const std::u32string characters = characters_of(text);
    const std::u32string in_xml = expected_in_xml(characters, true);
    require(read_xml(escaped(dri_xml_escaper, text)) == expected_in_xml(characters, false));
    require(read_xml(escaped(dri_exact_xml_escaper, text)) == in_xml);
    const std::string ascii = escaped(dri_ascii_xml_escaper, text);
    require(is_ascii(ascii) && read_xml(ascii) == in_xml);
    require(read_json(escaped(dri_json_escaper, text)) == characters);
    const std::string ascii_json = escaped(dri_ascii_json_escaper, text);
    require(is_ascii(ascii_json) && read_json(ascii_json) == characters);
    const std::string line = escaped(dri_table_escaper, text);
    require(std::all_of(line.begin(), line.end(), [](char c) {
        return c < 0 || dri_table_plain_s::is_plain(static_cast<uint8_t>(c));
    }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t INPUT_MAX = 1024;
    constexpr size_t HEAD = 2 + sizeof(uint64_t);
    const std::string text = text_of(data, size, INPUT_MAX);
    const auto check_from = [&text](size_t at) { // a text ends at its first NUL
        check_text(text.substr(at, text.find('\0', at) - at));
    };
    if (size >= HEAD) {
        number_s number{static_cast<dr_value_type_t>(DRV_BOOLEAN + data[0] % DRV_DOUBLE),
                        0};
        memcpy(&number.bits, data + 2, sizeof number.bits);
        check_number(number, data[1] % 20U);
        check_from(HEAD);
    }
    check_from(0);
    return 0;
}
