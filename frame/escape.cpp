// SPDX-License-Identifier: BSD-2-Clause

// Escaping while copying: each byte is looked at once and written once.
//
// The formats differ in which characters stand for themselves and in how the others are
// written, and share the rest as a template.
#include "frame/escape.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "frame/dr_copy.h"
#include "frame/dr_plain_text.h"

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD

// Room for the escape of one character.
using scratch_t = char[16];

struct xml_s : dri_xml_plain_s {
    static std::string_view form(std::string_view character, unsigned length,
                                 scratch_t& scratch);
    static std::string_view number(char32_t character, scratch_t& scratch);
};

struct exact_xml_s : xml_s {
    static bool is_plain(uint8_t c) { return c != '\r' && xml_s::is_plain(c); }
    static std::string_view form(std::string_view character, unsigned length,
                                 scratch_t& scratch) {
        return character == "\r" ? "&#xD;" : xml_s::form(character, length, scratch);
    }
};

struct json_s : dri_json_plain_s {
    static std::string_view form(std::string_view character, unsigned length,
                                 scratch_t& scratch);
    static std::string_view number(char32_t character, scratch_t& scratch);
};

// Another format, with numbers for the characters outside ASCII.
template <typename Format>
struct ascii_s : Format {
    static std::string_view form(std::string_view character, unsigned length,
                                 scratch_t& scratch) {
        const std::string_view form = Format::form(character, length, scratch);
        const auto lead = static_cast<uint8_t>(form.front());
        if (lead < 0x80) {
            return form;
        }
        char32_t number = lead & (0x7FU >> form.size());
        for (const char c : form.substr(1)) {
            number = (number << 6) | (static_cast<uint8_t>(c) & 0x3FU);
        }
        return Format::number(number, scratch);
    }
};

struct table_s : dri_table_plain_s {
    static std::string_view form(std::string_view character, unsigned length,
                                 scratch_t& scratch);
};

// How many bytes at the beginning of `text` are plain.
template <typename Format>
size_t plain_length(std::string_view text) {
    size_t length = 0;
    while (length + DRI_BLOCK <= text.size() &&
           !dri_has_any(Format::suspects(dri_load_block(text.data() + length)))) {
        length += DRI_BLOCK;
    }
    while (length < text.size() && Format::is_plain(static_cast<uint8_t>(text[length]))) {
        ++length;
    }
    return length;
}

// --- other characters -------------------------------------------------------------------------

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
std::string_view xml_s::form(std::string_view character, unsigned length, scratch_t&) {
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

std::string_view xml_s::number(char32_t character, scratch_t& scratch) {
    snprintf(scratch, sizeof scratch, "&#x%X;", static_cast<unsigned>(character));
    return scratch;
}

std::string_view json_s::form(std::string_view character, unsigned length,
                              scratch_t& scratch) {
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

// In UTF-16, which takes two numbers for what lies beyond its first plane.
std::string_view json_s::number(char32_t character, scratch_t& scratch) {
    const auto c = static_cast<unsigned>(character);
    if (c < 0x10000) {
        snprintf(scratch, sizeof scratch, "\\u%04x", c);
    } else {
        snprintf(scratch, sizeof scratch, "\\u%04x\\u%04x", 0xD7C0 + (c >> 10),
                 0xDC00 + (c & 0x3FFU));
    }
    return scratch;
}

// Controls of the second set (U+0080 to U+009F), ends of lines and paragraphs (U+2028, U+2029), and
// what embeds, overrides or isolates a direction of writing (U+061C, U+202A to U+202E, U+2066 to
// U+2069).
bool steers_terminal(std::string_view character) {
    if (character.size() == 2) {
        return (character[0] == '\xC2' && static_cast<uint8_t>(character[1]) < 0xA0) ||
               character == "\xD8\x9C";
    }
    const bool may_be = character.size() == 3 && character[0] == '\xE2';
    const auto last = static_cast<uint8_t>(character.back());
    return may_be && ((character[1] == '\x80' && last >= 0xA8 && last <= 0xAE) ||
                      (character[1] == '\x81' && last >= 0xA6 && last <= 0xA9));
}

std::string_view table_s::form(std::string_view character, unsigned length, scratch_t&) {
    switch (character.front()) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return length <= 1 || steers_terminal(character) ? REPLACEMENT : character;
    }
}

// --- whole values -------------------------------------------------------------------------------

// Room for everything that comes.
struct unlimited_out_s {
    char* at;
    template <typename Format>
    bool take_plain(std::string_view& text) {
        const size_t plain = plain_length<Format>(text);
        at = dri_copy_text(at, text.substr(0, plain));
        text.remove_prefix(plain);
        return true;
    }
    bool put(std::string_view text) {
        memcpy(at, text.data(), text.size());
        at += text.size();
        return true;
    }
};

struct limited_out_s {
    std::string& text_;
    size_t limit;
    // As much of it as there is room for.
    template <typename Format>
    bool take_plain(std::string_view& text) {
        const size_t plain = plain_length<Format>(text);
        const size_t room = limit - text_.size();
        text_.append(text.data(), plain < room ? plain : room);
        text.remove_prefix(plain);
        return plain <= room;
    }
    // All of it, or nothing.
    bool put(std::string_view text) {
        if (text_.size() + text.size() > limit) {
            return false;
        }
        text_ += text;
        return true;
    }
};

template <typename Format, typename Out>
bool escape(Out& out, std::string_view text) {
    for (;;) {
        if (!out.template take_plain<Format>(text)) {
            return false;
        }
        if (text.empty()) {
            return true;
        }
        scratch_t scratch;
        const unsigned length = dri_utf8_length(text);
        const unsigned taken = length == 0 ? 1 : length;
        if (!out.put(Format::form(text.substr(0, taken), length, scratch))) {
            return false;
        }
        text.remove_prefix(taken);
    }
}

template <typename Format>
char* write_escaped(char* out, std::string_view text) {
    if (dri_copy_judged(out, text)) { // as nearly always
        return out + text.size();
    }
    unlimited_out_s unlimited{out};
    escape<Format>(unlimited, text);
    return unlimited.at;
}

template <typename Format>
bool append_escaped(std::string& out, std::string_view text, size_t limit) {
    limited_out_s limited{out, limit};
    return escape<Format>(limited, text);
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

// The longest: "&amp;", "\u0001", and "&#xFFFD;" for an invalid byte.
const dri_escaper_s dri_xml_escaper = {6, write_escaped<xml_s>, append_escaped<xml_s>};
const dri_escaper_s dri_json_escaper = {6, write_escaped<json_s>, append_escaped<json_s>};
const dri_escaper_s dri_exact_xml_escaper = {6, write_escaped<exact_xml_s>,
                                             append_escaped<exact_xml_s>};
const dri_escaper_s dri_ascii_xml_escaper = {8, write_escaped<ascii_s<exact_xml_s>>,
                                             append_escaped<ascii_s<exact_xml_s>>};
const dri_escaper_s dri_ascii_json_escaper = {6, write_escaped<ascii_s<json_s>>,
                                              append_escaped<ascii_s<json_s>>};
const dri_escaper_s dri_table_escaper = {6, write_escaped<table_s>,
                                         append_escaped<table_s>};
