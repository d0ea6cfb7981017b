// SPDX-License-Identifier: BSD-2-Clause

// Finds what look-ups would find, without moving: a word that cannot be decided by the definition
// alone is left to them.

#include "definitions/dr_bound_step.h"

#include "definitions/dr_step_filter.h"
#include "expr/dr_xp_parser.h"

void dr_bound_step_c::bind(const dr_step_filter_s& way, const drend_tag_c& tag) {
    const dr_xpath_c* parsed = way.parsed.get();
    // First, for memory may run out, and the filter outlives the request.
    words_.assign(parsed == nullptr ? 0 : parsed->words(), {});
    tag_ = &tag;
    serial_ = tag.serial();
    names_tag_ = parsed != nullptr && (parsed->steps().front().text.empty() ||
                                       parsed->steps().front().text == tag.name());
    const size_t predicates = parsed == nullptr ? 0 : parsed->predicates().size();
    tests_ = 1 + predicates + way.entries.size() + (way.value == nullptr ? 0 : 1);
}

dr_word_s dr_bound_step_c::find_in(const drend_tag_c& tag, const std::string& name) {
    if (const drend_tag_c* kid = tag.find_child(name)) {
        return kid->is_below_row() ? dr_word_s{dr_word_s::TO_LEAF, kid}
                                   : dr_word_s{dr_word_s::BEYOND};
    }
    for (const drend_tag_c* kid : tag.dt_kids) {
        if (!kid->is_hidden()) {
            continue;
        }
        const dr_word_s found =
            kid->source().empty() ? find_in(*kid, name) : dr_word_s{dr_word_s::BEYOND};
        if (found.leads != dr_word_s::NOWHERE) {
            return found;
        }
    }
    return {dr_word_s::NOWHERE};
}
