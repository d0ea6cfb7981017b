#include "render/escape.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD

// Bytes that stand for themselves in XML character data: printable ASCII but for the three
// characters of markup, and the white space that XML allows.
constexpr auto PLAIN_IN_XML = [] {
    std::array<bool, 256> plain{};
    for (unsigned c = 0x20; c < 0x80; ++c) {
        plain[c] = c != '&' && c != '<' && c != '>';
    }
    plain['\t'] = plain['\n'] = plain['\r'] = true;
    return plain;
}();

// The same inside a JSON string.
constexpr auto PLAIN_IN_JSON = [] {
    std::array<bool, 256> plain{};
    for (unsigned c = 0x20; c < 0x80; ++c) {
        plain[c] = c != '"' && c != '\\';
    }
    return plain;
}();

// What one lead byte demands: the sequence's length and the range of its second byte, which rules
// out overlong forms, surrogates and what lies beyond U+10FFFF.
struct lead_s {
    unsigned length;
    uint8_t second_min;
    uint8_t second_max;
};

lead_s classify_lead(uint8_t lead) {
    if (lead < 0x80) {
        return {1, 0, 0};
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return {2, 0x80, 0xBF};
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        const uint8_t lowest = lead == 0xE0 ? 0xA0 : 0x80;
        const uint8_t highest = lead == 0xED ? 0x9F : 0xBF;
        return {3, lowest, highest};
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const uint8_t lowest = lead == 0xF0 ? 0x90 : 0x80;
        const uint8_t highest = lead == 0xF4 ? 0x8F : 0xBF;
        return {4, lowest, highest};
    }
    return {0, 0, 0};
}

// What stands for one character that is not plain. `length` is that of its UTF-8 sequence, 0 for an
// invalid byte; `scratch` has room for a numbered escape.
using char_form_t = std::string_view (*)(std::string_view character, unsigned length,
                                         char (&scratch)[8]);

std::string_view xml_form(std::string_view character, unsigned length, char (&)[8]) {
    switch (character.front()) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    default:
        break;
    }
    // ASCII only gets here when it is a control character; U+FFFE and U+FFFF are no characters.
    const bool forbidden =
        length <= 1 || character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";
    return forbidden ? REPLACEMENT : character;
}

std::string_view json_form(std::string_view character, unsigned length,
                           char (&scratch)[8]) {
    switch (character.front()) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\b':
        return "\\b";
    case '\f':
        return "\\f";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        break;
    }
    if (length == 1) {
        snprintf(scratch, sizeof scratch, "\\u%04x",
                 static_cast<unsigned>(character.front()));
        return scratch;
    }
    return length == 0 ? REPLACEMENT : character;
}

bool append_escaped(std::string& out, std::string_view text, size_t limit,
                    const std::array<bool, 256>& is_plain, char_form_t form_of) {
    while (!text.empty()) {
        size_t plain = 0;
        while (plain < text.size() && is_plain[static_cast<uint8_t>(text[plain])]) {
            ++plain;
        }
        const size_t room = limit - out.size();
        out.append(text.data(), plain < room ? plain : room);
        if (plain > room) {
            return false;
        }
        text.remove_prefix(plain);
        if (text.empty()) {
            break;
        }
        char scratch[8];
        const unsigned length = dri_utf8_length(text);
        const unsigned taken = length == 0 ? 1 : length;
        const std::string_view form = form_of(text.substr(0, taken), length, scratch);
        if (out.size() + form.size() > limit) {
            return false;
        }
        out += form;
        text.remove_prefix(taken);
    }
    return true;
}

} // namespace

unsigned dri_utf8_length(std::string_view text) {
    const lead_s lead = classify_lead(static_cast<uint8_t>(text[0]));
    if (lead.length <= 1) {
        return lead.length;
    }
    if (text.size() < lead.length) {
        return 0;
    }
    const auto second = static_cast<uint8_t>(text[1]);
    if (second < lead.second_min || second > lead.second_max) {
        return 0;
    }
    for (unsigned i = 2; i < lead.length; ++i) {
        if ((static_cast<uint8_t>(text[i]) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return lead.length;
}

bool dri_append_xml_escaped(std::string& out, std::string_view text, size_t limit) {
    return append_escaped(out, text, limit, PLAIN_IN_XML, xml_form);
}

bool dri_append_json_escaped(std::string& out, std::string_view text, size_t limit) {
    return append_escaped(out, text, limit, PLAIN_IN_JSON, json_form);
}
