// SPDX-License-Identifier: BSD-2-Clause

// What stands around the content of an element: prepared for the kids of a row, or made where
// nothing is prepared.
#pragma once

#include <string>

#include "definitions/dr_row.h"

// Appends what stands between the content of what comes before and that of `tag`, which stands
// inside what `shape` describes. Of a list it is what its first row begins with, of a leaf-list
// what its first value does. In JSON it begins with a comma; in the IETF's forms it ends before the
// prefix of a value, and before the quote, for not all values are strings.
void dri_append_opening(std::string& out, const drend_tag_c& tag, dr_row_shape_s shape);
// Appends the prefix in front of a value in one of the IETF's forms, in JSON behind the quote of a
// string.
void dri_append_ietf_prefix(std::string& out, const drend_tag_c& tag,
                            dr_text_format_e format);
// Appends what stands behind its content. Of a list it is the end of a row, of a leaf-list that of
// a value.
void dri_append_closing(std::string& out, const drend_tag_c& tag, dr_row_shape_s shape);
