// SPDX-License-Identifier: BSD-2-Clause

#include "render/dr_ietf_xml_cwalker.h"

#include "definitions/dr_row_texts.h"

dr_ietf_xml_cwalker_c::dr_ietf_xml_cwalker_c(dr_tags_access_context_c& context, void* peer,
                                             dr_look_s look)
    : dr_nested_cwalker_c(context, peer, dr_text_format_e::IETF_XML, look.is_compact,
                          look.is_ascii ? dri_ascii_xml_escaper : dri_exact_xml_escaper) {}

// Makes the texts around an element for which none are prepared.
void dr_ietf_xml_cwalker_c::make_texts(const drend_tag_c& tag, const open_s& outer) {
    opening_.clear();
    closing_.clear();
    dri_append_opening(opening_, tag, shape_in(outer));
    dri_append_closing(closing_, tag, shape_in(outer));
}

void dr_ietf_xml_cwalker_c::print_opening(const open_s& opened, const open_s& outer) {
    if (opened.tobj == nullptr) {
        return; // the document has no element
    }
    if (opened.tobj->dto_in_row != nullptr) {
        output_.add_padded(opened.tobj->dto_in_row->opening);
    } else {
        make_texts(*opened.tobj->dto_tag, outer);
        output_.add(opening_);
    }
}

void dr_ietf_xml_cwalker_c::print_closing(const open_s& closed, const open_s& outer) {
    if (closed.tobj == nullptr) {
        return;
    }
    if (closed.tobj->dto_in_row != nullptr) {
        output_.add_padded(closed.tobj->dto_in_row->closing);
    } else {
        make_texts(*closed.tobj->dto_tag, outer);
        output_.add(closing_);
    }
}

void dr_ietf_xml_cwalker_c::print_key(const dr_list_key_val& key, const open_s& row) {
    const dr_row_kid_s* leaf = row.leaf_list == nullptr ? in_row(key) : nullptr;
    if (leaf != nullptr) {
        output_.add_value(leaf->opening, escaper_, key.value, leaf->closing);
        return;
    }
    if (begin_value(row.leaf_list == nullptr ? *key.tag : *row.leaf_list, *key.tag, row)) {
        output_.add_value(opening_, escaper_, key.value, closing_);
    }
}

void dr_ietf_xml_cwalker_c::leaf(const dr_row_kid_s& leaf, const dr_value_c& value) {
    if (begin_row_leaf(leaf, value)) {
        output_.add_row_leaf(leaf, 0, escaper_, value);
    }
}

void dr_ietf_xml_cwalker_c::print_leaf(const drend_tag_c& named, const drend_tag_c& tag,
                                       const dr_value_c& value) {
    if (begin_value(named, tag, open_.back())) {
        output_.add_leaf(opening_, escaper_, tag, value, closing_);
    }
}

// Makes the texts around a value, or prints them where there is none between them.
bool dr_ietf_xml_cwalker_c::begin_value(const drend_tag_c& named, const drend_tag_c& tag,
                                        const open_s& place) {
    make_texts(named, place);
    if (tag.dt_data_type == DT_DATA_EMPTY) {
        output_.add(opening_.append(closing_));
        return false;
    }
    dri_append_ietf_prefix(opening_, tag, dr_text_format_e::IETF_XML);
    return true;
}
