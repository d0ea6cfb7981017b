// SPDX-License-Identifier: BSD-2-Clause

// Preparing rows: the work that is the same for every row of a list is done once.
//
// The texts of all kids stand in one string, in the order in which a walk prints them.
#include "definitions/dr_row.h"

#include "definitions/dr_row_texts.h"
#include "definitions/drend_tag.h"
#include "frame/dr_plain_text.h"

namespace {

// The child of `node` that a kid's source leads to, or null where it leads elsewhere.
dr_meta_node_c* child_of(const drend_tag_c& tag, const dr_meta_node_c* node) {
    const dr_nav_path_c& path = tag.source_path();
    return path.is_child() && path.steps()[0].key() == nullptr ? path.child_of(node)
                                                               : nullptr;
}

// Whether a kid shows the value of one leaf and nothing else.
bool is_plain_leaf(const drend_tag_c& tag, const dr_meta_node_c* source) {
    return source != nullptr && tag.dt_type == DT_TYPE_LEAF && !tag.is_hidden() &&
           !tag.is_leaf_list_value() &&
           (tag.dt_map == nullptr || !tag.dt_map->has_expressions());
}

bool is_ietf(dr_text_format_e format) {
    return format == dr_text_format_e::IETF_XML || format == dr_text_format_e::IETF_JSON;
}

// Whether a kid is printed with the name and the indentation of its own. What is printed for an
// empty leaf in the forms with types is not its value.
bool has_texts(const drend_tag_c& tag, dr_text_format_e format) {
    const bool is_empty_leaf =
        tag.dt_type == DT_TYPE_LEAF && tag.dt_data_type == DT_DATA_EMPTY;
    return !tag.is_hidden() && !tag.is_leaf_list_value() &&
           !(is_ietf(format) && is_empty_leaf);
}

} // namespace

dr_row_c::dr_row_c(const drend_tag_c& tag, const dr_meta_node_c* node, dr_row_shape_s shape)
    : node_(node), generation_(dmn_generation()), shape_(shape) {
    kids_.reserve(tag.dt_kids.size());
    for (const drend_tag_c* kid : tag.dt_kids) {
        dr_meta_node_c* const source = child_of(*kid, node);
        kids_.push_back({kid, source, is_plain_leaf(*kid, source)});
    }
    if (shape.format != dr_text_format_e::NONE) {
        make_texts(shape);
    }
}

void dr_row_c::make_texts(dr_row_shape_s shape) {
    std::vector<size_t> ends;
    for (const dr_row_kid_s& kid : kids_) {
        const bool is_prepared = has_texts(*kid.tag, shape.format);
        if (is_prepared) {
            dri_append_opening(texts_, *kid.tag, shape);
        }
        if (is_prepared && is_ietf(shape.format) && kid.tag->dt_type == DT_TYPE_LEAF) {
            dri_append_ietf_prefix(texts_, *kid.tag, shape.format);
        }
        ends.push_back(texts_.size());
        if (is_prepared) {
            dri_append_closing(texts_, *kid.tag, shape);
        }
        ends.push_back(texts_.size());
    }
    texts_.append(DRI_PADDING, ' ');
    size_t at = 0;
    for (size_t i = 0; i < ends.size(); ++i) {
        const auto text = std::string_view(texts_).substr(at, ends[i] - at);
        (i % 2 == 0 ? kids_[i / 2].opening : kids_[i / 2].closing) = text;
        at = ends[i];
    }
}

const dr_row_kid_s* dr_row_c::find(const drend_tag_c& tag) const {
    for (const dr_row_kid_s& kid : kids_) {
        if (kid.tag == &tag && !kid.opening.empty()) {
            return &kid;
        }
    }
    return nullptr;
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
