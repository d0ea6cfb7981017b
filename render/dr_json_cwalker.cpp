// SPDX-License-Identifier: BSD-2-Clause

// A stack of levels, one for each bracket that is open, says whether a comma is due; the separator
// is printed with what follows it, so nothing is held back.

#include "render/dr_json_cwalker.h"

#include <cassert>

#include "render/dr_tags_access_context.h"

namespace {

bool is_list(const drend_tag_c& tag) {
    return tag.dt_type == DT_TYPE_LIST || tag.dt_type == DT_TYPE_LEAF_LIST;
}

} // namespace

dr_row_shape_s dr_json_cwalker_c::row_shape() const {
    return {dr_text_format_e::JSON, leaf_level()};
}

int dr_json_cwalker_c::finalize() {
    if (answer_is_object_) {
        end_answer("\n}");
    }
    return finish_output();
}

// Closes what encloses the whole output.
void dr_json_cwalker_c::end_answer(std::string_view closing) {
    if (cursor().empty()) {
        output_.add(closing);
        return;
    }
    // Of a cursor's characters none is escaped.
    opening_.assign(",\n  \"cursor\" : \"").append(cursor()).append("\"");
    output_.add(opening_.append(closing));
}

// Whether a tag is not printed itself: what is hidden, and the value of a leaf-list that stands
// elsewhere than in a row of one, where it has neither name nor place.
bool dr_json_cwalker_c::is_left_out(const drend_tag_c& tag) const {
    return tag.dt_type == DT_TYPE_LEAF ? tag.is_leaf_list_value() && !is_in_leaf_list_row()
                                       : tag.is_hidden() || tag.is_leaf_list_value();
}

int dr_json_cwalker_c::indent_level() const {
    return static_cast<int>(levels_.size()) - (answer_is_object_ ? 1 : 0);
}

bool dr_json_cwalker_c::has_hidden_root() const {
    const auto bottom = static_cast<unsigned>(context_.tag_depth()) - 1;
    return is_left_out(*context_.get_top_tag(bottom)->dto_tag);
}

// Opens the object that encloses the whole output, before its first member.
void dr_json_cwalker_c::open_answer(const drend_tag_c& tag) {
    if (!levels_.empty()) {
        return;
    }
    if (has_hidden_root()) {
        output_.add("{");
        answer_is_object_ = true;
        levels_.push_back(EMPTY);
    } else if (!is_list(tag)) {
        output_.add("{\n");
    }
}

// Notes that something stands in the current level from here on. Whether something did before,
// behind which a comma belongs.
bool dr_json_cwalker_c::begin_member() {
    if (levels_.empty()) {
        return false;
    }
    // What stands in a leaf-list's row is an element of the list itself.
    level_e& level = levels_[levels_.size() - (is_in_leaf_list_row() ? 2 : 1)];
    const bool wrote_before = level == WRITTEN;
    level = WRITTEN;
    return wrote_before;
}

// Makes the beginning of a member: separator, line feed, indentation and name, as far as its place
// has them.
void dr_json_cwalker_c::make_opening(const drend_tag_c& tag, bool wrote_before, int level) {
    opening_.assign(wrote_before ? "," : "");
    if (is_in_leaf_list_row()) {
        return; // an array has no names
    }
    if (!levels_.empty() || is_list(tag)) {
        opening_ += '\n';
    }
    opening_.append(2 * static_cast<size_t>(level), ' ').append(tag.member_text());
}

// --- containers and lists -------------------------------------------------------------------

void dr_json_cwalker_c::push(const drend_tag_object_c* tobj) {
    if (find_key(*tobj->dto_tag) == nullptr) {
        dr_json_cwalker_c::push_private(tobj);
    }
}

void dr_json_cwalker_c::push_private(const drend_tag_object_c* tobj) {
    const drend_tag_c& tag = *tobj->dto_tag;
    if (tag.dt_type == DT_TYPE_LEAF || is_left_out(tag)) {
        return; // a leaf is printed in one go
    }
    if (is_list(tag)) {
        open_element(tobj);
    } else {
        open_member(tobj);
    }
}

