// SPDX-License-Identifier: BSD-2-Clause

#include "render/dr_count_cwalker.h"

#include <algorithm>

#include "render/dr_tags_access_context.h"

int dr_count_cwalker_c::finalize() {
    for (const count_s& count : counts_) {
        output_.add(count.path + " " + std::to_string(count.rows) + "\n");
    }
    return finish_output();
}

namespace {

// The values of a leaf-list are no rows, and what is not printed itself has none.
bool is_counted(const drend_tag_object_c& tobj) {
    return tobj.type() == DT_TYPE_LIST && !tobj.dto_tag->is_hidden();
}

} // namespace

void dr_count_cwalker_c::list_start(const drend_tag_object_c* tobj) {
    if (is_counted(*tobj)) {
        count_of(*tobj->dto_tag);
    }
}

void dr_count_cwalker_c::push(const drend_tag_object_c* tobj) {
    if (is_counted(*tobj)) {
        ++count_of(*tobj->dto_tag).rows;
    }
}

dr_count_cwalker_c::count_s& dr_count_cwalker_c::count_of(const drend_tag_c& list) {
    const auto known =
        std::find_if(counts_.begin(), counts_.end(),
                     [&](const count_s& count) { return count.list == &list; });
    if (known != counts_.end()) {
        return *known;
    }
    count_s& made = counts_.emplace_back(count_s{&list, ""});
    for (size_t n = context_.tag_depth(); n-- > 0;) {
        const drend_tag_c& tag = *context_.get_top_tag(static_cast<unsigned>(n))->dto_tag;
        if (!tag.is_hidden()) {
            made.path.append("/").append(tag.name());
        }
    }
    return made;
}
