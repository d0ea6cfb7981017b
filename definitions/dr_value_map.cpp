// SPDX-License-Identifier: BSD-2-Clause

// Looking a value up in a map. Maps are short and read in order, because the first pair wins:
// comparing eight bytes as one number makes that as fast as any index.
#include "definitions/dr_value_map.h"

#include "frame/drend_trace.h"

namespace {

constexpr std::string_view WILDCARD = "*";

dr_map_pair_s make_pair(const std::string& from, const std::string& to) {
    dr_map_pair_s pair{from, to, to == WILDCARD, to.starts_with('='), {}, from == WILDCARD};
    if (dri_is_packable(from)) {
        pair.packed_from = dri_pack_text(from);
    }
    if (pair.is_expression && dri_map_expr_parse(to.c_str(), pair.terms) != 0) {
        pair.terms.clear();
    }
    return pair;
}

} // namespace

dr_value_map_c::dr_value_map_c(
    const std::vector<std::pair<std::string, std::string>>& pairs) {
    pairs_.reserve(pairs.size());
    for (const auto& [from, to] : pairs) {
        pairs_.push_back(make_pair(from, to));
        has_wildcard_ = has_wildcard_ || pairs_.back().is_wildcard;
        has_expressions_ = has_expressions_ || pairs_.back().is_expression;
    }
}

const dr_map_pair_s* dr_value_map_c::match(std::string_view text) const {
    const bool is_packable = dri_is_packable(text);
    const uint64_t packed = is_packable ? dri_pack_text(text) : 0;
    for (const dr_map_pair_s& pair : pairs_) {
        const bool is_equal = is_packable ? pair.packed_from == packed : pair.from == text;
        if (is_equal || pair.is_wildcard) {
            return &pair;
        }
    }
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: mapped: not-translated %.*s\n",
                          static_cast<int>(text.size()), text.data());
    }
    return nullptr;
}

const dr_map_pair_s* dr_value_map_c::find(std::string_view text) const {
    const dr_map_pair_s* pair = match(text);
    if (pair == nullptr || !dri_trace_on(DREND_TRACE_WALK)) {
        return pair;
    }
    const std::string_view from = pair->keeps_value ? text : pair->from;
    const std::string_view to = pair->keeps_value ? text : pair->to;
    drend_debug_trace("DR_TAGS_ACCESS: mapped: %.*s to %.*s\n",
                      static_cast<int>(from.size()), from.data(),
                      static_cast<int>(to.size()), to.data());
    return pair;
}
