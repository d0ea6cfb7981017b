// SPDX-License-Identifier: BSD-2-Clause

#include "render/dr_nested_cwalker.h"

#include <cassert>

dr_nested_cwalker_c::dr_nested_cwalker_c(dr_tags_access_context_c& context, void* peer,
                                         dr_text_format_e format, bool is_compact,
                                         const dri_escaper_s& escaper)
    : dr_context_walker_c(context, peer), is_compact_(is_compact), escaper_(escaper),
      open_(1), format_(format) {}

int dr_nested_cwalker_c::finalize() {
    if (printed_ > 0) {
        print_closing(open_.front(), open_.front());
    } else if (!cursor().empty()) {
        print_cursor_alone();
    }
    return finish_output();
}

// --- containers and rows --------------------------------------------------------------------

dr_nested_cwalker_c::open_s dr_nested_cwalker_c::inside_of(const drend_tag_object_c* tobj,
                                                           const open_s& outer) const {
    const drend_tag_c& tag = *tobj->dto_tag;
    open_s inside = outer;
    inside.tobj = tobj;
    inside.is_element = false;
    if (tag.is_internal_tag() || tag.is_leaf_list_value()) {
        return inside;
    }
    inside.leaf_list = nullptr;
    if (tag.dt_type == DT_TYPE_LEAF_LIST) {
        inside.leaf_list = &tag;
        return inside;
    }
    inside.is_element = true;
    inside.scope = tag.scope(outer.scope);
    ++inside.level;
    return inside;
}

void dr_nested_cwalker_c::push(const drend_tag_object_c* tobj) {
    if (tobj->type() == DT_TYPE_LEAF) {
        return; // a leaf is printed in one go
    }
    begin_once();
    const open_s inside = inside_of(tobj, open_.back());
    open_.push_back(inside);
    is_ready_ = false;
    if (tobj->type() == DT_TYPE_LIST) {
        read_keys(tobj, inside.level);
    }
    if (inside.is_element && tobj->isset_flag(DTO_FLAG_PRESENT)) {
        open_all();
    }
}

void dr_nested_cwalker_c::pop(const drend_tag_object_c* tobj) {
    if (tobj->type() == DT_TYPE_LEAF) {
        return;
    }
    const open_s closed = open_.back();
    assert(closed.tobj == tobj);
    const bool was_printed = printed_ == open_.size();
    open_.pop_back();
    if (was_printed) {
        --printed_;
    }
    if (was_printed && closed.is_element) {
        print_closing(closed, open_.back());
    }
    if (tobj->type() == DT_TYPE_LIST) {
        clear_keys(tobj);
    }
    note_place();
}

void dr_nested_cwalker_c::open_all() {
    while (printed_ != open_.size()) {
        const open_s& opened = open_[printed_];
        const open_s& outer = open_[printed_ == 0 ? 0 : printed_ - 1];
        ++printed_;
        if (opened.is_element) {
            print_opening(opened, outer);
        }
        if (!opened.is_mute && opened.tobj != nullptr) {
            print_keys(opened);
        }
    }
    note_place();
}

void dr_nested_cwalker_c::print_keys(const open_s& row) {
    for (size_t i = 0; i < keys_used_; ++i) {
        if (keys_[i].owner == row.tobj) {
            print_key(keys_[i], row);
        }
    }
}

const dr_row_kid_s* dr_nested_cwalker_c::in_row(const dr_list_key_val& key) {
    const dr_row_c* row = key.owner->dto_row.get();
    return row == nullptr ? nullptr : row->find(*key.tag);
}

// --- leaves ---------------------------------------------------------------------------------

void dr_nested_cwalker_c::push_value(const drend_tag_object_c* tobj,
                                     const dr_value_c& value) {
    leaf({tobj->dto_tag}, value);
}

bool dr_nested_cwalker_c::begin_other_leaf(const dr_row_kid_s& leaf,
                                           const dr_value_c& value) {
    begin_once();
    const drend_tag_c& tag = *leaf.tag;
    const open_s& place = open_.back();
    const bool has_no_name = place.leaf_list == nullptr && tag.is_leaf_list_value();
    if (place.is_mute || has_no_name || is_left_out(tag, value)) {
        return false;
    }
    open_all();
    if (!is_ready_ || leaf.opening.empty()) {
        print_leaf(place.leaf_list == nullptr ? tag : *place.leaf_list, tag, value);
        return false;
    }
    return true;
}

// Whether a leaf is not printed where it stands.
bool dr_nested_cwalker_c::is_left_out(const drend_tag_c& tag, const dr_value_c& value) {
    const leaf_place_e place = place_of(tag, value);
    if (place == leaf_place_e::WITH_ROW) {
        open_all();
    }
    return place != leaf_place_e::HERE;
}
