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

// Key leaves that went out ahead of their row, and tags that are for the library's own use.
bool dr_json_cwalker_c::is_skipped(const drend_tag_object_c* tobj) const {
    const drend_tag_c* tag = tobj->dto_tag;
    return tag->is_internal_tag() || (keys_emitted_ && tag->isset_flag(DT_FLAG_KEY));
}

void dr_json_cwalker_c::push(const drend_tag_object_c* tobj) {
    if (!is_skipped(tobj)) {
        dr_json_cwalker_c::push_private(tobj);
    }
}

void dr_json_cwalker_c::push_value(const drend_tag_object_c* tobj,
                                   const dr_value_c& value) {
    if (!is_skipped(tobj)) {
        dr_json_cwalker_c::push_value_private(tobj, value);
    }
}

void dr_json_cwalker_c::pop(const drend_tag_object_c* tobj) {
    // Of a leaf in an open object nothing is left to be printed.
    const bool is_done = tobj->type() == DT_TYPE_LEAF && !holds_name_ && !levels_.empty();
    if (!is_done && !is_skipped(tobj)) {
        dr_json_cwalker_c::pop_private(tobj);
    }
}

int dr_json_cwalker_c::indent_level() const {
    return static_cast<int>(levels_.size()) - (answer_is_object_ ? 1 : 0);
}

bool dr_json_cwalker_c::has_hidden_root() const {
    const auto bottom = static_cast<unsigned>(context_.tag_depth()) - 1;
    return context_.get_top_tag(bottom)->dto_tag->is_hidden();
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
    // The value of a leaf-list's row is an element of the list itself.
    const bool in_row = levels_.back() == LEAF_LIST_ROW && levels_.size() > 1;
    level_e& level = levels_[levels_.size() - (in_row ? 2 : 1)];
    const bool wrote_before = level == WRITTEN;
    level = WRITTEN;
    return wrote_before;
}

void dr_json_cwalker_c::push_private(const drend_tag_object_c* tobj) {
    if (is_list(tobj)) {
        open_element(tobj);
        return;
    }
    open_answer(tobj);
    const bool wrote_before = begin_member();
    const bool has_name = !tobj->dto_tag->is_leaf_list_value();
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
    dr_value_c::scratch_t scratch;
    std::string_view text;
    if (!tobj->dto_tag->is_decimal64() && value.get_text(text, scratch)) {
        print_value(tobj, text);
    } else {
        dr_str_buf_c formatted;
        print_value(tobj, value.get_value_as_string(tobj, formatted.buf()));
    }
}

// A leaf's name and value; the value of a leaf-list's row stands alone.
void dr_json_cwalker_c::print_value(const drend_tag_object_c* tobj, std::string_view text) {
    if (std::exchange(holds_name_, false)) {
        output_.add_element(leaf_level(), tobj->dto_tag->member_text(), dri_json_escaper,
                            "\"", text, "\"");
    } else {
        output_.add_value(dri_json_escaper, "\"", text, "\"");
    }
}

int dr_json_cwalker_c::pop_private(const drend_tag_object_c* tobj) {
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
    if (tobj->type() != DT_TYPE_LEAF_LIST && !tobj->dto_tag->is_leaf_list_value()) {
        output_.add('\n');
        output_.add_indent(indent_level());
        output_.add('}');
    }
    levels_.pop_back();
    if (is_list(tobj)) {
        if (lists_.back().is_single_row) {
            list_stop(tobj);
        }
    } else if (levels_.empty()) {
        output_.add("\n}");
    }
    return 0;
}

void dr_json_cwalker_c::list_start(const drend_tag_object_c* tobj) {
    open_answer(tobj);
    output_.add_separator(begin_member(), true);
    levels_.push_back(EMPTY);
    lists_.push_back({tobj, false});
    print_name(tobj, indent_level());
    output_.add('[');
}

void dr_json_cwalker_c::list_stop(const drend_tag_object_c* /*tobj*/) {
    output_.add(']');
    levels_.pop_back();
    lists_.pop_back();
}
