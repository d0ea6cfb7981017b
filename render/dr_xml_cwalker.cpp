// SPDX-License-Identifier: BSD-2-Clause

// Nothing is printed before it is known to have content, so opening tags wait in the order of their
// levels, and a row's keys with them, until a leaf pushes all of them out.

#include "render/dr_xml_cwalker.h"

#include <algorithm>
#include <cassert>
#include <iterator>

dr_xml_cwalker_c::dr_xml_cwalker_c(dr_tags_access_context_c& context, void* peer,
                                   bool wrap_in_data)
    : dr_context_walker_c(context, peer), wrap_in_data_(wrap_in_data) {}

void dr_xml_cwalker_c::initialize() {
    if (wrap_in_data_) {
        output_.add("<data>\n");
    }
}

int dr_xml_cwalker_c::finalize() {
    if (wrap_in_data_) {
        output_.add("</data>\n");
    }
    return finish_output();
}

int dr_xml_cwalker_c::level_at_depth(size_t depth) const {
    if (depth < 2) {
        return 0;
    }
    if (levels_above_ == 0) {
        const drend_tag_object_c* command =
            context_.get_top_tag(static_cast<unsigned>(context_.tag_depth()) - 1);
        levels_above_ = command->dto_tag->is_hidden() ? 2 : 1;
    }
    return static_cast<int>(depth) - levels_above_;
}

int dr_xml_cwalker_c::indent_level() const {
    return level_at_depth(context_.tag_depth());
}

void dr_xml_cwalker_c::push(const drend_tag_object_c* tobj) {
    if (find_key(*tobj->dto_tag) == nullptr) {
        dr_xml_cwalker_c::push_private(tobj);
    }
}

void dr_xml_cwalker_c::push_private(const drend_tag_object_c* tobj) {
    const drend_tag_c* tag = tobj->dto_tag;
    if (tag->is_leaf_list_value() || tobj->type() == DT_TYPE_LEAF) {
        return; // a leaf is printed in one go
    }
    if (tobj->type() == DT_TYPE_LIST) {
        read_keys(tobj, level_at_depth(context_.tag_depth() + 1));
    }
    if (is_held_back(tobj) || tag->is_internal_tag()) {
        hold_back(tobj);
    } else {
        print_opening(tobj);
    }
}

bool dr_xml_cwalker_c::is_held_back(const drend_tag_object_c* tobj) const {
    switch (tobj->type()) {
    case DT_TYPE_LIST:
    case DT_TYPE_LEAF_LIST:
        return true;
    case DT_TYPE_CONT:
        break;
    default:
        return false;
    }
    if (tobj->isset_flag(DTO_FLAG_PRESENT)) {
        return false;
    }
    const size_t depth = context_.tag_depth();
    const bool styled_top = depth == 1 && !context_.requested_style.empty();
    return depth > 1 || (!wrap_in_data_ && !styled_top);
}

void dr_xml_cwalker_c::hold_back(const drend_tag_object_c* tobj) {
    const int level = indent_level();
    if (pending_.capacity() == 0) {
        pending_.reserve(8); // nearly every answer
    }
    if (pending_.empty() || pending_.back().level <= level) {
        pending_.push_back({level, tobj});
        return;
    }
    const auto behind = std::upper_bound(
        pending_.begin(), pending_.end(), level,
        [](int wanted, const pending_s& entry) { return wanted < entry.level; });
    pending_.insert(behind, {level, tobj});
}

void dr_xml_cwalker_c::print_opening(const drend_tag_object_c* tobj) {
    flush_tag_stack_buffer(); // what encloses this tag has to be out before it
    if (context_.requested_style.empty() || context_.tag_depth() > 1) {
        print_opening_line(*tobj, indent_level());
        return;
    }
    const std::string style = " orvex:style=\"" + context_.requested_style + "\" ";
    output_.add_line(indent_level(), "<" + tobj->name() + style + tobj->xmlns() + ">\n");
}

void dr_xml_cwalker_c::print_opening_line(const drend_tag_object_c& tobj, int level) {
    if (tobj.dto_in_row != nullptr) {
        output_.add_padded(tobj.dto_in_row->opening);
    } else {
        output_.add_line(level, tobj.dto_tag->open_line());
    }
}

void dr_xml_cwalker_c::print_closing_line(const drend_tag_object_c& tobj) {
    if (tobj.dto_in_row != nullptr) {
        output_.add_padded(tobj.dto_in_row->closing);
    } else {
        output_.add_line(indent_level(), tobj.dto_tag->close_text());
    }
}

