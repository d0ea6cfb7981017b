// SPDX-License-Identifier: BSD-2-Clause

// The moves of a walk, and the look-ups that filters, keys and value-map expressions make from
// where it is.
//
// Every way down has its way back up: leave() takes back what follow_source() did, and take_back()
// what look_up() did, whatever the tags on the way needed.
#include "definitions/dr_position.h"

#include <cassert>

#include "frame/drend_trace.h"

void dr_position_c::pop_tag_alone() {
    assert(!tags_.empty());
    tags_.pop();
}

// Pushes a copy of the top context, or an empty one.
dr_meta_context_c& dr_position_c::push_copy() {
    dr_meta_context_c* const below = context(0);
    if (below == nullptr) {
        return contexts_.push();
    }
    dr_meta_context_c& copy = contexts_.push(*below);
    copy.take_spare(*below);
    return copy;
}

int dr_position_c::push_context(const char* path, const void* element) {
    return push_context(dr_nav_path_c(path), path, element);
}

int dr_position_c::push_context(const dr_nav_path_c& path, const char* shown,
                                const void* element) {
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: %s: path %s\n", "push_meta_context", shown);
    }
    dr_meta_context_c& moved = push_copy();
    int status = moved.push_path(path, false, element);
    if (status == DREND_OK && moved.get_top_object() == nullptr) {
        status = DREND_ERR; // "." before anything else leads nowhere
    }
    if (status != DREND_OK) {
        pop_context();
    }
    assert(contexts_.empty() || object() != nullptr);
    return status;
}

void dr_position_c::pop_context() {
    if (contexts_.empty()) {
        return;
    }
    dr_meta_context_c* const left = context(0);
    if (dr_meta_context_c* const below = context(1)) {
        left->end_visit();
        below->take_spare(*left);
    }
    contexts_.pop();
}

// --- moving by tag ---

int dr_position_c::follow_source() {
    assert(!tags_.empty());
    drend_tag_object_c* top = tag(0);
    const drend_tag_c* tag = top->dto_tag;
    // A trace shows a context for each source, so there are no visits while the walk is traced.
    if (tag->dt_type == DT_TYPE_LEAF && !contexts_.empty() &&
        tag->source_path().is_child() && !dri_trace_on(DREND_TRACE_WALK)) {
        dr_meta_context_c& row = *context(0);
        dr_meta_node_c* leaf = tag->source_path().child_of(row.get_top_node());
        if (leaf != nullptr && leaf->is_leaf() && !row.is_visiting()) {
            row.visit_leaf(leaf, element_ref_);
            top->dto_is_visit = true;
            return DREND_OK;
        }
    }
    return push_context(tag->source_path(), tag->source().c_str(), element_ref_);
}

void dr_position_c::leave() {
    assert(!tags_.empty() && looked_up_.empty());
    if (tag(0)->dto_is_visit) {
        assert(context(0) != nullptr); // a visit that gave way to exit procedures has ended
        context(0)->end_visit();
    } else if (!tag(0)->source().empty()) {
        pop_context();
    }
    pop_tag_alone();
}

// --- look-ups ---

int dr_position_c::push_for_lookup(const drend_tag_c* tag) {
    if (!tag->source().empty()) {
        const int status =
            push_context(tag->source_path(), tag->source().c_str(), element_ref_);
        if (status != DREND_OK) {
            return status;
        }
    }
    push_tag_alone(tag);
    return DREND_OK;
}

void dr_position_c::pop_after_lookup(unsigned count) {
    assert(count <= tags_.size());
    while (count-- > 0) {
        if (!tag(0)->source().empty()) {
            pop_context();
        }
        pop_tag_alone();
    }
}

// Pushes the kid of that name, below hidden kids when it is not a direct one. The number of tags
// pushed, 0 when there is none.
unsigned dr_position_c::push_component(std::string_view name) {
    const drend_tag_c* top = tag(0)->dto_tag;
    if (const drend_tag_c* kid = top->find_child(name)) {
        return push_for_lookup(kid) == DREND_OK ? 1 : 0;
    }
    for (const drend_tag_c* kid : top->dt_kids) {
        if (!kid->is_hidden() || push_for_lookup(kid) != DREND_OK) {
            continue;
        }
        if (const unsigned below = push_component(name); below > 0) {
            return below + 1;
        }
        pop_after_lookup(1);
    }
    return 0;
}

const drend_tag_c* dr_position_c::leaf_below_row(std::string_view path) const {
    const drend_tag_c* kid = tag(0)->dto_tag->find_child(path);
    return kid != nullptr && is_leaf_below_row(*kid) ? kid : nullptr;
}

bool dr_position_c::is_leaf_below_row(const drend_tag_c& kid) {
    return kid.is_below_row() && kid.name().find('/') == std::string::npos &&
           !dri_trace_on(DREND_TRACE_WALK);
}

int dr_position_c::look_up(std::string_view path) {
    if (tags_.empty()) {
        return DREND_ERR;
    }
    unsigned count = 0;
    for (;;) {
        const size_t end = path.find('/');
        const unsigned pushed = push_component(path.substr(0, end));
        if (pushed == 0) {
            pop_after_lookup(count);
            return DREND_ERR;
        }
        count += pushed;
        if (end == std::string_view::npos) {
            break;
        }
        path.remove_prefix(end + 1);
    }
    looked_up_.push_back(count);
    return DREND_OK;
}

void dr_position_c::take_back() {
    if (!looked_up_.empty()) {
        pop_after_lookup(looked_up_.back());
        looked_up_.pop_back();
    }
}
