// SPDX-License-Identifier: BSD-2-Clause

#include "answer_form.h"

#include <algorithm>
#include <optional>

namespace {

constexpr std::string_view BLANKS = " \t\n\v\f\r";
constexpr std::string_view LIMIT = "--limit";

std::string_view without_end(std::string_view text) {
    return text.substr(0, text.find_last_not_of(BLANKS) + 1); // npos + 1 is 0
}

bool has_word(std::string_view request, std::string_view wanted) {
    while (!request.empty()) {
        const std::string_view word = request.substr(0, request.find_first_of(BLANKS));
        request.remove_prefix(std::min(request.size(), word.size() + 1));
        if (word == wanted) {
            return true;
        }
    }
    return false;
}

// Takes the last word off `text` when there is one before it.
std::optional<std::string_view> take_last_word(std::string_view& text) {
    const std::size_t blank = text.find_last_of(BLANKS);
    if (blank == std::string_view::npos || without_end(text.substr(0, blank)).empty()) {
        return std::nullopt;
    }
    const std::string_view word = text.substr(blank + 1);
    text = without_end(text.substr(0, blank));
    return word;
}

bool is_number(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Takes an option off the end of `text`, and gives its words; nothing when there is none.
std::optional<std::string> take_option(std::string_view& text) {
    std::string_view left = text;
    const std::optional<std::string_view> word = take_last_word(left);
    std::optional<std::string> words;
    if (!word) {
        return words;
    }
    for (const form_option_s& row : form_options()) {
        if (*word == row.option) {
            words = row.words;
        }
    }
    if (is_number(*word) && take_last_word(left) == LIMIT) {
        words = " limit=" + std::string(*word);
    }
    text = words ? left : text;
    return words;
}

} // namespace

const std::vector<form_option_s>& form_options() {
    static const std::vector<form_option_s> options = {
        {"--xml", "", true, "XML, also on a terminal"},
        {"--json", " as-ietf-json", true, "Ask for JSON as YANG has it (RFC 7951)"},
        {"--table", " as-table", true, "Ask for aligned columns, also for a pipe"},
        {"--lines", " as-json-lines", true, "Ask for a line of JSON for each row"},
        {"--plain-json", " as-json", true, "Ask for JSON with each value a text"},
        {"--count", " count", true, "Ask for the number of rows alone"},
        {"--wide", " wide", false, "Show all columns of a table"},
    };
    return options;
}

typed_request_s typed_request(std::string_view line) {
    std::string_view text = without_end(line);
    std::string words;
    typed_request_s typed;
    while (const std::optional<std::string> more = take_option(text)) {
        typed.is_xml = typed.is_xml || more->empty();
        words.insert(0, *more);
    }
    const bool has_options = text.size() < without_end(line).size();
    typed.request = has_options ? std::string(text) + words : std::string(line);
    return typed;
}

bool has_form(std::string_view request) {
    const auto asks_for = [request](const form_option_s& row) {
        return row.is_form && *row.words != '\0' && has_word(request, row.words + 1);
    };
    return has_word(request, "as-ietf-xml") ||
           std::any_of(form_options().begin(), form_options().end(), asks_for);
}

bool is_table(std::string_view request) {
    return has_word(request, "as-table");
}

bool offers_tables(std::string_view parameters) {
    constexpr std::string_view line = "as-table\t";
    return parameters.starts_with(line) ||
           parameters.find("\n" + std::string(line)) != std::string_view::npos;
}
