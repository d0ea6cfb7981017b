// SPDX-License-Identifier: BSD-2-Clause

// What encloses the lines is mute: it is no element, and prints no leaf.
#include "render/dr_json_lines_cwalker.h"

#include <utility>

namespace {

bool is_of_line(const drend_tag_c& tag, std::string_view list) {
    return tag.dt_type == DT_TYPE_LIST && !tag.is_hidden() && !tag.is_internal_tag() &&
           !tag.is_leaf_list_value() && (list.empty() || tag.name() == list);
}

} // namespace

dr_json_lines_cwalker_c::dr_json_lines_cwalker_c(dr_tags_access_context_c& context,
                                                 void* peer, dr_look_s look,
                                                 std::string list)
    : dr_ietf_json_cwalker_c(context, peer, {true, look.is_ascii}), list_(std::move(list)) {
}

bool dr_json_lines_cwalker_c::has_list(const drend_tag_c& top, std::string_view list) {
    std::vector<const drend_tag_c*> pending{&top};
    while (!pending.empty()) {
        const drend_tag_c& tag = *pending.back();
        pending.pop_back();
        if (is_of_line(tag, list)) {
            return true;
        }
        pending.insert(pending.end(), tag.dt_kids.begin(), tag.dt_kids.end());
    }
    return false;
}

// Looks whether the command has a list for lines.
void dr_json_lines_cwalker_c::begin() {
    const auto bottom = static_cast<unsigned>(context_.tag_depth()) - 1;
    open_.front().is_mute = has_list(*context_.get_top_tag(bottom)->dto_tag, list_);
    open_.front().is_element = !open_.front().is_mute;
}

dr_json_lines_cwalker_c::open_s
dr_json_lines_cwalker_c::inside_of(const drend_tag_object_c* tobj,
                                   const open_s& outer) const {
    open_s inside = dr_ietf_json_cwalker_c::inside_of(tobj, outer);
    if (outer.is_mute) {
        inside.is_element = is_of_line(*tobj->dto_tag, list_);
        inside.is_mute = !inside.is_element;
    }
    return inside;
}

void dr_json_lines_cwalker_c::print_opening(const open_s& opened, const open_s& outer) {
    if (!outer.is_mute) {
        dr_ietf_json_cwalker_c::print_opening(opened, outer);
        return;
    }
    open_object();
    print_keys_above(opened);
}

// The rows above a line are mute, so their keys are printed nowhere else.
void dr_json_lines_cwalker_c::print_keys_above(const open_s& line) {
    for (const open_s* above = open_.data(); above != &line; ++above) {
        for (size_t i = 0; i < keys_used_; ++i) {
            const dr_list_key_val& key = keys_[i];
            const bool is_above = above->tobj != nullptr && key.owner == above->tobj &&
                                  is_of_line(*above->tobj->dto_tag, {});
            if (is_above) {
                opening_.assign(begin_member() ? ",\"" : "\"");
                opening_.append(above->tobj->name()).append("/").append(key.tag->name());
                opening_.append("\":");
                print_value(*key.tag, key.type, key.value);
            }
        }
    }
}

void dr_json_lines_cwalker_c::print_closing(const open_s& closed, const open_s& outer) {
    const bool is_document = closed.tobj == nullptr;
    if (!is_document && !outer.is_mute) {
        dr_ietf_json_cwalker_c::print_closing(closed, outer);
        return;
    }
    if (closed.is_element) {
        end_line();
    }
    if (is_document && !cursor().empty()) {
        print_cursor_alone();
    }
}

void dr_json_lines_cwalker_c::print_cursor_alone() {
    open_object();
    print_cursor();
    end_line();
}

void dr_json_lines_cwalker_c::end_line() {
    close_object();
    output_.add("}\n");
}
