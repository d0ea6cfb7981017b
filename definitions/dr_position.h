// SPDX-License-Identifier: BSD-2-Clause

// dr_position_c: where a walk is, in the definition and in the daemon's data.
//
//     tag stack            meta context stack
//     leaf  mtu            .../interface/mtu
//     list  interface      .../interface
//     cont  interfaces     /interfaces
//
//  1. A tag without a source pushes no meta context; the stacks differ in height. A leaf may visit
//     its row's context instead of having one.
//  2. Objects on the stacks keep their addresses while they are on them, and every meta context on
//     its stack has a top object.
//  3. A look-up pushes what it needs and take_back takes all of it off again; look-ups nest.
//
// Belongs to one walk on the daemon's thread.
#pragma once

#include <string_view>
#include <vector>

#include "definitions/drend_tag_object.h"
#include "frame/dr_stack.h"
#include "model/dr_meta_context.h"

class dr_position_c {
  public:
    // `element_ref` is given to the objects of the daemon's data that would inherit no row.
    explicit dr_position_c(const void* element_ref) : element_ref_(element_ref) {}

    void set_element_ref(const void* element_ref) { element_ref_ = element_ref; }
    const void* element_ref() const { return element_ref_; }

    // --- the stacks ---

    // The object `n` places below the top, or null.
    drend_tag_object_c* tag(size_t n) const { return tags_.from_top(n); }
    dr_meta_context_c* context(size_t n) const { return contexts_.from_top(n); }
    size_t tag_depth() const { return tags_.size(); }
    size_t context_depth() const { return contexts_.size(); }
    // The top object and node of the context on top, or null.
    const dr_meta_object_c* object() const {
        return contexts_.empty() ? nullptr : context(0)->get_top_object();
    }
    dr_meta_node_c* node() const {
        return contexts_.empty() ? nullptr : context(0)->get_top_node();
    }

    void push_tag_alone(const drend_tag_c* tag) { tags_.push(tag); }
    void pop_tag_alone();
    // Pushes a copy of the top context, moved along the path. The status of the move; the stack
    // changes only when it is DREND_OK.
    int push_context(const char* path, const void* element);
    // The same with a path that is cut already; `shown` is its text for the trace.
    int push_context(const dr_nav_path_c& path, const char* shown, const void* element);
    void pop_context();
    // Pushes a container or list, and a copy of the top context, which there is, moved to `node`, a
    // child of the top node.
    void push_child(const drend_tag_c* tag, dr_meta_node_c* node) {
        push_tag_alone(tag);
        push_copy().push_child(node, element_ref_);
    }

    // --- moving by tag ---

    // Moves the daemon's context along the source of the tag on top, which may be a leaf that its
    // row's context visits. The status of the move.
    int follow_source();
    // Takes that move back and pops the tag.
    void leave();

    // The kid of the tag on top that is all of such a path, where its source is a child of where
    // the walk is: nearly every name is that of a leaf of the row, which need not be moved to. Or
    // null, also while a trace shows the moves.
    const drend_tag_c* leaf_below_row(std::string_view path) const;
    // Whether a kid is such a leaf.
    static bool is_leaf_below_row(const drend_tag_c& kid);
    // Pushes the tags that a path of kids' names leads through, each with its context. A name that
    // is no kid's is sought below the hidden kids. 0, or DREND_ERR with nothing pushed.
    int look_up(std::string_view path);
    void take_back(); // no-op when nothing is looked up

  private:
    dr_meta_context_c& push_copy();
    int push_for_lookup(const drend_tag_c* tag);
    void pop_after_lookup(unsigned count);
    unsigned push_component(std::string_view name);

    const void* element_ref_;
    dr_stack_c<drend_tag_object_c> tags_;
    dr_stack_c<dr_meta_context_c> contexts_;
    std::vector<unsigned> looked_up_; // how many tags each look-up pushed
};
