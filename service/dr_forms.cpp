// SPDX-License-Identifier: BSD-2-Clause

// The table of forms, and the look-ups in it.
#include "service/dr_forms.h"

#include <algorithm>

#include "frame/dr_no_such.h"
#include "frame/str_util.h"
#include "render/dr_count_cwalker.h"
#include "render/dr_ietf_json_cwalker.h"
#include "render/dr_ietf_xml_cwalker.h"
#include "render/dr_json_cwalker.h"
#include "render/dr_json_lines_cwalker.h"
#include "render/dr_table_cwalker.h"
#include "render/dr_xml_cwalker.h"
#include "service/dr_page_words.h"

namespace {

using walker_t = std::unique_ptr<dr_context_walker_c>;

walker_t make_xml(dr_tags_access_context_c& context, void* peer,
                  const dr_form_options_s& options) {
    return std::make_unique<dr_xml_cwalker_c>(context, peer, options.wrap_in_data);
}

walker_t make_json(dr_tags_access_context_c& context, void* peer,
                   const dr_form_options_s&) {
    return std::make_unique<dr_json_cwalker_c>(context, peer);
}

walker_t make_count(dr_tags_access_context_c& context, void* peer,
                    const dr_form_options_s&) {
    return std::make_unique<dr_count_cwalker_c>(context, peer);
}

walker_t make_table(dr_tags_access_context_c& context, void* peer,
                    const dr_form_options_s& options) {
    return std::make_unique<dr_table_cwalker_c>(
        context, peer,
        dr_table_look_s{options.is_wide, options.has_color, options.has_fields});
}

dr_look_s look_of(const dr_form_options_s& options) {
    return {options.is_compact, options.is_ascii};
}

walker_t make_ietf_json(dr_tags_access_context_c& context, void* peer,
                        const dr_form_options_s& options) {
    return std::make_unique<dr_ietf_json_cwalker_c>(context, peer, look_of(options));
}

walker_t make_ietf_xml(dr_tags_access_context_c& context, void* peer,
                       const dr_form_options_s& options) {
    return std::make_unique<dr_ietf_xml_cwalker_c>(context, peer, look_of(options));
}

walker_t make_json_lines(dr_tags_access_context_c& context, void* peer,
                         const dr_form_options_s& options) {
    return std::make_unique<dr_json_lines_cwalker_c>(context, peer, look_of(options),
                                                     options.list);
}

constexpr dr_form_s FORMS[] = {
    {DR_FORMAT_COUNT, "count", "text/plain", make_count},
    {DR_FORMAT_XML, "", "application/xml", make_xml},
    {DR_FORMAT_JSON, "as-json", "application/json", make_json},
    {DR_FORMAT_TABLE, "as-table", "text/plain", make_table},
    {DR_FORMAT_IETF_JSON, "as-ietf-json", "application/yang-data+json", make_ietf_json},
    {DR_FORMAT_IETF_XML, "as-ietf-xml", "application/yang-data+xml", make_ietf_xml},
    {DR_FORMAT_JSON_LINES, "as-json-lines", "application/jsonl", make_json_lines},
};

// The words that choose what a form looks like.
struct option_word_s {
    std::string_view word;
    bool dr_form_options_s::*option;
};

constexpr option_word_s OPTION_WORDS[] = {
    {"wide", &dr_form_options_s::is_wide},       {"color", &dr_form_options_s::has_color},
    {"fields", &dr_form_options_s::has_fields},  {"ascii", &dr_form_options_s::is_ascii},
    {"compact", &dr_form_options_s::is_compact},
};

} // namespace

bool dri_is_parameter(const drend_tag_c& top_tag, std::string_view word) {
    const auto& inputs = top_tag.dt_input_kids;
    return std::any_of(inputs.begin(), inputs.end(),
                       [&](const drend_tag_c* input) { return input->name() == word; });
}

const dr_form_s& dri_form(int format) {
    for (const dr_form_s& form : FORMS) {
        if (form.format == format) {
            return form;
        }
    }
    return dri_form(DR_FORMAT_XML);
}

const dr_form_s* dri_find_form(const drend_tag_c& top_tag,
                               const std::vector<dr_argument_s>& args) {
    for (const dr_form_s& form : FORMS) {
        const bool is_asked_for =
            !form.word.empty() && dri_find_arg(args, form.word) != nullptr &&
            (form.format == DR_FORMAT_JSON || !dri_is_parameter(top_tag, form.word));
        if (is_asked_for) {
            return &form;
        }
    }
    return nullptr;
}

dr_form_options_s dri_form_options(const drend_tag_c& top_tag,
                                   const std::vector<dr_argument_s>& args,
                                   std::string& refusal) {
    dr_form_options_s options;
    for (const option_word_s& option : OPTION_WORDS) {
        options.*option.option = dri_find_arg(args, option.word) != nullptr &&
                                 !dri_is_parameter(top_tag, option.word);
    }
    const dr_form_s* form = dri_find_form(top_tag, args);
    if (form != nullptr && form->format == DR_FORMAT_JSON_LINES) {
        options.list = dri_strip_quotes(dri_find_arg(args, form->word)->value);
        if (!dr_json_lines_cwalker_c::has_list(top_tag, options.list) &&
            !options.list.empty()) {
            refusal = "error: arguments: " + std::string(form->word) +
                      ": the command has no list " + dri_quoted_word(options.list) + "\n";
        }
    }
    return options;
}

namespace {

std::vector<std::string_view> list_form_words() {
    std::vector<std::string_view> words;
    for (const dr_form_s& form : FORMS) {
        if (!form.word.empty()) {
            words.push_back(form.word);
        }
    }
    words.insert(words.end(), std::begin(DR_PAGE_WORDS), std::end(DR_PAGE_WORDS));
    for (const option_word_s& option : OPTION_WORDS) {
        words.push_back(option.word);
    }
    return words;
}

} // namespace

const std::vector<std::string_view>& dri_form_words() {
    static const auto words = list_form_words();
    return words;
}

bool dri_is_about_form(const drend_tag_c& top_tag, std::string_view word) {
    const auto& words = dri_form_words();
    return word != dri_form(DR_FORMAT_JSON).word && !dri_is_parameter(top_tag, word) &&
           std::find(words.begin(), words.end(), word) != words.end();
}
