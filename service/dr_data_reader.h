// SPDX-License-Identifier: BSD-2-Clause

// Reads the JSON text of a data set.
//
//  1. Nesting, size of the text and number of paths are bounded.
//  2. A text is taken as a whole or refused, with the place of its first fault.
#pragma once

#include <memory>
#include <string>

#include "service/dr_data_set.h"

// Levels of objects and arrays, and bytes of a text.
inline constexpr size_t DR_DATA_DEPTH_MAX = 64;
inline constexpr size_t DR_DATA_SIZE_MAX = size_t{64} << 20;

// Registers what the text has for the set of that number, see dri_register_data, and makes its
// rows. Null when it is refused, with "LINE:COLUMN: SENTENCE" in `fault`; columns count
// characters. Throws std::bad_alloc.
std::shared_ptr<const dr_data_row_s> dri_read_data(const std::string& text, unsigned set,
                                                   unsigned& cells, std::string& fault);
