// SPDX-License-Identifier: BSD-2-Clause

// dr_count_cwalker_c: how many rows of each list an answer has, and nothing else of it:
//
//     /interface-information/interface 12
//     /interface-information/interface/address 31
//
// A line for each list that the walk comes to, in that order, for all its places together. Leaves
// are not read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "render/drend_context_walker.h"

class dr_count_cwalker_c : public dr_context_walker_c {
  public:
    using dr_context_walker_c::dr_context_walker_c;

    int finalize() override;
    bool wants_leaves() const override { return false; }
    void list_start(const drend_tag_object_c* tobj) override;
    void push(const drend_tag_object_c* tobj) override;
    void push_value(const drend_tag_object_c*, const dr_value_c&) override {}
    void pop(const drend_tag_object_c*) override {}

  private:
    struct count_s {
        const drend_tag_c* list;
        std::string path;
        uint64_t rows = 0;
    };

    count_s& count_of(const drend_tag_c& list);

    std::vector<count_s> counts_;
};
