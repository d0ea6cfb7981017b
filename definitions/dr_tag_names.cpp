// SPDX-License-Identifier: BSD-2-Clause

// The same order of search as a look-up's (dr_position_c), without moving anything: a kid of the
// tag itself before those below its hidden kids.

#include "definitions/dr_tag_names.h"

namespace {

void append_kids(const drend_tag_c& tag, std::vector<const drend_tag_c*>& kids) {
    for (const drend_tag_c* kid : tag.dt_kids) {
        if (kid->is_hidden()) {
            append_kids(*kid, kids);
        } else if (!kid->is_leaf_list_value()) {
            kids.push_back(kid);
        }
    }
}

// The element that `before` others of its name come before: those that are kids themselves, then
// those below hidden kids.
bool find_nameable(const drend_tag_c& from, std::string_view name, size_t& before,
                   std::vector<const drend_tag_c*>& way) {
    for (const drend_tag_c* kid : from.dt_kids) {
        if (!kid->is_hidden() && kid->name() == name && before-- == 0) {
            way.push_back(kid);
            return true;
        }
    }
    for (const drend_tag_c* kid : from.dt_kids) {
        if (!kid->is_hidden()) {
            continue;
        }
        way.push_back(kid);
        if (find_nameable(*kid, name, before, way)) {
            return true;
        }
        way.pop_back();
    }
    return false;
}

} // namespace

std::vector<const drend_tag_c*> dri_nameable_kids(const drend_tag_c& tag) {
    std::vector<const drend_tag_c*> kids;
    append_kids(tag, kids);
    return kids;
}

std::vector<const drend_tag_c*> dri_nameable_tops(const drend_tag_c& root) {
    return root.is_hidden() ? dri_nameable_kids(root)
                            : std::vector<const drend_tag_c*>{&root};
}

bool dri_find_nameable(const drend_tag_c& from, std::string_view name,
                       std::vector<const drend_tag_c*>& way, size_t before) {
    return find_nameable(from, name, before, way);
}
