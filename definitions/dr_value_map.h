// SPDX-License-Identifier: BSD-2-Clause

// A value map: what a definition shows instead of a daemon's value.
//
// Pairs are tried in file order; "*" as `from` matches everything, "*" as `to` keeps the value. A
// `to` that begins with "=" is an expression, which is parsed when the map is made. Text that a
// daemon wrote is never taken for one. Immutable once made.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "expr/dr_map_expr.h"
#include "frame/drend_value.h"
#include "model/dr_nav_path.h"

// A term of an expression, and where the path of a value leads.
struct dr_map_part_s {
    dr_map_term_s term;
    dr_nav_path_c path;
};
using dr_map_parts_t = std::vector<dr_map_part_s>;
// Of an expression that begins with "="; none when it is malformed.
dr_map_parts_t dri_map_parts(const char* expression);

struct dr_map_pair_s {
    std::string from;
    std::string to;
    bool keeps_value;      // `to` is "*"
    bool is_expression;    // `to` begins with "="
    dr_map_parts_t parts;  // of an expression
    bool is_plain = false; // `to`, in every output format
};

// Four bytes as a number, the first in its lowest byte.
inline uint32_t dri_load_word(const char* from) {
    uint32_t word;
    memcpy(&word, from, sizeof word);
    return std::endian::native == std::endian::big ? __builtin_bswap32(word) : word;
}

// A text of up to eight bytes, none of them NUL, as one number, by which two of them are compared.
inline bool dri_is_packable(std::string_view text) {
    return !text.empty() && text.size() <= sizeof(uint64_t);
}
inline uint64_t dri_pack_text(std::string_view text) {
    const auto byte = [&](size_t at) {
        return uint64_t{static_cast<uint8_t>(text[at])} << 8 * at;
    };
    const size_t last = text.size() - 1;
    if (text.size() < 4) {
        return byte(0) | byte(text.size() / 2) | byte(last);
    }
    const uint64_t head = dri_load_word(text.data());
    return head | uint64_t{dri_load_word(text.data() + last - 3)} << 8 * (last - 3);
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
    std::vector<uint64_t>
        packed_;      // by pair, dri_pack_text of its `from`; 0 for a longer one
    size_t wildcard_; // the first pair that matches every value, or behind the last
    bool has_expressions_ = false;
};
