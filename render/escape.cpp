#include "render/escape.h"

#include <array>
#include <cstdint>

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

// What stands for the character of `length` bytes (0: an invalid byte) at the beginning of `text`.
std::string_view xml_form(std::string_view text, unsigned length) {
    switch (text.front()) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    default:
        break;
    }
    const std::string_view character = text.substr(0, length);
    // ASCII only gets here when it is a control character; U+FFFE and U+FFFF are no characters.
    const bool forbidden =
        length <= 1 || character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";
    return forbidden ? REPLACEMENT : character;
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
    while (!text.empty()) {
        size_t plain = 0;
        while (plain < text.size() && PLAIN_IN_XML[static_cast<uint8_t>(text[plain])]) {
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
        const unsigned length = dri_utf8_length(text);
        const std::string_view form = xml_form(text, length);
        if (out.size() + form.size() > limit) {
            return false;
        }
        out += form;
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return true;
}
