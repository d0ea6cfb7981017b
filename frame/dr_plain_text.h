// SPDX-License-Identifier: BSD-2-Clause

// Plain characters: those that stand for themselves in an output format. Nearly all bytes of nearly
// all values are plain, so they are judged and copied sixteen at a time.
//
// A padded text is followed by DRI_PADDING bytes that may be read, whatever they hold; a text that
// is written padded, by as many that may be written. So the last block needs no care for where the
// text ends.
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

// Copies a padded text to `out`, where it is written padded. Returns the end of the copy.
inline char* dri_copy_padded(char* out, std::string_view text) {
    memcpy(out, text.data(), DRI_PADDING);
    for (size_t done = DRI_PADDING; done < text.size(); done += DRI_PADDING) {
        memcpy(out + done, text.data() + done, DRI_PADDING);
    }
    return out + text.size();
}

// The same as long as all of it is plain; null once a byte may not be, with part of it written.
template <typename Plain>
char* dri_copy_if_plain(char* out, std::string_view text) {
    static constexpr int8_t wanted[2 * DRI_BLOCK] = {-1, -1, -1, -1, -1, -1, -1, -1,
                                                     -1, -1, -1, -1, -1, -1, -1, -1};
    const char* from = text.data();
    size_t left = text.size();
    for (; left > DRI_BLOCK; left -= DRI_BLOCK, from += DRI_BLOCK, out += DRI_BLOCK) {
        const dri_block_t block = dri_load_block(from);
        if (dri_has_any(Plain::suspects(block))) {
            return nullptr;
        }
        memcpy(out, &block, DRI_BLOCK);
    }
    const dri_block_t block = dri_load_block(from);
    dri_block_t is_text;
    memcpy(&is_text, wanted + DRI_BLOCK - left, DRI_BLOCK);
    if (dri_has_any(Plain::suspects(block) & is_text)) {
        return nullptr;
    }
    memcpy(out, &block, DRI_BLOCK);
    return out + left;
}
