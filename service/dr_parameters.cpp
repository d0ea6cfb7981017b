// SPDX-License-Identifier: BSD-2-Clause

// What a command can be given, for who types a request: its parameters as the definition has them,
// and the words that every command takes.
//
// A parameter selects rows by a leaf of its name: what it does not say itself, its type and its
// values, that leaf says.
#include "service/dr_parameters.h"

#include <algorithm>

#include "definitions/dr_format.h"
#include "frame/str_util.h"
#include "service/dr_forms.h"
#include "service/dr_page_words.h"

namespace {

// The first leaf of that name below a tag, or null.
const drend_tag_c* leaf_below(const drend_tag_c& tag, const std::string& name) {
    for (const drend_tag_c* kid : tag.dt_kids) {
        const bool is_it = kid->dt_type == DT_TYPE_LEAF && kid->name() == name;
        if (const drend_tag_c* leaf = is_it ? kid : leaf_below(*kid, name)) {
            return leaf;
        }
    }
    return nullptr;
}

// The values that a map shows, as far as it says them: blanks would end them.
std::string values_of(const drend_tag_c& tag) {
    std::string values;
    if (tag.dt_map == nullptr) {
        return values;
    }
    for (const dr_map_pair_s& pair : tag.dt_map->pairs()) {
        const bool is_value = !pair.keeps_value && !pair.is_expression &&
                              pair.to.find_first_of(" \t\n") == std::string::npos &&
                              !pair.to.empty();
        if (is_value) {
            values.append(values.empty() ? "" : " ").append(pair.to);
        }
    }
    return values;
}

std::string parameter_line(const drend_tag_c& top_tag, const drend_tag_c& input) {
    if (input.dt_type == DT_TYPE_EMPTY) {
        return input.name() + "\t" + input.dt_help +
               "\tempty\t\n"; // given by its name alone
    }
    const drend_tag_c* leaf = leaf_below(top_tag, input.name());
    const bool leaf_says_type = leaf != nullptr && input.dt_data_type == DT_DATA_STRING;
    const bool leaf_says_values = leaf != nullptr && input.dt_map == nullptr;
    const std::string_view type =
        dri_data_type_word(leaf_says_type ? leaf->dt_data_type : input.dt_data_type);
    return input.name() + "=\t" + input.dt_help + "\t" + std::string(type) + "\t" +
           values_of(leaf_says_values ? *leaf : input) + "\n";
}

// The library's words for which nothing else has a table with their meaning.
struct word_help_s {
    std::string_view word;
    const char* text;
};
constexpr word_help_s WORD_HELPS[] = {
    {"filter=", "Only what this path or subtree fits"},
    {"limit=", "At most so many rows"},
    {"cursor=", "Go on behind the row of this token"},
    {"depth=", "No deeper than so many levels"},
    {"content=", "Only configuration (config), or all else (nonconfig)"},
    {"count", "How many rows there are"},
    {"as-json", "JSON, each value a text"},
    {"as-ietf-json", "JSON as YANG has it (RFC 7951)"},
    {"as-ietf-xml", "XML as YANG has it"},
    {"as-json-lines", "A row a line, JSON"},
    {"as-table", "Aligned columns"},
    {"wide", "All columns of a table"},
    {"color", "Colours for the states of a table"},
    {"fields", "Where the cells of a table begin, for programs"},
    {"ascii", "Characters outside ASCII as references"},
    {"compact", "No line ends and indentation"},
};

std::string word_line(std::string_view name, bool has_value) {
    const std::string word = std::string(name) + (has_value ? "=" : "");
    const auto* help =
        std::find_if(std::begin(WORD_HELPS), std::end(WORD_HELPS),
                     [&](const word_help_s& row) { return row.word == word; });
    return word + "\t" + (help == std::end(WORD_HELPS) ? "" : help->text) + "\t" +
           (has_value ? "value" : "form") + "\t\n";
}

} // namespace

std::string dri_parameter_lines(const drend_tag_c& top_tag) {
    std::string lines;
    for (const drend_tag_c* input : top_tag.dt_input_kids) {
        lines += parameter_line(top_tag, *input);
    }
    if (!dri_is_parameter(top_tag, "filter")) {
        lines += word_line("filter", true);
    }
    for (const std::string_view word : dri_form_words()) {
        if (!dri_is_parameter(top_tag, word)) {
            lines += word_line(word, dri_is_page_word(word));
        }
    }
    return lines;
}
