// SPDX-License-Identifier: BSD-2-Clause

// What can be named below a tag: its kids, and in place of a kid that is not printed itself (a
// choice, a case, a merged root) what can be named below that.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "definitions/drend_tag.h"

// In the order of the definition.
std::vector<const drend_tag_c*> dri_nameable_kids(const drend_tag_c& tag);
// What can be named first in a path: the root tag, or what can be named below it.
std::vector<const drend_tag_c*> dri_nameable_tops(const drend_tag_c& root);

// Appends the tags from `from`, itself left out, down to the one of that name that `before` others
// come before: hidden ones and that one. False, with nothing appended, when there is none.
bool dri_find_nameable(const drend_tag_c& from, std::string_view name,
                       std::vector<const drend_tag_c*>& way, size_t before = 0);
