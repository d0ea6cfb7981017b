#include "render/dr_json_cwalker.h"

#include <utility>

#include "render/dr_tags_access_context.h"

namespace {

bool is_list(const drend_tag_object_c* tobj) {
    return tobj->type() == DT_TYPE_LIST || tobj->type() == DT_TYPE_LEAF_LIST;
}

} // namespace

int dr_json_cwalker_c::finalize() {
    if (answer_is_object_) {
        output_.add("\n}");
    }
    return finish_output();
}

// Whether a tag is not printed itself: what is hidden, and the value of a leaf-list that stands
// elsewhere than in a row of one, where it has neither name nor place.
bool dr_json_cwalker_c::is_left_out(const drend_tag_object_c* tobj) const {
    const drend_tag_c* tag = tobj->dto_tag;
    return tobj->type() == DT_TYPE_LEAF
               ? tag->is_leaf_list_value() && !is_in_leaf_list_row()
               : tag->is_hidden() || tag->is_leaf_list_value();
}

void dr_json_cwalker_c::push(const drend_tag_object_c* tobj) {
    if (find_key(tobj) == nullptr) {
        dr_json_cwalker_c::push_private(tobj);
    }
}

void dr_json_cwalker_c::push_value(const drend_tag_object_c* tobj,
                                   const dr_value_c& value) {
    if (find_key(tobj) == nullptr) {
        dr_json_cwalker_c::push_value_private(tobj, value);
    }
}

void dr_json_cwalker_c::pop(const drend_tag_object_c* tobj) {
    // Of a leaf in an open object nothing is left to be printed.
    const bool is_done = tobj->type() == DT_TYPE_LEAF && !holds_name_ && !levels_.empty();
    if (!is_done && find_key(tobj) == nullptr) {
        dr_json_cwalker_c::pop_private(tobj);
    }
}

int dr_json_cwalker_c::indent_level() const {
    return static_cast<int>(levels_.size()) - (answer_is_object_ ? 1 : 0);
}

bool dr_json_cwalker_c::has_hidden_root() const {
    const auto bottom = static_cast<unsigned>(context_.tag_depth()) - 1;
    return is_left_out(context_.get_top_tag(bottom));
}

// Opens the object that encloses the whole output, before its first member.
void dr_json_cwalker_c::open_answer(const drend_tag_object_c* tobj) {
    if (!levels_.empty()) {
        return;
    }
    if (has_hidden_root()) {
        output_.add('{');
        answer_is_object_ = true;
        levels_.push_back(EMPTY);
    } else if (!is_list(tobj)) {
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

void dr_json_cwalker_c::push_private(const drend_tag_object_c* tobj) {
    if (is_left_out(tobj)) {
        return;
    }
    if (is_list(tobj)) {
        open_element(tobj);
        return;
    }
    open_answer(tobj);
    const bool has_name = !is_in_leaf_list_row();
    const bool wrote_before = begin_member();
    output_.add_separator(wrote_before, has_name && !levels_.empty());
    if (tobj->type() == DT_TYPE_LEAF) {
        holds_name_ = has_name; // for its value
        return;
    }
    levels_.push_back(EMPTY);
    if (has_name) {
        print_name(tobj, indent_level());
    }
    output_.add('{');
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
    output_.add_separator(begin_member(), false);
    levels_.push_back(EMPTY);
    output_.add('{');
    emit_keys_for_parent(tobj, this);
}

void dr_json_cwalker_c::print_name(const drend_tag_object_c* tobj, int level) {
    output_.add_indent(level);
    output_.add(tobj->dto_tag->member_text());
}

void dr_json_cwalker_c::push_value_private(const drend_tag_object_c* tobj,
                                           const dr_value_c& value) {
    if (is_left_out(tobj)) {
        return;
    }
    dr_value_c::scratch_t scratch;
    print_value(tobj, tobj->dto_tag->value_text(value, scratch));
}

// A leaf's name and value; in a leaf-list's row the value stands alone.
void dr_json_cwalker_c::print_value(const drend_tag_object_c* tobj, std::string_view text) {
    if (std::exchange(holds_name_, false)) {
        output_.add_element(leaf_level(), tobj->dto_tag->member_text(), dri_json_escaper,
                            "\"", text, "\"");
    } else {
        output_.add_value(dri_json_escaper, "\"", text, "\"");
    }
}

int dr_json_cwalker_c::pop_private(const drend_tag_object_c* tobj) {
    if (is_left_out(tobj)) {
        return levels_.empty() ? 1 : 0;
    }
    if (tobj->type() == DT_TYPE_LEAF) {
        if (std::exchange(holds_name_, false)) {
            print_name(tobj, leaf_level()); // no value came
        }
        if (levels_.empty()) {
            output_.add("\n}");
        }
        return 0;
    }
    if (levels_.empty()) {
        return 1;
    }
    if (tobj->type() != DT_TYPE_LEAF_LIST) {
        output_.add('\n');
        output_.add_indent(indent_level());
        output_.add('}');
    }
    levels_.pop_back();
    if (is_list(tobj)) {
        clear_keys(tobj);
        if (lists_.back().is_single_row) {
            list_stop(tobj);
        }
    } else if (levels_.empty()) {
        output_.add("\n}");
    }
    return 0;
}

void dr_json_cwalker_c::list_start(const drend_tag_object_c* tobj) {
    if (is_left_out(tobj)) {
        return;
    }
    open_answer(tobj);
    const bool has_name = !is_in_leaf_list_row();
    output_.add_separator(begin_member(), has_name);
    levels_.push_back(EMPTY);
    lists_.push_back({tobj, false});
    if (has_name) {
        print_name(tobj, indent_level());
    }
    output_.add('[');
}

void dr_json_cwalker_c::list_stop(const drend_tag_object_c* tobj) {
    if (is_left_out(tobj)) {
        return;
    }
    output_.add(']');
    levels_.pop_back();
    lists_.pop_back();
}
