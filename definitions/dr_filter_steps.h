// SPDX-License-Identifier: BSD-2-Clause

// Makes the steps of a request's filter: cuts a path, or builds steps of names and values.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "definitions/dr_step_filter.h"
#include "expr/xp_node.h"

// Steps end at every "/", also inside a predicate; a leading one makes no step, a trailing one
// makes an empty last step. Literals come out in single quotes after a blank, so that a step's text
// parses back to the same expression. Reading stops, without the step it is in, at an unterminated
// literal.
//
// Null when the filter as a whole is too much.
dr_filter_t dri_cut_filter(const char* filter);

// A step of a name, and of values that the leaves below must have. It is what the parser would make
// of a text, but a value needs no quotes so, and is compared whatever it holds.
class dr_step_builder_c {
  public:
    explicit dr_step_builder_c(const std::string& name);

    void add(const std::string& name, std::string_view value);
    // Once.
    dr_step_filter_s finish();

  private:
    xp_node_c node_;
    std::string text_;
    unsigned values_ = 0;
};

// What traces show of a step.
std::string dri_traced_step(const dr_filter_node_s& step);
