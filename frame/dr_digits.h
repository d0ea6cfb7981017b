// SPDX-License-Identifier: BSD-2-Clause

// Whole numbers as decimal text, eight digits at a time.
//
// The eight digits of a number below 10^8 are the bytes of one word, which three multiplications
// split in halves, pairs and digits; leading zeros are shifted out of it. A number costs the same
// whatever its digits are, and nothing is looked up in a table.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

// How many bytes dri_write_digits may touch, though the text is shorter.
inline constexpr unsigned DRI_DIGITS_ROOM = 24;

// The digits of `number`, which is below 10^8, as byte values, the first in the lowest byte.
inline uint64_t dri_eight_digits(uint32_t number) {
    const uint64_t halves = number / 10000 | uint64_t{number % 10000} << 32;
    const uint64_t hundreds = (halves * 10486 >> 20) & 0x7F0000007F;
    const uint64_t pairs = hundreds | (halves - 100 * hundreds) << 16;
    const uint64_t tens = (pairs * 103 >> 10) & 0x000F000F000F000F;
    return tens | (pairs - 10 * tens) << 8;
}

inline void dri_store_digits(char* out, uint64_t digits) {
    uint64_t text = digits | 0x3030303030303030;
    if constexpr (std::endian::native == std::endian::big) {
        text = __builtin_bswap64(text);
    }
    memcpy(out, &text, sizeof text);
}

// Writes `number`, which is below 10^8, to `out`, which has room for DRI_DIGITS_ROOM bytes. Returns
// the end of the text.
inline char* dri_write_few_digits(char* out, uint32_t number) {
    const uint64_t digits = dri_eight_digits(number);
    // The last digit always stands, so that 0 has one.
    const int zeros = std::countr_zero(digits | uint64_t{1} << 56) / 8;
    dri_store_digits(out, digits >> 8 * zeros);
    return out + 8 - zeros;
}

// The same for any number.
inline char* dri_write_digits(char* out, uint64_t number) {
    constexpr uint64_t full = 100000000;
    if (number < full) {
        return dri_write_few_digits(out, static_cast<uint32_t>(number));
    }
    const uint64_t above = number / full;
    if (above < full) {
        out = dri_write_few_digits(out, static_cast<uint32_t>(above));
    } else {
        out = dri_write_few_digits(out, static_cast<uint32_t>(above / full));
        dri_store_digits(out, dri_eight_digits(static_cast<uint32_t>(above % full)));
        out += 8;
    }
    dri_store_digits(out, dri_eight_digits(static_cast<uint32_t>(number % full)));
    return out + 8;
}

// The same with a sign where it is negative.
inline char* dri_write_digits(char* out, int64_t number) {
    if (number < 0) {
        *out++ = '-';
        return dri_write_digits(out, 0 - static_cast<uint64_t>(number));
    }
    return dri_write_digits(out, static_cast<uint64_t>(number));
}
