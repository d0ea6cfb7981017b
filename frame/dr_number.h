// SPDX-License-Identifier: BSD-2-Clause

// Numbers that peers write.
#pragma once

#include <charconv>
#include <string_view>
#include <system_error>

// Reads a text that is a number from 1 on and nothing else. Whether it is one; `number` is
// undefined otherwise.
template <typename Number>
bool dri_read_from_one(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end && number > 0;
}
