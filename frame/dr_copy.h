// SPDX-License-Identifier: BSD-2-Clause

// Copies of texts that are nearly always short: names of elements, values. Short ones are copied in
// two moves that may overlap, without a call.
#pragma once

#include <cstring>
#include <string_view>

// Copies `text` to `out`, which has room for it and is no part of it. Returns the end of the copy.
inline char* dri_copy_text(char* out, std::string_view text) {
    const char* const from = text.data();
    const size_t size = text.size();
    const auto copy_ends = [&]<size_t Width>() {
        char ends[2][Width];
        memcpy(ends[0], from, Width);
        memcpy(ends[1], from + size - Width, Width);
        memcpy(out, ends[0], Width);
        memcpy(out + size - Width, ends[1], Width);
    };
    if (size >= 8) {
        if (size <= 16) {
            copy_ends.operator()<8>();
        } else if (size <= 32) {
            copy_ends.operator()<16>();
        } else {
            memcpy(out, from, size);
        }
    } else if (size >= 4) {
        copy_ends.operator()<4>();
    } else if (size > 0) {
        out[0] = from[0];
        out[size / 2] = from[size / 2];
        out[size - 1] = from[size - 1];
    }
    return out + size;
}
