// SPDX-License-Identifier: BSD-2-Clause

// The daemon of a random case. What it answers depends on the case, and on which readings of a leaf
// are the first since the run began.

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "drend.h"
#include "random_case.h"

namespace {

node_s& node_of(const void* data) {
    return *const_cast<node_s*>(static_cast<const node_s*>(data));
}

const mark_s* mark_at(dr_meta_context_s* ctx, unsigned offset) {
    return static_cast<const mark_s*>(drend_get_element_ref_offset(ctx, offset));
}

unsigned row_of(const mark_s* mark, const node_s& node) {
    return mark == nullptr ? 0 : mark->index % node.rows;
}

int step(dr_meta_context_s* ctx, const void* data) {
    const node_s& node = node_of(data);
    const mark_s* at = mark_at(ctx, 0);
    const unsigned above = row_of(mark_at(ctx, 1), node);
    const unsigned next = at == nullptr ? above * node.most : at->index + 1;
    if (next >= above * node.most + node.owner->count_of(node, above)) {
        drend_set_element_ref(ctx, nullptr);
        return node.id % 2 == 0 ? DREND_NO_EL : DREND_OK; // either says so
    }
    drend_set_element_ref(ctx, &node.marks[next]);
    return node.owner->suspends() ? DREND_DEFER : DREND_OK;
}

int name_kid(dr_meta_context_s* ctx, const void* data) {
    node_s& node = node_of(data);
    void* ref = nullptr;
    drend_get_attribute_ref(ctx, &ref);
    const auto* at = node.marks_by_element ? mark_at(ctx, 0) : static_cast<mark_s*>(ref);
    const bool is_own = std::any_of(node.marks.begin(), node.marks.end(),
                                    [&](const mark_s& mark) { return &mark == at; });
    const size_t next = is_own ? at->index + size_t{1} : 0; // else the row's own mark
    ++node.owner->questions;
    if (next == node.marks.size() || node.owner->is_overrun()) {
        drend_set_attribute_ref(ctx, nullptr);
        return DREND_NO_EL;
    }
    if (node.named[next].has_value()) {
        drend_set_attribute_name(ctx, node.named[next]->c_str());
    }
    return node.marks_by_element ? drend_set_element_ref(ctx, &node.marks[next])
                                 : drend_set_attribute_ref(ctx, &node.marks[next]);
}

int set_integer(dr_meta_context_s* ctx, unsigned bits, long long value) {
    switch (bits) {
    case 7:
        return drend_set_int8_value(ctx, static_cast<int8_t>(value));
    case 8:
        return drend_set_uint8_value(ctx, static_cast<uint8_t>(value));
    case 15:
        return drend_set_int16_value(ctx, static_cast<int16_t>(value));
    case 16:
        return drend_set_uint16_value(ctx, static_cast<uint16_t>(value));
    case 31:
        return drend_set_int32_value(ctx, static_cast<int32_t>(value));
    case 32:
        return drend_set_uint32_value(ctx, static_cast<uint32_t>(value));
    case 63:
        return drend_set_int64_value(ctx, value);
    default:
        return drend_set_uint64_value(ctx, static_cast<uint64_t>(value));
    }
}

int read(dr_meta_context_s* ctx, const void* data) {
    node_s& leaf = node_of(data);
    const unsigned row = row_of(mark_at(ctx, 0), leaf);
    const bool is_ahead =
        leaf.is_key && (leaf.asked[row] == 0 || leaf.owner->asks_keys_often);
    if (!leaf.is_looked_up && !is_ahead && leaf.owner->suspends()) {
        return DREND_DEFER;
    }
    const reading_s reading = leaf.owner->reading_of(leaf, row);
    const int status = leaf.asked[row]++ == 0 ? reading.first : reading.later;
    if (status != DREND_OK || !reading.sets_value) {
        return status;
    }
    const char* value = leaf.owner->value_of(leaf, row);
    switch (leaf.form) {
    case node_s::INTEGER:
        return set_integer(ctx, leaf.bits_of(value), atoll(value));
    case node_s::REAL:
        return drend_set_decimal64_value(ctx, strtod(value, nullptr));
    case node_s::TRUTH:
        return drend_set_boolean_value(ctx, *value == 't');
    default:
        return drend_set_string_value(ctx, value);
    }
}

int enter(dr_meta_context_s*, const void* data) {
    return ++node_of(data).entered;
}

int leave(dr_meta_context_s*, const void* data) {
    return --node_of(data).entered;
}

} // namespace

void case_s::serve() {
    for (node_s& node : nodes) {
        const char* path = node.path.c_str();
        if (node.kind == node_s::LEAF) {
            drend_add_str_leaf(path, read, &node);
            continue;
        }
        if (node.kind == node_s::LIST) {
            drend_add_list(path, step, &node);
        } else if (node.kind == node_s::DYNAMIC) {
            drend_add_cont_cb(path, name_kid, &node);
        }
        drend_add_enter(path, enter, &node);
        drend_add_exit(path, leave, &node);
    }
}

void case_s::begin_run(uint64_t run_seed, unsigned suspensions_in_run) {
    dice = dice_c(run_seed);
    suspensions = suspensions_in_run;
    questions = 0;
    for (node_s& node : nodes) {
        node.asked.assign(node.rows, 0);
    }
}

bool case_s::is_balanced() const {
    return std::all_of(nodes.begin(), nodes.end(),
                       [](const node_s& node) { return node.entered == 0; });
}
