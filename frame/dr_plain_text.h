// SPDX-License-Identifier: BSD-2-Clause

// Plain characters: those that stand for themselves in an output format. Nearly all bytes of nearly
// all values are plain, so they are judged sixteen at a time, and while they are copied.
//
// A padded text is followed by DRI_PADDING bytes that may be read, whatever they hold; where it is
// copied to, as many may be written.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

inline constexpr size_t DRI_BLOCK = 16;
inline constexpr size_t DRI_PADDING = 2 * DRI_BLOCK;

// Signed, so that the bytes from 0x80 on are below the blank as well as the control characters.
using dri_block_t [[gnu::vector_size(DRI_BLOCK)]] = int8_t;

inline dri_block_t dri_load_block(const char* from) {
    dri_block_t block;
    memcpy(&block, from, DRI_BLOCK);
    return block;
}

// Whether any byte of a comparison's result is set.
inline bool dri_has_any(dri_block_t marks) {
#if defined(__SSE2__)
    using operand_t [[gnu::vector_size(DRI_BLOCK)]] = char;
    return __builtin_ia32_pmovmskb128(reinterpret_cast<operand_t>(marks)) != 0;
#else
    uint64_t halves[2];
    memcpy(halves, &marks, DRI_BLOCK);
    return (halves[0] | halves[1]) != 0;
#endif
}

// What is plain in XML character data.
struct dri_xml_plain_s {
    static bool is_plain(uint8_t c) {
        return (c >= 0x20 && c < 0x80 && c != '&' && c != '<' && c != '>') || c == '\t' ||
               c == '\n' || c == '\r';
    }
    // The bytes that may not be plain.
    static dri_block_t suspects(dri_block_t block) {
        static_assert(('<' | 2) == '>');
        return (block < ' ') | (block == '&') | ((block | 2) == '>');
    }
};

// What is plain inside a JSON string.
struct dri_json_plain_s {
    static bool is_plain(uint8_t c) {
        return c >= 0x20 && c < 0x80 && c != '"' && c != '\\';
    }
    static dri_block_t suspects(dri_block_t block) {
        return (block < ' ') | (block == '"') | (block == '\\');
    }
};

// What is plain in a line of a table on a terminal.
struct dri_table_plain_s {
    static bool is_plain(uint8_t c) { return c >= 0x20 && c < 0x7F; }
    static dri_block_t suspects(dri_block_t block) {
        return (block < ' ') | (block == 0x7F);
    }
};

// Copies a padded text to `out`, where it is written padded. Returns the end of the copy.
[[gnu::always_inline]] inline char* dri_copy_padded(char* out, std::string_view text) {
    memcpy(out, text.data(), DRI_PADDING);
    for (size_t done = DRI_PADDING; done < text.size(); done += DRI_PADDING) {
        memcpy(out + done, text.data() + done, DRI_PADDING);
    }
    return out + text.size();
}

// What is plain in every output format.
inline bool dri_are_plain(dri_block_t block) {
    return !dri_has_any(dri_xml_plain_s::suspects(block) |
                        dri_json_plain_s::suspects(block) |
                        dri_table_plain_s::suspects(block));
}

// Copies a text of at least `Width` and at most twice as many bytes in two moves that may overlap.
// Whether all of it is plain in every output format.
template <size_t Width>
bool dri_copy_ends_judged(char* out, std::string_view text) {
    char ends[DRI_BLOCK];
    for (size_t i = 0; i < DRI_BLOCK; i += 2 * Width) {
        memcpy(ends + i, text.data(), Width);
        memcpy(ends + i + Width, text.data() + text.size() - Width, Width);
    }
    memcpy(out, ends, Width);
    memcpy(out + text.size() - Width, ends + Width, Width);
    return dri_are_plain(dri_load_block(ends));
}

// Copies a text. Whether all of it is plain in every output format; false says that it may not be.
inline bool dri_copy_judged(char* out, std::string_view text) {
    if (text.size() <= DRI_BLOCK) {
        if (text.size() >= 8) {
            return dri_copy_ends_judged<8>(out, text);
        }
        if (text.size() >= 4) {
            return dri_copy_ends_judged<4>(out, text);
        }
        bool is_plain = true;
        for (size_t i = 0; i < text.size(); ++i) {
            out[i] = text[i];
            is_plain = is_plain &&
                       dri_xml_plain_s::is_plain(static_cast<uint8_t>(text[i])) &&
                       dri_json_plain_s::is_plain(static_cast<uint8_t>(text[i])) &&
                       dri_table_plain_s::is_plain(static_cast<uint8_t>(text[i]));
        }
        return is_plain;
    }
    bool is_plain = true;
    const size_t last = text.size() - DRI_BLOCK;
    for (size_t at = 0;; at = at + DRI_BLOCK < last ? at + DRI_BLOCK : last) {
        const dri_block_t block = dri_load_block(text.data() + at);
        memcpy(out + at, &block, DRI_BLOCK);
        is_plain = is_plain && dri_are_plain(block);
        if (at == last) {
            return is_plain;
        }
    }
}
