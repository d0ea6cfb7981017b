// SPDX-License-Identifier: BSD-2-Clause

// A character takes a column. What is escaped takes several: the caret is placed below the line as
// it is shown, not as it was.
#include "caret.h"

#include <algorithm>

#include "control_escaper.h"

namespace {

bool begins_character(char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
}

// A column for each character of `text`; a tab is as wide as one.
std::string blanks_below(std::string_view text) {
    std::string blanks;
    for (const char c : text) {
        if (begins_character(c)) {
            blanks += c == '\t' ? '\t' : ' ';
        }
    }
    return blanks;
}

} // namespace

std::optional<std::size_t> offset_of(std::size_t character, std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (begins_character(text[i]) && --character == 0) {
            return i;
        }
    }
    return character == 1 ? std::optional(text.size()) : std::nullopt;
}

std::size_t next_character(std::string_view text, std::size_t offset) {
    while (offset < text.size() && !begins_character(text[offset])) {
        ++offset;
    }
    return std::min(offset, text.size());
}

std::string with_caret(std::string_view line, std::size_t offset, std::string_view margin,
                       std::string_view margin_below) {
    const std::string before = escaped_controls(line.substr(0, offset));
    std::string text(margin);
    text.append(before).append(escaped_controls(line.substr(offset))).append("\n");
    return text.append(margin_below).append(blanks_below(before)).append("^\n");
}
