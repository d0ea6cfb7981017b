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
                       std::vector<const drend_tag_c*>& way) {
    const drend_tag_c* direct = from.find_child(name);
    if (direct != nullptr && !direct->is_hidden()) {
        way.push_back(direct);
        return true;
    }
    for (const drend_tag_c* kid : from.dt_kids) {
        if (!kid->is_hidden()) {
            continue;
        }
        way.push_back(kid);
        if (dri_find_nameable(*kid, name, way)) {
            return true;
        }
        way.pop_back();
    }
    return false;
}
