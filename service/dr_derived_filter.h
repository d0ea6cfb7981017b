// SPDX-License-Identifier: BSD-2-Clause

// What a request's arguments ask for beyond a filter of their own: the command's input parameters
// that are given become predicates of a filter, and may select a style.
//
//     top tag a, list b with key leaf name, input parameter name
//     arguments  name=ge-0/0/0     ->   steps  a,  b[name='ge-0/0/0']
#pragma once

#include <string>
#include <vector>

#include "definitions/dr_step_filter.h"
#include "definitions/drend_tag.h"
#include "expr/dri_args.h"

struct dr_request_wish_s {
    // Null: no input parameter was given that names a leaf.
    dr_filter_t filter;
    std::string style; // empty: none
};

dr_request_wish_s dri_derive_wish(const drend_tag_c& top_tag,
                                  const std::vector<dr_argument_s>& args);
