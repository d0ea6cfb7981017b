// SPDX-License-Identifier: BSD-2-Clause

// dr_bound_step_c: a step of a filter and what its words lead to from one element.
//
//     route[(metric > 100) and (type = 'bgp')]  +  tag "route"
//
//     step names the tag        yes
//     word 0  metric            the kid "metric"
//     word 1  100               nothing
//     word 2  type              a kid of the choice below the tag
//
// Rows are judged one after the other by the same step at the same tag: what depends on no row is
// found out for the first one. Where the daemon's leaf is depends on where the walk is; that the
// tag's source remembers.
//
// Belongs to one walk on the daemon's thread.
#pragma once

#include <cassert>
#include <string>
#include <vector>

#include "definitions/dr_step_filter.h"
#include "definitions/drend_tag.h"

struct dr_word_s {
    enum leads_e : uint8_t {
        UNKNOWN, // not asked for yet
        NOWHERE, // no kid of that name, whatever the data are
        TO_LEAF, // to a kid whose source is a child of where the tag is
        BEYOND,  // elsewhere: to be looked up each time
    };

    leads_e leads = UNKNOWN;
    const drend_tag_c* leaf = nullptr;
};

class dr_bound_step_c {
  public:
    explicit dr_bound_step_c(const dr_step_filter_s& step) : step_(&step) {}

    bool is_of(const dr_step_filter_s& step) const { return step_ == &step; }
    bool is_bound_to(const drend_tag_c& tag) const { return tag_ == &tag; }
    // To be called before anything is asked.
    void bind(const drend_tag_c& tag);
    // Whether the step parses and names the tag, if anything.
    bool names_tag() const { return names_tag_; }
    // What the `slot`th word of the step leads to.
    const dr_word_s& word(const std::string& name, unsigned slot) {
        assert(slot < words_.size());
        dr_word_s& word = words_[slot];
        if (word.leads == dr_word_s::UNKNOWN) {
            word = find_in(*tag_, name);
        }
        return word;
    }

  private:
    static dr_word_s find_in(const drend_tag_c& tag, const std::string& name);

    const dr_step_filter_s* step_;
    const drend_tag_c* tag_ = nullptr;
    bool names_tag_ = false;
    std::vector<dr_word_s> words_;
};
