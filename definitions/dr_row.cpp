// SPDX-License-Identifier: BSD-2-Clause

// Preparing rows: the work that is the same for every row of a list is done once.
//
// The opening texts of all kids stand in one string, in the order in which a walk prints them.
#include "definitions/dr_row.h"

#include "definitions/drend_tag.h"
#include "frame/dr_plain_text.h"

namespace {

// The leaf of which a kid shows the value and nothing else, or null.
dr_meta_node_c* leaf_of(const drend_tag_c& tag, const dr_meta_node_c* node) {
    const bool is_plain = tag.dt_type == DT_TYPE_LEAF && !tag.is_hidden() &&
                          !tag.is_leaf_list_value() && tag.source_path().is_child() &&
                          (tag.dt_map == nullptr || !tag.dt_map->has_expressions());
    return is_plain ? tag.source_path().child_of(node) : nullptr;
}

std::string opening_of(const drend_tag_c& tag, dr_row_shape_s shape) {
    const size_t width = 2 * static_cast<size_t>(shape.level);
    std::string opening;
    if (shape.format == dr_text_format_e::XML) {
        opening.append(width, ' ').append(tag.open_text()).append(tag.dt_prefix);
    } else {
        opening.append(",\n").append(width, ' ').append(tag.member_text()).append(1, '"');
    }
    return opening;
}

std::string_view closing_of(const drend_tag_c& tag, dr_row_shape_s shape) {
    return shape.format == dr_text_format_e::XML ? std::string_view(tag.close_text()) : "\"";
}

} // namespace

dr_row_c::dr_row_c(const drend_tag_c& tag, const dr_meta_node_c* node, dr_row_shape_s shape)
    : node_(node), generation_(dmn_generation()), shape_(shape) {
    kids_.reserve(tag.dt_kids.size());
    for (const drend_tag_c* kid : tag.dt_kids) {
        kids_.push_back({kid, leaf_of(*kid, node)});
    }
    if (shape.format != dr_text_format_e::NONE) {
        make_texts(shape);
    }
}

void dr_row_c::make_texts(dr_row_shape_s shape) {
    std::vector<size_t> ends;
    const auto add = [&](std::string_view text) {
        texts_ += text;
        ends.push_back(texts_.size());
    };
    for (const dr_row_kid_s& kid : kids_) {
        add(kid.is_plain() ? opening_of(*kid.tag, shape) : "");
        add(kid.is_plain() ? closing_of(*kid.tag, shape) : "");
    }
    texts_.append(DRI_PADDING, ' ');
    size_t at = 0;
    for (size_t i = 0; i < ends.size(); ++i) {
        const auto text = std::string_view(texts_).substr(at, ends[i] - at);
        (i % 2 == 0 ? kids_[i / 2].opening : kids_[i / 2].closing) = text;
        at = ends[i];
    }
}

dr_row_ref_c dr_row_cache_c::find_or_make(const drend_tag_c& tag,
                                          const dr_meta_node_c* node,
                                          dr_row_shape_s shape) {
    for (const dr_row_ref_c& row : rows_) {
        if (row.get() != nullptr && row->fits(node, shape)) {
            return row;
        }
    }
    const dr_row_ref_c made(new dr_row_c(tag, node, shape));
    rows_[next_] = made;
    next_ = (next_ + 1) % KEPT;
    return made;
}
