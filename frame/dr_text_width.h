// SPDX-License-Identifier: BSD-2-Clause

// How many columns of a terminal a text takes.
#pragma once

#include <cstddef>
#include <string_view>

// Of a text in UTF-8 without control characters: one for each character, two for those that East
// Asian scripts write wide and for most pictographs, none for marks that combine with others.
// Clusters (flags, families, joined signs) count as their characters do. Thread-safe.
size_t dri_text_width(std::string_view text);