// Prints the name and the bracket of a container or list.
void dr_json_cwalker_c::open_member(const drend_tag_object_c* tobj) {
    const drend_tag_c& tag = *tobj->dto_tag;
    open_answer(tag);
    const bool is_in_row = tobj->dto_in_row != nullptr && !is_in_leaf_list_row();
    const bool wrote_before = begin_member();
    if (is_in_row) {
        output_.add_padded(tobj->dto_in_row->opening.substr(wrote_before ? 0 : 1));
    } else {
        make_opening(tag, wrote_before, indent_level() + 1);
        output_.add(opening_.append(is_list(tag) ? "[" : "{"));
    }
    levels_.push_back(EMPTY);
}

// A row of a list, or the one row that a source with a key has selected.
void dr_json_cwalker_c::open_element(const drend_tag_object_c* tobj) {
    if (lists_.empty() || lists_.back().tobj != tobj) {
        list_start(tobj);
        lists_.back().is_single_row = true;
    }
    if (tobj->type() == DT_TYPE_LEAF_LIST) {
        levels_.push_back(LEAF_LIST_ROW);
        return;
    }
    output_.add(begin_member() ? ",{" : "{");
    levels_.push_back(EMPTY);
    emit_keys_for_parent(tobj, this);
}

void dr_json_cwalker_c::pop(const drend_tag_object_c* tobj) {
    if (find_key(*tobj->dto_tag) == nullptr) {
        dr_json_cwalker_c::pop_private(tobj);
    }
}

int dr_json_cwalker_c::pop_private(const drend_tag_object_c* tobj) {
    const drend_tag_c& tag = *tobj->dto_tag;
    if (levels_.empty()) {
        return 1;
    }
    if (tag.dt_type == DT_TYPE_LEAF || is_left_out(tag)) {
        return 0;
    }
    if (tag.dt_type != DT_TYPE_LEAF_LIST) {
        close_object(tobj);
    }
    levels_.pop_back();
    if (is_list(tag)) {
        clear_keys(tobj);
        if (lists_.back().is_single_row) {
            list_stop(tobj);
        }
    } else if (levels_.empty()) {
        end_answer("\n}");
    }
    return 0;
}

void dr_json_cwalker_c::close_object(const drend_tag_object_c* tobj) {
    if (tobj->dto_in_row != nullptr) {
        output_.add_padded(tobj->dto_in_row->closing);
    } else {
        opening_.assign(1, '\n').append(2 * static_cast<size_t>(indent_level()), ' ');
        output_.add(opening_.append(1, '}'));
    }
}

void dr_json_cwalker_c::list_start(const drend_tag_object_c* tobj) {
    if (!is_left_out(*tobj->dto_tag)) {
        open_member(tobj);
        lists_.push_back({tobj, false});
    }
}

void dr_json_cwalker_c::list_stop(const drend_tag_object_c* tobj) {
    if (!is_left_out(*tobj->dto_tag)) {
        assert(!lists_.empty() && lists_.back().tobj == tobj && !levels_.empty());
        output_.add("]");
        levels_.pop_back();
        lists_.pop_back();
        if (levels_.empty() && !cursor().empty()) {
            end_answer("");
        }
    }
}

// --- leaves ---------------------------------------------------------------------------------

void dr_json_cwalker_c::leaf(const dr_row_kid_s& leaf, const dr_value_c& value) {
    if (leaf.tag->isset_flag(DT_FLAG_KEY) && find_key(*leaf.tag) != nullptr) {
        return;
    }
    if (leaf.opening.empty() || levels_.empty() || is_in_leaf_list_row()) {
        print_leaf(*leaf.tag, value);
        return;
    }
    const size_t comma = levels_.back() == WRITTEN ? 0 : 1;
    levels_.back() = WRITTEN;
    output_.add_row_leaf(leaf, comma, dri_json_escaper, value);
}

void dr_json_cwalker_c::push_value(const drend_tag_object_c* tobj,
                                   const dr_value_c& value) {
    dr_json_cwalker_c::leaf({tobj->dto_tag}, value);
}

void dr_json_cwalker_c::push_value_private(const drend_tag_object_c* tobj,
                                           const dr_value_c& value) {
    print_leaf(*tobj->dto_tag, value);
}

void dr_json_cwalker_c::print_leaf(const drend_tag_c& tag, const dr_value_c& value) {
    if (is_left_out(tag)) {
        return;
    }
    open_answer(tag);
    const bool wrote_before = begin_member();
    make_opening(tag, wrote_before, leaf_level());
    output_.add_leaf(opening_.append(1, '"'), dri_json_escaper, tag, value,
                     levels_.empty() ? "\"\n}" : "\"");
}
