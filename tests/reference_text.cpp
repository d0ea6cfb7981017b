// SPDX-License-Identifier: BSD-2-Clause

#include "reference_text.h"

#include <algorithm>
#include <cstdio>

namespace reference {

namespace {

struct character_s {
    unsigned code; // 0xFFFD where it is none
    std::string bytes;
};

// The character at the beginning of a text.
character_s character_of(const std::string& text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const size_t length = lead < 0x80   ? 1
                          : lead < 0xC0 ? 0
                          : lead < 0xE0 ? 2
                          : lead < 0xF0 ? 3
                                        : 4;
    static constexpr unsigned least[] = {0, 0, 0x80, 0x800, 0x10000};
    unsigned code = length == 1 ? lead : lead & (0x7FU >> length);
    bool is_valid = length > 0 && text.size() >= length;
    for (size_t i = 1; is_valid && i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        is_valid = byte >> 6 == 2;
        code = code << 6 | (byte & 0x3FU);
    }
    is_valid = is_valid && code >= least[length] && code <= 0x10FFFF && code >> 11 != 0x1B;
    return is_valid ? character_s{code, text.substr(0, length)} : character_s{0xFFFD, ""};
}

std::string formatted(const char* format, unsigned a, unsigned b = 0) {
    char text[32];
    snprintf(text, sizeof text, format, a, b);
    return text;
}

template <typename Form>
std::string escaped(std::string text, const Form& form_of) {
    std::string out;
    while (!text.empty()) {
        const character_s c = character_of(text);
        out += form_of(c.code, c.bytes.empty() ? "\uFFFD" : c.bytes);
        text.erase(0, std::max<size_t>(1, c.bytes.size()));
    }
    return out;
}

} // namespace

std::string xml_text(const std::string& text, bool is_exact, bool is_ascii) {
    return escaped(text, [&](unsigned code, const std::string& bytes) -> std::string {
        const bool is_allowed =
            code >= 0x20 || code == '\t' || code == '\n' || code == '\r';
        const unsigned shown =
            is_allowed && code != 0xFFFE && code != 0xFFFF ? code : 0xFFFD;
        return code == '&'                                 ? "&amp;"
               : code == '<'                               ? "&lt;"
               : code == '>'                               ? "&gt;"
               : code == '\r' && is_exact                  ? "&#xD;"
               : shown > 0x7E && is_ascii && shown != 0x7F ? formatted("&#x%X;", shown)
               : shown == code                             ? bytes
                                                           : "\uFFFD";
    });
}

std::string json_text(const std::string& text, bool is_ascii) {
    static const std::string short_ones = "\b\f\n\r\t";
    return escaped(text, [&](unsigned code, const std::string& bytes) -> std::string {
        const size_t at =
            code < 0x20 ? short_ones.find(static_cast<char>(code)) : std::string::npos;
        return code == '"' || code == '\\' ? "\\" + bytes
               : at != std::string::npos   ? std::string("\\") + "bfnrt"[at]
               : code < 0x20               ? formatted("\\u%04x", code)
               : code < 0x80 || !is_ascii  ? bytes
               : code < 0x10000            ? formatted("\\u%04x", code)
                                : formatted("\\u%04x\\u%04x", 0xD7C0 + (code >> 10),
                                            0xDC00 + (code & 0x3FF));
    });
}

} // namespace reference
