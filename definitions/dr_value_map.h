// SPDX-License-Identifier: BSD-2-Clause

// A value map: what a definition shows instead of a daemon's value.
//
// Pairs are tried in file order; "*" as `from` matches everything, "*" as `to` keeps the value. A
// `to` that begins with "=" is an expression, which is parsed when the map is made. Text that a
// daemon wrote is never taken for one. Immutable once made.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "expr/dr_map_expr.h"
#include "frame/dr_copy.h"
#include "frame/drend_value.h"

struct dr_map_pair_s {
    // The new text, padded and NUL-terminated.
    std::string_view to() const { return {padded_to.data(), to_size}; }

    std::string from;
    std::string padded_to;
    size_t to_size;
    bool keeps_value;   // `to` is "*"
    bool is_expression; // `to` begins with "="
    // The terms of an expression; empty when it is malformed.
    std::vector<dr_map_term_s> terms;
};

// A text of up to eight bytes, none of them NUL, as one number, by which two of them are compared.
inline bool dri_is_packable(std::string_view text) {
    return !text.empty() && text.size() <= sizeof(uint64_t);
}
inline uint64_t dri_pack_text(std::string_view text) {
    uint64_t packed = 0;
    dri_copy_text(reinterpret_cast<char*>(&packed), text);
    return packed;
}

class dr_value_map_c {
  public:
    explicit dr_value_map_c(const std::vector<std::pair<std::string, std::string>>& pairs);

    // The first pair that matches a typed value's text, or null. Traces the outcome.
    const dr_map_pair_s* find(std::string_view text) const;
    // The same, leaving the trace of a match to the caller.
    const dr_map_pair_s* match(std::string_view text) const;
    // Whether some pair matches every value.
    bool has_wildcard() const { return wildcard_ < pairs_.size(); }
    bool has_expressions() const { return has_expressions_; }
    const std::vector<dr_map_pair_s>& pairs() const { return pairs_; }

  private:
    const dr_map_pair_s* find_exact(std::string_view text) const;

    std::vector<dr_map_pair_s> pairs_;
    std::vector<uint64_t> packed_; // by pair, dri_pack_text of its `from`; 0 for a longer one
    size_t wildcard_;              // the first pair that matches every value, or behind the last
    bool has_expressions_ = false;
};