void dr_xml_cwalker_c::flush_tag_stack_buffer() {
    assert(std::is_sorted(
        pending_.begin(), pending_.end(),
        [](const pending_s& a, const pending_s& b) { return a.level < b.level; }));
    for (const pending_s& entry : pending_) {
        const drend_tag_c* tag = entry.tobj->dto_tag;
        if (!tag->is_internal_tag()) {
            print_opening_line(*entry.tobj, entry.level);
        }
        if (tag->dt_type == DT_TYPE_LIST) {
            print_keys(entry.tobj);
        }
    }
    pending_.clear();
}

void dr_xml_cwalker_c::print_keys(const drend_tag_object_c* tobj) {
    for (size_t i = 0; i < keys_used_; ++i) {
        if (keys_[i].owner == tobj) {
            print_key(keys_[i]);
        }
    }
}

void dr_xml_cwalker_c::print_key(const dr_list_key_val& key) {
    const dr_row_c* row = key.owner->dto_row.get();
    const dr_row_kid_s* leaf = row == nullptr ? nullptr : row->find(*key.tag);
    if (leaf == nullptr) {
        opening_.assign(2 * static_cast<size_t>(key.level), ' ');
        opening_.append(key.tag->open_text()).append(key.tag->dt_prefix);
    }
    output_.add_value(leaf == nullptr ? opening_ : leaf->opening, dri_xml_escaper,
                      key.value, key.tag->close_text());
}

void dr_xml_cwalker_c::push_value(const drend_tag_object_c* tobj, const dr_value_c& value) {
    dr_xml_cwalker_c::leaf({tobj->dto_tag}, value);
}

void dr_xml_cwalker_c::push_value_private(const drend_tag_object_c* tobj,
                                          const dr_value_c& value) {
    print_leaf(*tobj->dto_tag, value);
}

void dr_xml_cwalker_c::leaf(const dr_row_kid_s& leaf, const dr_value_c& value) {
    constexpr uint32_t special = DT_FLAG_KEY | DT_FLAG_ZERO_SUPPRESSION | DT_FLAG_INTERNAL;
    if (leaf.tag->isset_flag(special) && is_left_out(*leaf.tag, value)) {
        return;
    }
    if (!pending_.empty()) {
        flush_tag_stack_buffer();
    }
    if (leaf.opening.empty()) {
        print_leaf(*leaf.tag, value);
    } else {
        output_.add_row_leaf(leaf, 0, dri_xml_escaper, value);
    }
}

// Whether a leaf is not printed where it stands.
bool dr_xml_cwalker_c::is_left_out(const drend_tag_c& tag, const dr_value_c& value) {
    const leaf_place_e place = place_of(tag, value);
    if (place == leaf_place_e::WITH_ROW) {
        flush_tag_stack_buffer();
    }
    return place != leaf_place_e::HERE;
}

// The value of a leaf-list's row has a line, but no tags of its own.
void dr_xml_cwalker_c::print_leaf(const drend_tag_c& tag, const dr_value_c& value) {
    flush_tag_stack_buffer();
    const bool has_tags = !tag.is_leaf_list_value();
    opening_.assign(2 * static_cast<size_t>(indent_level()), ' ');
    opening_.append(has_tags ? tag.open_text() : "").append(tag.dt_prefix);
    output_.add_leaf(opening_, dri_xml_escaper, tag, value,
                     has_tags ? std::string_view(tag.close_text()) : "\n");
}

bool dr_xml_cwalker_c::dont_print_empty_tag(const drend_tag_object_c* tobj) const {
    return !pending_.empty() && pending_.back().tobj == tobj;
}

void dr_xml_cwalker_c::pop(const drend_tag_object_c* tobj) {
    if (find_key(*tobj->dto_tag) == nullptr) {
        dr_xml_cwalker_c::pop_private(tobj);
    }
}

int dr_xml_cwalker_c::pop_private(const drend_tag_object_c* tobj) {
    const drend_tag_c* tag = tobj->dto_tag;
    if (tag->dt_type == DT_TYPE_LEAF) { // closed behind its value
        return 0;
    }
    const bool was_printed =
        tobj->isset_flag(DTO_FLAG_PRESENT) || !dont_print_empty_tag(tobj);
    if (was_printed && !tag->is_internal_tag() && !tag->is_leaf_list_value()) {
        print_closing_line(*tobj);
    }
    if (tag->dt_type == DT_TYPE_LIST) {
        clear_keys(tobj);
    }
    if (!pending_.empty()) {
        remove_key_val(indent_level(), tobj);
    }
    return 0;
}

void dr_xml_cwalker_c::remove_key_val(int level, const drend_tag_object_c* tobj) {
    const auto found =
        std::find_if(pending_.rbegin(), pending_.rend(), [&](const pending_s& entry) {
            return entry.level == level && entry.tobj == tobj;
        });
    if (found != pending_.rend()) {
        pending_.erase(std::next(found).base());
    }
}
