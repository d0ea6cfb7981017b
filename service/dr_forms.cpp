// SPDX-License-Identifier: BSD-2-Clause

// The table of forms, and the look-ups in it.
#include "service/dr_forms.h"

#include <algorithm>

#include "render/dr_count_cwalker.h"
#include "render/dr_json_cwalker.h"
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

constexpr dr_form_s FORMS[] = {
    {DR_FORMAT_COUNT, "count", "text/plain", make_count},
    {DR_FORMAT_XML, "", "application/xml", make_xml},
    {DR_FORMAT_JSON, "as-json", "application/json", make_json},
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

std::vector<std::string_view> dri_form_words() {
    std::vector<std::string_view> words;
    for (const dr_form_s& form : FORMS) {
        if (!form.word.empty()) {
            words.push_back(form.word);
        }
    }
    words.insert(words.end(), std::begin(DR_PAGE_WORDS), std::end(DR_PAGE_WORDS));
    return words;
}

bool dri_is_about_form(const drend_tag_c& top_tag, std::string_view word) {
    const auto words = dri_form_words();
    return word != dri_form(DR_FORMAT_JSON).word && !dri_is_parameter(top_tag, word) &&
           std::find(words.begin(), words.end(), word) != words.end();
}
