// SPDX-License-Identifier: BSD-2-Clause

// A leaf is its value; what other walkers print around it is left out.

#include "render/dr_string_cwalker.h"

#include "frame/dr_str_buf.h"

void dr_string_cwalker_c::push(const drend_tag_object_c* tobj) {
    if (tobj->dto_tag->is_leaf_list_value()) {
        if (!paths_.empty()) {
            paths_.push_back(
                paths_.back()); // a value is labelled with the path of its list
        }
    } else if (paths_.empty()) {
        paths_.push_back(tobj->name());
    } else {
        paths_.push_back(paths_.back() + " " + tobj->name());
    }
}

void dr_string_cwalker_c::push_value(const drend_tag_object_c* /*tobj*/,
                                     const dr_value_c& value) {
    dr_str_buf_c text;
    if (!output_->empty()) {
        *output_ += "\n";
    }
    if (!paths_.empty()) {
        *output_ += paths_.back();
        *output_ += " ";
    }
    *output_ += value.c_str(text.buf());
}

void dr_string_cwalker_c::pop(const drend_tag_object_c* /*tobj*/) {
    if (!paths_.empty()) {
        paths_.pop_back();
    }
}
