// SPDX-License-Identifier: BSD-2-Clause

// What stands around the content of an element: prepared for the kids of a row, or made where
// nothing is prepared.
#pragma once

#include <string>

#include "definitions/dr_row.h"

// Appends what stands between the content of what comes before and that of `tag`, which stands
// inside what `shape` describes. Of a list it is what its first row begins with, of a leaf-list
// what its first value does. In JSON it begins with a comma; in the IETF's, where not all values
// are strings, it ends before the quote.
void dri_append_opening(std::string& out, const drend_tag_c& tag, dr_row_shape_s shape);
// Appends the quote and the prefix in front of a value that is a string in the IETF's JSON.
void dri_append_ietf_json_quote(std::string& out, const drend_tag_c& tag);
// Appends what stands behind its content. Of a list it is the end of a row, of a leaf-list that of
// a value.
void dri_append_closing(std::string& out, const drend_tag_c& tag, dr_row_shape_s shape);
