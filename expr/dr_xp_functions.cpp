// SPDX-License-Identifier: BSD-2-Clause

// Each function is given its first two arguments as texts, evaluated. A wrong number of them is
// traced instead of refused: a filter is the peer's, and what it does not say selects nothing.

#include "expr/dr_xp_functions.h"

#include <cassert>

#include "drend.h"
#include "frame/drend_trace.h"

const char* const xpath_true = "true";
const char* const xpath_false = "false";

namespace {

// Traces a call with a wrong number of arguments; `function` is the internal function's name.
bool check_count(bool right, const char* function) {
    if (!right && dri_trace_on(DREND_TRACE_ERROR)) {
        drend_debug_trace("DR_ERROR: Wrong number of args to '%s'\n", function);
    }
    return right;
}

void dri_xp_local_name_func(const dr_xp_call_s& call, dr_xp_value_c& result) {
    if (check_count(call.count() == 0, __func__)) {
        dr_str_buf_c name;
        call.lookup.get_local_name(name);
        result.set_own(name.c_str());
    }
}

void dri_xp_contains_func(const dr_xp_call_s& call, dr_xp_value_c& result) {
    result.set_truth(check_count(call.count() >= 2, __func__) &&
                     call.first.find(call.second) != std::string_view::npos);
}

void dri_xp_starts_with_func(const dr_xp_call_s& call, dr_xp_value_c& result) {
    result.set_truth(check_count(call.count() >= 2, __func__) &&
                     call.first.starts_with(call.second));
}

void dri_xp_match_func(const dr_xp_call_s& call, dr_xp_value_c& result) {
    assert(call.node.pattern);
    result.set_truth(check_count(call.count() >= 2, __func__) &&
                     call.node.pattern->match(call.second, call.first));
}

constexpr struct {
    std::string_view name;
    dr_xp_function_t function;
} FUNCTIONS[] = {{"local_name", dri_xp_local_name_func},
                 {"contains", dri_xp_contains_func},
                 {"starts-with", dri_xp_starts_with_func},
                 {XP_MATCH, dri_xp_match_func}};

} // namespace

dr_xp_function_t dri_find_function(const std::string& name) {
    for (const auto& row : FUNCTIONS) {
        if (row.name == name) {
            return row.function;
        }
    }
    return nullptr;
}
