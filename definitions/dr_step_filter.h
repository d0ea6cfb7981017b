// SPDX-License-Identifier: BSD-2-Clause

// A request's filter: a tree of steps, made once for every walk that has this filter.
//
//     path      /a/b[x='1']/c       .  --  a  --  b[x='1']  --  c            one branch
//
//     subtree   <a><b><x>1</x></b>  .  --  a  -+-  b, one of the ways
//               <b><x>2</x><c/></b>            |     0  x='1', everything below
//               <d/></a>                       |     1  x='2'
//                                              |       '- x, c: within 0 or 1, within 1
//                                              '-  d
//
//  1. A visible tag takes a step from those below the one that was taken last. A path's step takes
//     any tag, and hides it unless the name fits; a subtree's is for one tag of the definition, and
//     the first of each level, which has no ways, is for all other tags and hides them.
//  2. What a step takes is shown where one of its ways is passed. Below a step without steps
//     everything is shown.
//  3. A way can be passed only within the way above that it belongs to.
//
// Immutable but for what its ways remember of the tag that they were asked about last; shared by
// walks on the daemon's thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "definitions/dr_bound_step.h"

class dr_xpath_c;
class drend_tag_c;

// An entry of a leaf-list.
struct dr_entry_s {
    std::string name; // of the leaf-list
    std::string text;
};

// Belongs to no way: nothing could be shown within such a one.
inline constexpr size_t DR_WITHIN_NONE = SIZE_MAX;
// Belongs to each of them.
inline constexpr size_t DR_WITHIN_ANY = SIZE_MAX - 1;

// One way to pass a step.
struct dr_step_filter_s {
    std::string text; // for traces
    // A step's name and predicates. Null when the text does not parse to exactly one step; such a
    // way is never passed.
    std::shared_ptr<const dr_xpath_c> parsed;

    // Of a subtree filter:
    std::vector<dr_entry_s> entries; // that the leaf-lists below the tag must have
    // Of a leaf-list, or of a leaf at the top: what the entries that are shown are, or the value.
    std::shared_ptr<const std::string> value;
    size_t within = 0; // the way of the step above

    // What is known of it and a tag.
    dr_bound_step_c& bound_to(const drend_tag_c& tag) const {
        if (!bound_.is_bound_to(tag)) {
            bound_.bind(*this, tag);
        }
        return bound_;
    }

  private:
    mutable dr_bound_step_c bound_;
};

struct dr_filter_node_s {
    // The step for a tag among those below this one, of which there is at least one.
    const dr_filter_node_s& step_for(const drend_tag_c* for_tag) const {
        for (const dr_filter_node_s* step : below) {
            if (step->tag == for_tag) {
                return *step;
            }
        }
        return *below.front();
    }

    const drend_tag_c* tag = nullptr; // null: any
    bool is_empty =
        false; // a path's step without a text: filters nothing, is not given back
    bool is_passage = false; // what it takes is shown for what is in it alone
    std::vector<dr_step_filter_s> ways;
    const dr_filter_node_s* above =
        nullptr; // null: this is no step, but what the first are below
    std::vector<const dr_filter_node_s*> below;
};

class dr_filter_c {
  public:
    dr_filter_c() : nodes_(1) {}
    dr_filter_c(const dr_filter_c&) = delete;
    dr_filter_c& operator=(const dr_filter_c&) = delete;

    dr_filter_node_s& top() { return nodes_.front(); }
    const dr_filter_node_s& top() const { return nodes_.front(); }
    // A new step below another one.
    dr_filter_node_s& add_below(dr_filter_node_s& above) {
        dr_filter_node_s& step = nodes_.emplace_back();
        step.above = &above;
        above.below.push_back(&step);
        return step;
    }
    // The number of steps, and each of them in the order in which they were added.
    size_t size() const { return nodes_.size() - 1; }
    const dr_filter_node_s& step(size_t n) const { return nodes_[n + 1]; }
    // In bytes, about, with everything below it.
    size_t memory() const;

  private:
    std::deque<dr_filter_node_s> nodes_; // a deep filter is not freed by recursion
};

// Null for none.
using dr_filter_t = std::shared_ptr<const dr_filter_c>;
