// SPDX-License-Identifier: BSD-2-Clause

#include "ascii_text.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::uint32_t REPLACEMENT = 0xfffd;

bool is_ascii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

void append_reference(std::uint32_t character, std::string& out) {
    char reference[16];
    snprintf(reference, sizeof reference, "&#x%X;", static_cast<unsigned>(character));
    out += reference;
}

// One that XML may have.
bool is_character(std::uint32_t c) {
    const bool is_control = c < 0x20 && c != '\t' && c != '\n' && c != '\r';
    return !is_control && c <= 0x10ffff && (c < 0xd800 || c > 0xdfff) && c != 0xfffe &&
           c != 0xffff;
}

// What is below 0x20 and not among `controls`, or among `marks`, is a reference.
std::string with_references(std::string_view utf8, std::string_view marks,
                            std::string_view controls) {
    std::string out;
    ascii_encoder_c encoder;
    for (const char c : utf8) {
        const auto code = static_cast<unsigned char>(c);
        if ((code >= 0x20 || controls.find(c) != std::string_view::npos) &&
            marks.find(c) == std::string_view::npos) {
            encoder.add({&c, 1}, out);
        } else {
            encoder.finish(out);
            append_reference(is_character(code) ? code : REPLACEMENT, out);
        }
    }
    encoder.finish(out);
    return out;
}

} // namespace

void ascii_encoder_c::add(std::string_view utf8, std::string& out) {
    while (!utf8.empty()) {
        if (missing_ > 0 || !is_ascii(utf8.front())) {
            byte(static_cast<unsigned char>(utf8.front()), out);
            utf8.remove_prefix(1);
            continue;
        }
        const auto end = std::find_if_not(utf8.begin(), utf8.end(), is_ascii);
        const auto size = static_cast<std::size_t>(end - utf8.begin());
        out.append(utf8, 0, size);
        utf8.remove_prefix(size);
    }
}

void ascii_encoder_c::byte(unsigned char c, std::string& out) {
    const bool continues = (c & 0xc0) == 0x80;
    if (missing_ == 0 || !continues) {
        finish(out); // a character was cut off
        begin(c, out);
        return;
    }
    character_ = character_ << 6 | (c & 0x3f);
    if (--missing_ == 0) {
        const bool is_valid = character_ >= smallest_ && is_character(character_);
        append_reference(is_valid ? character_ : REPLACEMENT, out);
    }
}

void ascii_encoder_c::begin(unsigned char c, std::string& out) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c >= 0xc2 && c <= 0xf4) {
        missing_ = c < 0xe0 ? 1 : c < 0xf0 ? 2 : 3;
        smallest_ = missing_ == 1 ? 0x80 : missing_ == 2 ? 0x800 : 0x10000;
        character_ = c & (0x3fU >> missing_);
    } else {
        append_reference(REPLACEMENT, out);
    }
}

void ascii_encoder_c::finish(std::string& out) {
    if (missing_ > 0) {
        missing_ = 0;
        append_reference(REPLACEMENT, out);
    }
}

// Everything that has a meaning in XML, in an argument of a request, or as the end of a line is a
// reference.
std::string escaped(std::string_view utf8) {
    return with_references(utf8, "&<>\"'\\", "");
}

std::string escaped_lines(std::string_view utf8) {
    return with_references(utf8, "&<>", "\t\n");
}
