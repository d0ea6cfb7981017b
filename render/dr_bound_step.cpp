// SPDX-License-Identifier: BSD-2-Clause

// Finds what look-ups would find, without moving: a word that cannot be decided by the definition
// alone is left to them.

#include "render/dr_bound_step.h"

#include "expr/dr_xp_parser.h"
#include "render/dr_value_reader.h"

void dr_bound_step_c::bind(const drend_tag_c& tag) {
    const dr_xpath_c* parsed = step_->parsed.get();
    tag_ = &tag;
    names_tag_ = parsed != nullptr && (parsed->steps().front().text.empty() ||
                                       parsed->steps().front().text == tag.name());
    words_.assign(parsed == nullptr ? 0 : parsed->words(), {});
}

dr_word_s dr_bound_step_c::find_in(const drend_tag_c& tag, const std::string& name) {
    if (const drend_tag_c* kid = tag.find_child(name)) {
        return dr_value_reader_c::is_below_row(*kid) ? dr_word_s{dr_word_s::TO_LEAF, kid}
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
