// SPDX-License-Identifier: BSD-2-Clause

// What fuzz targets have in common.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

// Ends the process, which is how a target says that something does not hold.
inline void require(bool holds) {
    if (!holds) {
        abort();
    }
}

// The input as a text, of at most so many bytes.
inline std::string text_of(const uint8_t* data, size_t size, size_t most) {
    return {reinterpret_cast<const char*>(data), std::min(size, most)};
}

// Has `add` take the bytes in pieces of a size.
template <typename Add>
void in_pieces(std::string_view bytes, size_t size, const Add& add) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(size, bytes.size()))) {
        add(bytes.substr(0, size));
    }
}
