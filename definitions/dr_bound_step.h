// SPDX-License-Identifier: BSD-2-Clause

// dr_bound_step_c: what one way of a filter's step asks of one element of the definition, found out
// once.
//
//     route[(metric > 100) and (type = 'bgp')]  +  tag "route"
//
//     names the tag             yes
//     tests                     its name, the predicate
//     word 0  metric            the kid "metric"
//     word 1  100               nothing
//     word 2  type              a kid of the choice below the tag
//
// Rows are judged one after the other by the same step at the same tag, and requests come again:
// what depends on no row is kept with the step. Where the daemon's leaf is depends on where the
// walk is; that the tag's source remembers.
//
// Belongs to the daemon's thread.
#pragma once

#include <cassert>
#include <cstdint>
#include <string>
#include <vector>

#include "definitions/drend_tag.h"

struct dr_step_filter_s;

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
    // To be called before anything is asked about a tag.
    void bind(const dr_step_filter_s& way, const drend_tag_c& tag);
    // By its serial number, for the tag that it is bound to may have gone.
    bool is_bound_to(const drend_tag_c& tag) const { return serial_ == tag.serial(); }

    // Whether the step parses and names the tag, if anything.
    bool names_tag() const { return names_tag_; }
    // How many tests there are: the name, the predicates, the entries of leaf-lists, the value.
    size_t tests() const { return tests_; }
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

    const drend_tag_c* tag_ = nullptr;
    uint64_t serial_ = 0; // no tag's
    bool names_tag_ = false;
    size_t tests_ = 0;
    std::vector<dr_word_s> words_;
};
