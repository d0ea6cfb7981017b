// SPDX-License-Identifier: BSD-2-Clause

// What walkers have in common: leaves by tag object for those that want them so, and keys that are
// read ahead of their row. Records of keys are reused, for every row has as many.

#include "render/drend_context_walker.h"

#include <cassert>

#include "render/dr_tags_access_context.h"

int dr_context_walker_c::finish_output() {
    output_.release();
    return status() == DREND_PEER_LOST ? 0 : drend_flush(output_.peer());
}

void dr_context_walker_c::leaf(const dr_row_kid_s& leaf, const dr_value_c& value) {
    const bool is_on_top = context_.get_top_tag(0)->dto_tag == leaf.tag;
    if (!is_on_top) {
        context_.push_tag_alone(leaf.tag);
    }
    const drend_tag_object_c* tobj = context_.get_top_tag(0);
    push(tobj);
    push_value(tobj, value);
    pop(tobj);
    if (!is_on_top) {
        context_.pop_tag_alone();
    }
}

bool dr_context_walker_c::zero_suppression_check(const drend_tag_c& tag,
                                                 const dr_value_c& value) {
    return !tag.isset_flag(DT_FLAG_ZERO_SUPPRESSION) || !value.is_value_zero();
}

void dr_context_walker_c::emit_keys_for_parent(const drend_tag_object_c* tobj,
                                               dr_context_walker_c* walker) {
    for (const std::string& name : tobj->dto_tag->dt_keys) {
        const drend_tag_c* kid = tobj->dto_tag->find_child(name);
        const dr_list_key_val* key = kid == nullptr ? nullptr : read_key(tobj, *kid);
        if (key == nullptr) {
            continue;
        }
        dr_value_c value;
        value.set_string(key->value.c_str());
        context_.push_tag_alone(key->tag);
        const drend_tag_object_c* key_object = context_.get_top_tag(0);
        walker->push_private(key_object);
        walker->push_value_private(key_object, value);
        walker->pop_private(key_object);
        context_.pop_tag_alone();
    }
}

dr_context_walker_c::leaf_place_e
dr_context_walker_c::place_of(const drend_tag_c& tag, const dr_value_c& value) const {
    if (!zero_suppression_check(tag, value) || tag.is_internal_tag()) {
        return leaf_place_e::NOWHERE;
    }
    return find_key(tag) != nullptr ? leaf_place_e::WITH_ROW : leaf_place_e::HERE;
}

void dr_context_walker_c::read_keys(const drend_tag_object_c* row, int level) {
    for (const std::string& name : row->dto_tag->dt_keys) {
        const drend_tag_c* kid = row->dto_tag->find_child(name);
        if (kid == nullptr || kid->is_internal_tag()) {
            continue;
        }
        if (dr_list_key_val* key = read_key(row, *kid)) {
            key->level = level;
        }
    }
}

dr_list_key_val* dr_context_walker_c::read_key(const drend_tag_object_c* row,
                                               const drend_tag_c& kid) {
    std::string_view text;
    if (context_.read_leaf(kid, text) != 0) {
        return nullptr;
    }
    if (keys_used_ == keys_.size()) {
        keys_.emplace_back();
    }
    dr_list_key_val& key = keys_[keys_used_++];
    key.owner = row;
    key.tag = &kid;
    key.value = text;
    key.type = context_.type_read();
    key.level = 0;
    return &key;
}

const dr_list_key_val* dr_context_walker_c::find_key(const drend_tag_c& leaf) const {
    if (!leaf.isset_flag(DT_FLAG_KEY)) {
        return nullptr;
    }
    for (size_t i = keys_used_; i-- > 0;) {
        if (keys_[i].tag == &leaf) {
            return &keys_[i];
        }
    }
    return nullptr;
}

void dr_context_walker_c::clear_keys(const drend_tag_object_c* row) {
    assert(keys_used_ <= keys_.size());
    while (keys_used_ > 0 && keys_[keys_used_ - 1].owner == row) {
        --keys_used_;
    }
}
