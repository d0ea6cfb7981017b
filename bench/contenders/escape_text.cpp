// SPDX-License-Identifier: BSD-2-Clause

#include "bench/contenders/escape_text.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

using special_t = std::array<bool, 256>;

constexpr special_t make_special(std::string_view marks,
                                 std::string_view allowed_controls) {
    special_t special{};
    for (size_t c = 0; c < 0x20; ++c) {
        special[c] = allowed_controls.find(static_cast<char>(c)) == std::string_view::npos;
    }
    for (const char c : marks) {
        special[static_cast<uint8_t>(c)] = true;
    }
    return special;
}

constexpr special_t SPECIAL_IN_XML = make_special("&<>", "\t\n\r");
constexpr special_t SPECIAL_IN_JSON = make_special("\"\\", "");

size_t plain_length(std::string_view text, const special_t& special) {
    size_t length = 0;
    while (length < text.size() && !special[static_cast<uint8_t>(text[length])]) {
        ++length;
    }
    return length;
}

void append_xml_special(std::string& out, char c) {
    switch (c) {
    case '&':
        out += "&amp;";
        break;
    case '<':
        out += "&lt;";
        break;
    case '>':
        out += "&gt;";
        break;
    default:
        out += "\xEF\xBF\xBD";
        break;
    }
}

void append_json_special(std::string& out, char c) {
    if (c == '"' || c == '\\') {
        out += '\\';
        out += c;
        return;
    }
    char code[8];
    snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
    out += code;
}

template <class AppendSpecial>
void append_text(std::string& out, std::string_view text, const special_t& special,
                 AppendSpecial append_special) {
    for (;;) {
        const size_t plain = plain_length(text, special);
        out.append(text.data(), plain);
        if (plain == text.size()) {
            return;
        }
        append_special(out, text[plain]);
        text.remove_prefix(plain + 1);
    }
}

template <class Append>
const char* text_of(const char* text, const special_t& special, std::string& scratch,
                    Append append) {
    const std::string_view whole = text;
    if (plain_length(whole, special) == whole.size()) {
        return text;
    }
    scratch.clear();
    append(scratch, whole);
    return scratch.c_str();
}

} // namespace

void append_xml_text(std::string& out, std::string_view text) {
    append_text(out, text, SPECIAL_IN_XML, append_xml_special);
}

void append_json_text(std::string& out, std::string_view text) {
    append_text(out, text, SPECIAL_IN_JSON, append_json_special);
}

const char* xml_text(const char* text, std::string& scratch) {
    return text_of(text, SPECIAL_IN_XML, scratch, append_xml_text);
}

const char* json_text(const char* text, std::string& scratch) {
    return text_of(text, SPECIAL_IN_JSON, scratch, append_json_text);
}
