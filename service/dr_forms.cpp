// SPDX-License-Identifier: BSD-2-Clause

// The table of forms, and the look-ups in it.
#include "service/dr_forms.h"

#include <algorithm>

#include "render/dr_json_cwalker.h"
#include "render/dr_xml_cwalker.h"

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

constexpr dr_form_s FORMS[] = {
    {DR_FORMAT_XML, "", "application/xml", make_xml},
    {DR_FORMAT_JSON, "as-json", "application/json", make_json},
};

bool is_parameter(const drend_tag_c& top_tag, std::string_view word) {
    const auto& inputs = top_tag.dt_input_kids;
    return std::any_of(inputs.begin(), inputs.end(),
                       [&](const drend_tag_c* input) { return input->name() == word; });
}

} // namespace

const dr_form_s& dri_form(int format) {
    for (const dr_form_s& form : FORMS) {
        if (form.format == format) {
            return form;
        }
    }
    return FORMS[0];
}

const dr_form_s* dri_find_form(const drend_tag_c& top_tag,
                               const std::vector<dr_argument_s>& args) {
    for (const dr_form_s& form : FORMS) {
        const bool is_asked_for =
            !form.word.empty() && dri_find_arg(args, form.word) != nullptr &&
            (form.format == DR_FORMAT_JSON || !is_parameter(top_tag, form.word));
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
    return words;
}

bool dri_is_about_form(const drend_tag_c& top_tag, std::string_view word) {
    const auto is_that = [&](const dr_form_s& form) {
        return form.word == word && form.format != DR_FORMAT_JSON;
    };
    return !word.empty() && std::any_of(std::begin(FORMS), std::end(FORMS), is_that) &&
           !is_parameter(top_tag, word);
}
