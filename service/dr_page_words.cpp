// SPDX-License-Identifier: BSD-2-Clause

#include "service/dr_page_words.h"

#include <algorithm>
#include <iterator>

#include "frame/dr_number.h"
#include "frame/str_util.h"
#include "service/dr_forms.h"

namespace {

// The value of a word that is given and is the library's, or null.
const dr_argument_s* find_word(const drend_tag_c& top_tag,
                               const std::vector<dr_argument_s>& args,
                               std::string_view word) {
    return dri_is_parameter(top_tag, word) ? nullptr : dri_find_arg(args, word);
}

// Reads a number from 1 on, if there is one. Whether it is one.
template <typename Number>
bool read_number(const dr_argument_s* given, Number& number) {
    return given == nullptr || dri_read_from_one(dri_strip_quotes(given->value), number);
}

} // namespace

bool dri_is_page_word(std::string_view word) {
    return std::find(std::begin(DR_PAGE_WORDS), std::end(DR_PAGE_WORDS), word) !=
           std::end(DR_PAGE_WORDS);
}

std::string dri_read_page(const drend_tag_c& top_tag,
                          const std::vector<dr_argument_s>& args, dr_page_wish_s& wish) {
    if (!read_number(find_word(top_tag, args, "limit"), wish.limit)) {
        return "limit: a number of rows from 1 on is wanted";
    }
    if (!read_number(find_word(top_tag, args, "depth"), wish.depth)) {
        return "depth: a number of levels from 1 on is wanted";
    }
    if (const dr_argument_s* cursor = find_word(top_tag, args, "cursor")) {
        std::string fault;
        wish.behind = dri_read_cursor(top_tag, dri_strip_quotes(cursor->value), fault);
        return fault.empty() ? "" : "cursor: " + fault;
    }
    return {};
}

std::string dri_read_content(const drend_tag_c& top_tag,
                             const std::vector<dr_argument_s>& args, uint8_t& content) {
    struct kind_s {
        std::string_view word;
        uint8_t content;
    };
    static constexpr kind_s KINDS[] = {{"all", DT_CONTENT_ALL},
                                       {"config", DT_CONTENT_CONFIG},
                                       {"nonconfig", DT_CONTENT_STATE}};
    const dr_argument_s* given = find_word(top_tag, args, "content");
    const std::string_view text = given == nullptr ? "all" : dri_strip_quotes(given->value);
    const auto* kind = std::find_if(std::begin(KINDS), std::end(KINDS),
                                    [&](const kind_s& row) { return row.word == text; });
    if (kind == std::end(KINDS)) {
        return "content: \"config\", \"nonconfig\" or \"all\" is wanted";
    }
    content = kind->content;
    return {};
}
