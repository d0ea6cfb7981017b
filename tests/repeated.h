// SPDX-License-Identifier: BSD-2-Clause

// A text made of many of another one.
#pragma once

#include <string>

inline std::string repeated(int times, const std::string& text) {
    std::string all;
    while (times-- > 0) {
        all += text;
    }
    return all;
}
