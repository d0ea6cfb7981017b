// SPDX-License-Identifier: BSD-2-Clause

#include "expr/dr_xp_functions.h"

#include <cassert>
#include <cstring>

#include "drend.h"
#include "frame/drend_trace.h"

const char* const xpath_true = "true";
const char* const xpath_false = "false";

namespace {

using args_t = std::vector<std::string>;

// Traces a call with a wrong number of arguments; `function` is the internal function's name.
bool check_count(bool right, const char* function) {
    if (!right && dri_trace_on(DREND_TRACE_ERROR)) {
        drend_debug_trace("DR_ERROR: Wrong number of args to '%s'\n", function);
    }
    return right;
}

const char* truth(bool value) {
    return value ? xpath_true : xpath_false;
}

void dri_xp_local_name_func(const xp_node_c&, drend_value_lookup_c& lookup,
                            const args_t& args, std::string& result) {
    result.clear();
    if (check_count(args.empty(), __func__)) {
        dr_str_buf_c name;
        lookup.get_local_name(name);
        result = name;
    }
}

void dri_xp_contains_func(const xp_node_c&, drend_value_lookup_c&, const args_t& args,
                          std::string& result) {
    result = truth(check_count(args.size() >= 2, __func__) &&
                   args[0].find(args[1]) != std::string::npos);
}

void dri_xp_starts_with_func(const xp_node_c&, drend_value_lookup_c&, const args_t& args,
                             std::string& result) {
    result = truth(check_count(args.size() >= 2, __func__) && args[0].starts_with(args[1]));
}

void dri_xp_match_func(const xp_node_c& call, drend_value_lookup_c&, const args_t& args,
                       std::string& result) {
    assert(call.pattern);
    result = truth(check_count(args.size() >= 2, __func__) &&
                   call.pattern->match(args[1], args[0]));
}

constexpr struct {
    const char* name;
    dr_xp_function_t function;
} FUNCTIONS[] = {{"local_name", dri_xp_local_name_func},
                 {"contains", dri_xp_contains_func},
                 {"starts-with", dri_xp_starts_with_func},
                 {XP_MATCH, dri_xp_match_func}};

} // namespace

dr_xp_function_t dri_find_function(const char* name) {
    for (const auto& row : FUNCTIONS) {
        if (strcmp(row.name, name) == 0) {
            return row.function;
        }
    }
    return nullptr;
}
