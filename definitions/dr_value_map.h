// A value map: what a definition shows instead of a daemon's value.
//
// Pairs are tried in file order; "*" as `from` matches everything, "*" as `to` keeps the value. A
// `to` that begins with "=" is an expression, which is parsed when the map is made. Text that a
// daemon wrote is never taken for one. Immutable once made.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "expr/dr_map_expr.h"
#include "frame/drend_value.h"

struct dr_map_pair_s {
    std::string from;
    std::string to;
    bool keeps_value;   // `to` is "*"
    bool is_expression; // `to` begins with "="
    // The terms of an expression; empty when it is malformed.
    std::vector<dr_map_term_s> terms;
};

class dr_value_map_c {
  public:
    explicit dr_value_map_c(const std::vector<std::pair<std::string, std::string>>& pairs);

    // The first pair that matches a typed value's text, or null. Traces the outcome.
    const dr_map_pair_s* find(std::string_view text) const;
    // The same, leaving the trace of a match to the caller.
    const dr_map_pair_s* match(std::string_view text) const;
    // Whether some pair matches every value.
    bool has_wildcard() const { return has_wildcard_; }
    const std::vector<dr_map_pair_s>& pairs() const { return pairs_; }

  private:
    std::vector<dr_map_pair_s> pairs_;
    bool has_wildcard_ = false;
};
