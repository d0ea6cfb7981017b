// SPDX-License-Identifier: BSD-2-Clause

// What a request's arguments ask for beyond a filter of their own: the command's input parameters
// that are given become predicates of a filter, and may select a style.
//
//     top tag a, list b with key leaf name, input parameter name
//     arguments  name=ge-0/0/0     ->   /a/b[(name='ge-0/0/0')]
#pragma once

#include <string>

#include "definitions/drend_tag.h"

struct dr_request_wish_s {
    std::string filter; // empty: no input parameter was given
    std::string style;  // empty: none
};

// `args` is the request's argument text, not null.
dr_request_wish_s dri_derive_wish(const drend_tag_c& top_tag, const char* args);

// Takes row selectors that select everything, "[*]", out of a filter and makes its first "//" a
// "/". Literals are left as they are.
std::string dri_simplify_filter(const char* filter);
