// SPDX-License-Identifier: BSD-2-Clause

// The C library's wcwidth depends on a locale that is the daemon's own affair, so the ranges that
// matter stand here: whole blocks of Unicode rather than its table of every character.
#include "frame/dr_text_width.h"

#include <cstdint>

#include "frame/escape.h"

namespace {

struct range_s {
    uint32_t first;
    uint32_t last;
    uint8_t width;
};

// Ascending. What stands in none of them is one column wide.
constexpr range_s RANGES[] = {
    {0x0300, 0x036F, 0},   // combining diacritics
    {0x1100, 0x115F, 2},   // Hangul initials
    {0x200B, 0x200F, 0},   // joiners and marks without a shape
    {0x20D0, 0x20FF, 0},   // combining marks for symbols
    {0x2E80, 0x303E, 2},   // radicals, punctuation
    {0x3041, 0xA4CF, 2},   // kana, ideographs, Yi
    {0xAC00, 0xD7A3, 2},   // Hangul syllables
    {0xF900, 0xFAFF, 2},   // compatibility ideographs
    {0xFE00, 0xFE0F, 0},   // variation selectors
    {0xFE20, 0xFE2F, 0},   // combining half marks
    {0xFE30, 0xFE6F, 2},   // compatibility forms
    {0xFF00, 0xFF60, 2},   // full-width forms
    {0xFFE0, 0xFFE6, 2},   // full-width signs
    {0x1F300, 0x1F64F, 2}, // pictographs
    {0x1F680, 0x1F6FF, 2}, {0x1F900, 0x1F9FF, 2},
    {0x20000, 0x3FFFD, 2}, // further ideographs
};

size_t width_of(uint32_t character) {
    for (const range_s& range : RANGES) {
        if (character <= range.last) {
            return character < range.first ? 1 : range.width;
        }
    }
    return 1;
}

uint32_t decode(std::string_view sequence) {
    static constexpr uint8_t lead_bits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    uint32_t character = static_cast<uint8_t>(sequence[0]) & lead_bits[sequence.size()];
    for (const char c : sequence.substr(1)) {
        character = character << 6 | (static_cast<uint8_t>(c) & 0x3F);
    }
    return character;
}

} // namespace

size_t dri_text_width(std::string_view text) {
    size_t width = 0;
    while (!text.empty()) {
        const unsigned length = dri_utf8_length(text);
        width += length <= 1 ? 1 : width_of(decode(text.substr(0, length)));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return width;
}
