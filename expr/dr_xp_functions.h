// SPDX-License-Identifier: BSD-2-Clause

// The functions that expressions may call, in a table by name.
//
//     local_name()            the name of the current element
//     contains(s, part)       whether part occurs in s
//     starts-with(s, prefix)  whether s begins with prefix
//     match(s, pattern)       whether the basic regular expression matches somewhere in s
//
// Truth is the text of xpath_true or xpath_false. Arguments beyond the second are ignored; with
// too few of them a function is false, and local_name with any is the empty text; both are traced.
//
// Any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "expr/drend_value_lookup.h"
#include "expr/xp_node.h"

// The function that compiles its second argument: the parser gives its calls a place for that.
inline constexpr char XP_MATCH[] = "match";

// A call with its evaluated arguments; the texts of absent ones are empty.
struct dr_xp_call_s {
    const xp_node_c& node;
    drend_value_lookup_c& lookup;
    std::string_view first;
    std::string_view second;

    size_t count() const { return node.args.size(); }
};

// Fills an empty value.
using dr_xp_function_t = void (*)(const dr_xp_call_s& call, dr_xp_value_c& result);

// Null for an unknown name.
dr_xp_function_t dri_find_function(const std::string& name);
