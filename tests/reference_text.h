// SPDX-License-Identifier: BSD-2-Clause

// Characters of values, as the forms of the reference write them.
#pragma once

#include <string>

#include "reference.h"

namespace reference {

inline std::string blanks(size_t level) {
    return std::string(2 * level, ' ');
}

// Zeros that are left out of all forms but JSON of texts.
inline bool is_suppressed(const element_s& leaf) {
    return leaf.tag->suppresses_zero && leaf.value.is_zero;
}

// `is_exact`: a carriage return survives.
std::string xml_text(const std::string& text, bool is_exact, bool is_ascii);
std::string json_text(const std::string& text, bool is_ascii);

} // namespace reference
