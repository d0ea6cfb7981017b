// SPDX-License-Identifier: BSD-2-Clause

#include "request_text.h"

#include <algorithm>

namespace {

constexpr std::string_view BLANKS = " \t\n\v\f\r";
constexpr std::string_view NEEDS_QUOTES = " \t\n\v\f\r,'\"";
// What a word holds that is a path and no name=value, "/a[b='c']/d" say.
constexpr std::string_view NO_NAME = " \t\n\v\f\r,'\"/[";
constexpr char END_OF_TEXT = 3;

// Whether it is one text in quotes from its first to its last byte, as the grammar reads it.
bool is_quoted(std::string_view value) {
    if (value.empty() || (value.front() != '\'' && value.front() != '"')) {
        return false;
    }
    std::size_t end = 0;
    do {
        end = value.find(value.front(), end + 1);
    } while (end != std::string_view::npos && end > 1 && value[end - 1] == '\\');
    return end == value.size() - 1;
}

std::optional<std::string> argument(const std::string& word, std::string& error) {
    const std::size_t equals = word.find('=');
    const bool has_name =
        equals != std::string::npos && equals > 0 && word.find_first_of(NO_NAME) > equals;
    if (!has_name) {
        return word;
    }
    const std::string_view value = std::string_view(word).substr(equals + 1);
    if (value.find_first_of(NEEDS_QUOTES) == std::string_view::npos || is_quoted(value)) {
        return word;
    }
    const std::optional<std::string> quoted = quoted_value(value);
    if (!quoted) {
        error = "cannot be quoted, as it ends in a backslash: " + word;
        return std::nullopt;
    }
    return word.substr(0, equals + 1) + *quoted;
}

} // namespace

std::optional<std::string> join_words(const std::vector<std::string>& words,
                                      std::string& error) {
    std::string request;
    for (const std::string& word : words) {
        const std::optional<std::string> next = argument(word, error);
        if (!next) {
            return std::nullopt;
        }
        request += request.empty() ? "" : " ";
        request += *next;
    }
    return request;
}

std::optional<std::string> quoted_value(std::string_view value) {
    if (value.ends_with('\\')) {
        return std::nullopt;
    }
    const auto singles = std::count(value.begin(), value.end(), '\'');
    const char quote = singles > std::count(value.begin(), value.end(), '"') ? '"' : '\'';
    std::string text(1, quote);
    for (const char c : value) {
        if (c == quote) {
            text += '\\';
        }
        text += c;
    }
    return text + quote;
}

bool is_question(std::string_view request) {
    request = request.substr(0, request.find_last_not_of(BLANKS) + 1); // npos + 1 is 0
    const std::string_view word = request.substr(request.find_last_of(BLANKS) + 1);
    return word.ends_with('?') && word.find_first_of("='\"") == std::string_view::npos;
}

bool is_blank(std::string_view line) {
    return line.find_first_not_of(BLANKS) == std::string_view::npos;
}

bool is_remark(std::string_view line) {
    return line.starts_with('#');
}

std::string request_fault(std::string_view request) {
    constexpr std::string_view forbidden("\n\0\3", 3);
    if (is_blank(request)) {
        return "the request is empty";
    }
    const std::size_t found = request.find_first_of(forbidden);
    if (found != std::string_view::npos) {
        return std::string("a request cannot hold ") +
               (request[found] == '\n'          ? "a line feed"
                : request[found] == END_OF_TEXT ? "the byte 3"
                                                : "the byte 0");
    }
    return request.size() <= REQUEST_MAX
               ? ""
               : "the request is longer than " + std::to_string(REQUEST_MAX) + " bytes";
}
