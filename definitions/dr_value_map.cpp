// SPDX-License-Identifier: BSD-2-Clause

// Looking a value up in a map. Maps are short and read in order, because the first pair wins:
// comparing eight bytes as one number makes that as fast as any index.
#include "definitions/dr_value_map.h"

#include <algorithm>

#include "frame/dr_plain_text.h"
#include "frame/drend_trace.h"

namespace {

constexpr std::string_view WILDCARD = "*";

// Whether a text is plain in every output format.
bool is_plain(const std::string& text) {
    std::string copy(text.size(), ' ');
    return dri_copy_judged(copy.data(), text);
}

// A text ends at its first NUL.
dr_map_pair_s make_pair(const std::string& from, const std::string& whole_to) {
    const std::string to = whole_to.substr(0, whole_to.find('\0'));
    dr_map_pair_s pair{from, to, to == WILDCARD, to.starts_with('='), {}, is_plain(to)};
    if (pair.is_expression) {
        pair.parts = dri_map_parts(to.c_str());
    }
    return pair;
}

} // namespace

dr_map_parts_t dri_map_parts(const char* expression) {
    std::vector<dr_map_term_s> terms;
    dri_map_expr_parse(expression, terms);
    dr_map_parts_t parts;
    for (dr_map_term_s& term : terms) {
        dr_nav_path_c path =
            term.is_val ? dr_nav_path_c(term.text.c_str()) : dr_nav_path_c();
        parts.push_back({std::move(term), std::move(path)});
    }
    return parts;
}

dr_value_map_c::dr_value_map_c(
    const std::vector<std::pair<std::string, std::string>>& pairs)
    : wildcard_(pairs.size()) {
    pairs_.reserve(pairs.size());
    for (const auto& [from, to] : pairs) {
        if (from == WILDCARD) {
            wildcard_ = std::min(wildcard_, pairs_.size());
        }
        pairs_.push_back(make_pair(from, to));
        packed_.push_back(dri_is_packable(from) ? dri_pack_text(from) : 0);
        has_expressions_ = has_expressions_ || pairs_.back().is_expression;
    }
}

// The pair of that text before the first one that matches every value, or null.
const dr_map_pair_s* dr_value_map_c::find_exact(std::string_view text) const {
    if (dri_is_packable(text)) {
        const auto end = packed_.begin() + static_cast<ptrdiff_t>(wildcard_);
        const auto found = std::find(packed_.begin(), end, dri_pack_text(text));
        return found == end ? nullptr
                            : &pairs_[static_cast<size_t>(found - packed_.begin())];
    }
    const auto end = pairs_.begin() + static_cast<ptrdiff_t>(wildcard_);
    const auto found = std::find_if(
        pairs_.begin(), end, [&](const dr_map_pair_s& pair) { return pair.from == text; });
    return found == end ? nullptr : &*found;
}

const dr_map_pair_s* dr_value_map_c::match(std::string_view text) const {
    if (const dr_map_pair_s* pair = find_exact(text)) {
        return pair;
    }
    if (has_wildcard()) {
        return &pairs_[wildcard_];
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
