// SPDX-License-Identifier: BSD-2-Clause

// Filters of any bytes: parsed, copied, printed, evaluated and gathered from.
//
// The input is a filter, and also a value-map expression. Asserted: short texts come from the cache
// the second time, a copy prints what the original prints, truth is one of two texts, and neither a
// path nor all steps of a filter together hold more than they may.
#include <map>
#include <string>

#include "definitions/dr_filter_steps.h"
#include "drend.h"
#include "expr/dr_map_expr.h"
#include "expr/dr_xp_eval.h"
#include "expr/dr_xp_parser.h"
#include "fuzz_target.h"

namespace {

constexpr size_t INPUT_MAX = 16384;

std::string dump(const std::vector<xp_node_c>& steps) {
    dr_str_buf_c text;
    dri_xpath_dump(steps, text);
    return text.c_str();
}

void evaluate(const xp_node_c& tree) {
    drend_env_value_lookup_c lookup;
    lookup.values = {{"a", "ge-0/0/0"}, {"b", "42"}, {"__local_name__", "c"}};
    dr_str_buf_c result;
    const int holds = dri_eval_expr(tree, lookup, result);
    require(result == (holds == 1 ? xpath_true : xpath_false));
    std::map<std::string, std::string> names;
    dri_gather_filter_expr(tree, lookup, names);
    require(names.count("") == 0);
}

void cut(const std::string& filter) {
    const dr_filter_t steps = dri_cut_filter(filter.c_str());
    if (steps == nullptr) {
        return;
    }
    dr_xp_size_s together;
    for (const dr_filter_node_s* step = &steps->top(); !step->below.empty();) {
        step = step->below.front();
        require(step->ways.size() == 1);
        if (step->ways[0].parsed != nullptr) {
            require(step->ways[0].parsed->steps().size() == 1);
            together.add(step->ways[0].parsed->size());
        }
    }
    require(!together.is_too_much());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = text_of(data, size, INPUT_MAX);
    std::vector<dr_map_term_s> terms;
    require((dri_map_expr_parse(text.c_str(), terms) == 0) == !terms.empty());

    const auto path = dri_xpath_get(text.c_str());
    std::vector<xp_node_c> steps;
    require((dri_xpath_parse(text.c_str(), steps) == 0) == (path != nullptr));
    const bool is_kept =
        path != nullptr && path->memory() + text.size() < XP_KEPT_MEMORY / 16;
    require(!is_kept || dri_xpath_get(text.c_str()) == path);
    cut(text);
    if (path != nullptr) {
        require(!path->size().is_too_much());
        require(dump(steps) == dump(path->steps()));
        for (const dr_xp_predicate_s& predicate : path->predicates()) {
            evaluate(*predicate.node);
        }
    }
    dri_reset_xpath_cache(); // every input starts from the same state
    return 0;
}
