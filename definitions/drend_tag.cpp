// SPDX-License-Identifier: BSD-2-Clause

// What a tag prepares when it is made, and what it does with a value.
//
// Elements are printed far more often than definitions are loaded, so a tag keeps the texts of its
// markup, escaped and ready to be copied.
#include "definitions/drend_tag.h"

#include <algorithm>
#include <atomic>
#include <cassert>

#include "frame/dr_str_buf.h"
#include "frame/drend_trace.h"
#include "frame/escape.h"

namespace {

std::atomic<int> tag_count{0};
std::atomic<uint64_t> next_serial{1};

uint64_t new_serial() {
    return next_serial.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

int dri_get_tag_count() {
    return tag_count.load(std::memory_order_relaxed);
}

std::string dri_pasted_namespace(std::string_view text) {
    std::string pasted;
    if (!text.empty()) {
        pasted.reserve(text.size() + 1);
        pasted.append(1, ' ').append(text);
        std::replace(pasted.begin(), pasted.end(), '\'', '"');
    }
    return pasted;
}

drend_tag_c::drend_tag_c(std::string_view name, std::string_view source)
    : serial_(new_serial()), name_(name), is_leaf_list_value_(name == DT_LEAF_LIST_VALUE) {
    set_source(source);
    make_texts();
    tag_count.fetch_add(1, std::memory_order_relaxed);
}

drend_tag_c::drend_tag_c(const drend_tag_c& other)
    : dt_prefix(other.dt_prefix), dt_help(other.dt_help), dt_module(other.dt_module),
      dt_type(other.dt_type), dt_data_type(other.dt_data_type),
      dt_decimal64_fraction(other.dt_decimal64_fraction),
      dt_has_data_type(other.dt_has_data_type), dt_json_typing(other.dt_json_typing),
      dt_fid(other.dt_fid), dt_flags(other.dt_flags), dt_is_config(other.dt_is_config),
      dt_content(other.dt_content), dt_map(other.dt_map), dt_table(other.dt_table),
      dt_keys(other.dt_keys), dt_place(other.dt_place), dt_kids(other.dt_kids),
      dt_commands(other.dt_commands), serial_(new_serial()), name_(other.name_),
      source_(other.source_), source_path_(other.source_path_),
      namespace_(other.namespace_), open_line_(other.open_line_),
      close_text_(other.close_text_), member_text_(other.member_text_),
      is_leaf_list_value_(other.is_leaf_list_value_) {
    tag_count.fetch_add(1, std::memory_order_relaxed);
}

drend_tag_c::~drend_tag_c() {
    assert(dt_uses == 0); // a set is destroyed when no walk uses it
    tag_count.fetch_sub(1, std::memory_order_relaxed);
}

void drend_tag_c::set_source(std::string_view source) {
    source_ = source;
    source_path_ = source.empty() ? dr_nav_path_c() : dr_nav_path_c(source_.c_str());
}

void drend_tag_c::set_namespace(std::string_view text) {
    namespace_ = dri_pasted_namespace(text);
    make_texts();
}

void drend_tag_c::make_texts() {
    open_line_.clear();
    open_line_.reserve(name_.size() + namespace_.size() + 3);
    open_line_.append(1, '<').append(name_).append(namespace_).append(">\n");
    close_text_.clear();
    close_text_.reserve(name_.size() + 4);
    close_text_.append("</").append(name_).append(">\n");
    member_text_.assign(1, '"');
    dri_json_escaper.append(member_text_, name_, std::string::npos);
    member_text_.append("\" : ");
}

drend_tag_c* drend_tag_c::find_child(std::string_view name) const {
    for (drend_tag_c* kid : dt_kids) {
        if (kid->name_ == name) {
            return kid;
        }
    }
    return nullptr;
}

dr_row_ref_c drend_tag_c::row(const dr_meta_node_c* node, dr_row_shape_s shape) const {
    if (rows_ == nullptr) {
        rows_ = std::make_unique<dr_row_cache_c>();
    }
    return rows_->find_or_make(*this, node, shape);
}

const dr_scope_c* drend_tag_c::own_scope(const dr_scope_c* outer) const {
    return scopes_.find_or_make(outer, *this);
}

drend_tag_c* drend_tag_c::find_child_from_mt_source(const char* source) const {
    const std::string_view wanted(source);
    for (drend_tag_c* kid : dt_kids) {
        if (kid->source_ == wanted) {
            return kid;
        }
    }
    return nullptr;
}

std::string_view drend_tag_c::decimal64_text(const dr_value_c& value,
                                             dr_value_c::scratch_t& scratch) const {
    std::string_view text;
    return value.get_decimal64_text(text, scratch, dt_decimal64_fraction)
               ? text
               : std::string_view("Conversion Error");
}

int drend_tag_c::translate_value(str_buf_s* text, bool& is_expression) const {
    is_expression = false;
    if (!dt_map) {
        return DREND_OK;
    }
    const dr_map_pair_s* pair = dt_map->match(sbuf_str(text));
    if (pair == nullptr) {
        return DREND_ERR;
    }
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: mapped: %s to %s\n", pair->from.c_str(),
                          pair->to.c_str());
    }
    is_expression = pair->is_expression;
    if (!pair->keeps_value) {
        dri_must_write(sbuf_cpy(text, pair->to.c_str()));
    }
    return DREND_OK;
}

int drend_tag_c::translate_value(dr_value_c& value,
                                 const dr_map_parts_t*& expression) const {
    expression = nullptr;
    if (!dt_map) {
        return DREND_OK;
    }
    dr_value_c::scratch_t scratch;
    const dr_map_pair_s* pair = dt_map->find(value.text(scratch));
    if (pair == nullptr) {
        return DREND_ERR;
    }
    if (pair->is_expression) {
        expression = &pair->parts;
    }
    if (!pair->keeps_value) {
        value.refer_to(pair->to, pair->is_plain);
    }
    return DREND_OK;
}
