// SPDX-License-Identifier: BSD-2-Clause

// Each check finds one kind of fault; the first one counts.
#include "service/dr_argument_check.h"

#include <algorithm>

#include "definitions/dr_nearest.h"
#include "frame/dr_no_such.h"
#include "frame/str_util.h"
#include "service/dr_filter_check.h"
#include "service/dr_forms.h"

namespace {

constexpr char FILTER[] = "filter";

std::string line_of(const std::string& what) {
    return "error: " + what + "\n";
}

std::string check_known(const drend_tag_c& top_tag,
                        const std::vector<dr_argument_s>& args) {
    std::vector<std::string> known;
    for (const drend_tag_c* input : top_tag.dt_input_kids) {
        known.push_back(input->name());
    }
    known.emplace_back(FILTER);
    for (const std::string_view word : dri_form_words()) {
        if (!dri_is_parameter(top_tag, word)) {
            known.emplace_back(word);
        }
    }
    for (const dr_argument_s& arg : args) {
        if (std::find(known.begin(), known.end(), arg.name) == known.end()) {
            dr_nearest_c nearest(arg.name);
            for (const std::string& name : known) {
                nearest.offer(name);
            }
            const std::string meant(nearest.found());
            return line_of("arguments: " + dri_no_such(arg.name, "", known) +
                           (meant.empty() ? "" : "; did you mean '" + meant + "'?"));
        }
    }
    return {};
}

// Whether a leaf of that name lies below a tag, where a parameter would be compared with it.
bool has_leaf(const drend_tag_c& tag, const std::string& name) {
    return std::any_of(tag.dt_kids.begin(), tag.dt_kids.end(), [&](const drend_tag_c* kid) {
        return (kid->name() == name && kid->dt_type == DT_TYPE_LEAF) ||
               has_leaf(*kid, name);
    });
}

// A parameter selects rows by a leaf, or a style.
std::string check_parameters(const drend_tag_c& top_tag,
                             const std::vector<dr_argument_s>& args) {
    const bool has_filter = dri_find_arg(args, FILTER) != nullptr;
    for (const drend_tag_c* input : top_tag.dt_input_kids) {
        if (dri_find_arg(args, input->name()) == nullptr) {
            continue;
        }
        const bool names_leaf = has_leaf(top_tag, input->name());
        if (!names_leaf && input->dt_styles.empty()) {
            return line_of("arguments: the parameter '" + input->name() +
                           "' names no leaf of the command");
        }
        if (names_leaf && has_filter) {
            return line_of("filter: the parameter '" + input->name() +
                           "' would replace it; give one of the two");
        }
    }
    return {};
}

std::string check_filter(const drend_tag_c& top_tag,
                         const std::vector<dr_argument_s>& args) {
    const dr_argument_s* given = dri_find_arg(args, FILTER);
    if (given == nullptr) {
        return {};
    }
    const std::string filter(dri_strip_quotes(given->value));
    const std::string fault =
        filter.starts_with('<') ? "" : dri_check_filter(top_tag, filter);
    return fault.empty() ? fault : line_of("filter: " + fault);
}

} // namespace

std::string dri_check_syntax(const dr_read_args_s& read) {
    if (read.fault.what == nullptr) {
        return {};
    }
    const std::string_view before(read.text, read.fault.at);
    const std::string at = std::to_string(dri_count_characters(before) + 1);
    return line_of("arguments: " + std::string(read.fault.what) + " at character " + at);
}

std::string dri_check_arguments(const drend_tag_c& top_tag, const dr_read_args_s& read) {
    std::string fault = dri_check_syntax(read);
    if (fault.empty()) {
        fault = check_known(top_tag, read.args);
    }
    if (fault.empty()) {
        fault = check_parameters(top_tag, read.args);
    }
    return fault.empty() ? check_filter(top_tag, read.args) : fault;
}
