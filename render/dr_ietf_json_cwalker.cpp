// SPDX-License-Identifier: BSD-2-Clause

// Prepared texts of leaves have quotes, and a comma in front; both are left out where they are not
// wanted.
#include "render/dr_ietf_json_cwalker.h"

#include "definitions/dr_row_texts.h"

namespace {

[[gnu::noinline]] bool is_bare_text(const drend_tag_c& tag, const dr_value_c& value) {
    dr_value_c::scratch_t scratch;
    return tag.dt_json_typing.is_bare_text(tag.value_text(value, scratch));
}

// Whether a value stands without quotes.
inline bool is_bare(const drend_tag_c& tag, const dr_value_c& value) {
    const dr_json_typing_c& typing = tag.dt_json_typing;
    return typing.is_bare(value.type()) || (typing.asks_text() && is_bare_text(tag, value));
}

bool is_bare(const drend_tag_c& tag, dr_value_type_t type, std::string_view text) {
    const dr_json_typing_c& typing = tag.dt_json_typing;
    return typing.is_bare(type) || typing.is_bare_text(text);
}

} // namespace

dr_ietf_json_cwalker_c::dr_ietf_json_cwalker_c(dr_tags_access_context_c& context,
                                               void* peer, dr_look_s look)
    : dr_nested_cwalker_c(context, peer, dr_text_format_e::IETF_JSON, look.is_compact,
                          look.is_ascii ? dri_ascii_json_escaper : dri_json_escaper) {
    open_.front().level = 1; // the document has a line for its own braces
}

// --- objects and arrays ---------------------------------------------------------------------

void dr_ietf_json_cwalker_c::open_object() {
    output_.add("{");
    begin_object();
}

bool dr_ietf_json_cwalker_c::close_object() {
    end_array();
    const bool had_members = object_.has_members;
    object_ = outer_.back();
    outer_.pop_back();
    return had_members;
}

// Makes what stands in front of the content of a member, or of the next value of an array.
void dr_ietf_json_cwalker_c::make_opening(const drend_tag_c& named, const open_s& place) {
    opening_.clear();
    if (object_.array == &named) {
        opening_.append(is_compact_ ? "," : ", ");
        return;
    }
    end_array();
    dri_append_opening(opening_, named, shape_in(place));
    if (!begin_member()) {
        opening_.erase(0, 1);
    }
    const bool is_array =
        named.dt_type == DT_TYPE_LIST || named.dt_type == DT_TYPE_LEAF_LIST;
    object_.array = is_array ? &named : nullptr;
}

// Prints what stands in front of the members of a container or row.
void dr_ietf_json_cwalker_c::print_opening(const open_s& opened, const open_s& outer) {
    if (opened.tobj == nullptr) {
        open_object();
        return;
    }
    const drend_tag_c& tag = *opened.tobj->dto_tag;
    const drend_tag_c& named = outer.leaf_list == nullptr ? tag : *outer.leaf_list;
    if (object_.array == &named) {
        output_.add(is_compact_ ? ",{" : ", {");
    } else if (opened.tobj->dto_in_row != nullptr && outer.leaf_list == nullptr) {
        end_array();
        output_.add_padded(opened.tobj->dto_in_row->opening.substr(begin_member() ? 0 : 1));
        object_.array = tag.dt_type == DT_TYPE_LIST ? &tag : nullptr;
    } else {
        make_opening(named, outer);
        output_.add(opening_.append(outer.leaf_list == nullptr ? "" : "{"));
    }
    begin_object();
}

// In a member that belongs to no module. Of a cursor's characters none is escaped.
void dr_ietf_json_cwalker_c::print_cursor() {
    if (!cursor().empty()) {
        end_array();
        opening_.assign(begin_member() ? "," : "").append(is_compact_ ? "" : "\n  ");
        opening_.append(is_compact_ ? "\"cursor\":\"" : "\"cursor\": \"");
        output_.add(opening_.append(cursor()).append("\""));
    }
}

void dr_ietf_json_cwalker_c::print_cursor_alone() {
    print_opening(open_.front(), open_.front());
    print_closing(open_.front(), open_.front());
}

void dr_ietf_json_cwalker_c::print_closing(const open_s& closed, const open_s& outer) {
    if (closed.tobj == nullptr) {
        print_cursor();
    }
    if (!close_object()) {
        output_.add("}");
    } else if (closed.tobj == nullptr) {
        output_.add(is_compact_ ? "}" : "\n}\n");
    } else if (closed.tobj->dto_in_row != nullptr) {
        output_.add_padded(closed.tobj->dto_in_row->closing);
    } else {
        closing_.clear();
        dri_append_closing(closing_, *closed.tobj->dto_tag, shape_in(outer));
        output_.add(closing_);
    }
}

// --- values ---------------------------------------------------------------------------------

void dr_ietf_json_cwalker_c::leaf(const dr_row_kid_s& leaf, const dr_value_c& value) {
    if (!begin_row_leaf(leaf, value)) {
        return;
    }
    end_array();
    const size_t comma = begin_member() ? 0 : 1;
    if (is_bare(*leaf.tag, value)) {
        output_.add_row_leaf<1>(leaf, comma, escaper_, value);
    } else {
        output_.add_row_leaf(leaf, comma, escaper_, value);
    }
}

void dr_ietf_json_cwalker_c::print_leaf(const drend_tag_c& named, const drend_tag_c& tag,
                                        const dr_value_c& value) {
    make_opening(named, open_.back());
    dr_value_c::scratch_t scratch;
    print_value(tag, value.type(), tag.value_text(value, scratch));
}

void dr_ietf_json_cwalker_c::print_key(const dr_list_key_val& key, const open_s& row) {
    const dr_row_kid_s* leaf = row.leaf_list == nullptr ? in_row(key) : nullptr;
    if (leaf == nullptr) {
        make_opening(row.leaf_list == nullptr ? *key.tag : *row.leaf_list, row);
        print_value(*key.tag, key.type, key.value);
        return;
    }
    end_array(); // of the row before, where rows have no braces of their own
    std::string_view opening = leaf->opening.substr(begin_member() ? 0 : 1);
    const size_t quote = is_bare(*key.tag, key.type, key.value) ? 0 : 1;
    opening.remove_suffix(1 - quote);
    output_.add_value(opening, escaper_, key.value, leaf->closing.substr(1 - quote));
}

void dr_ietf_json_cwalker_c::print_value(const drend_tag_c& tag, dr_value_type_t type,
                                         std::string_view text) {
    if (tag.dt_data_type == DT_DATA_EMPTY) {
        output_.add(opening_.append("[null]"));
        return;
    }
    const bool is_text = !is_bare(tag, type, text);
    if (is_text) {
        dri_append_ietf_prefix(opening_, tag, dr_text_format_e::IETF_JSON);
    }
    output_.add_value(opening_, escaper_, text, is_text ? "\"" : "");
}
