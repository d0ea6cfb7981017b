// SPDX-License-Identifier: BSD-2-Clause

#include "filter_place.h"

#include <charconv>
#include <optional>
#include <vector>

#include "caret.h"

namespace {

constexpr std::string_view SEPARATORS = " \t\n\v\f\r,";
constexpr std::string_view QUOTES = "'\"";
constexpr std::string_view FILTER = "filter=";

// As the daemon reads them: with the quotes around values, and without the backslashes that quotes
// within have in front.
std::vector<std::string> arguments_of(std::string_view request) {
    std::vector<std::string> arguments(1);
    char open = '\0';
    for (const char c : request) {
        std::string& text = arguments.back();
        if (open == '\0' && SEPARATORS.find(c) != std::string_view::npos) {
            arguments.emplace_back();
        } else if (c == open && text.back() == '\\') {
            text.back() = c;
        } else {
            const bool opens = open == '\0' && QUOTES.find(c) != std::string_view::npos;
            open = opens ? c : c == open ? '\0' : open;
            text += c;
        }
    }
    return arguments;
}

std::optional<std::string> filter_of(std::string_view request) {
    for (const std::string& argument : arguments_of(request)) {
        if (!argument.starts_with(FILTER)) {
            continue;
        }
        const std::string value = argument.substr(FILTER.size());
        const bool is_quoted = value.size() > 1 && value.front() == value.back() &&
                               QUOTES.find(value.front()) != std::string_view::npos;
        return is_quoted ? value.substr(1, value.size() - 2) : value;
    }
    return std::nullopt;
}

// The number of the character that is at fault, from 1 on; 0 when the error names none.
std::size_t character_of(std::string_view error) {
    constexpr std::string_view at = " at character ";
    const std::size_t found = error.rfind(at);
    if (!error.starts_with("error: filter: ") || found == std::string_view::npos) {
        return 0;
    }
    const char* const end = error.data() + error.size();
    std::size_t number = 0;
    const auto read = std::from_chars(error.data() + found + at.size(), end, number);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

} // namespace

std::string filter_place(std::string_view error, std::string_view request) {
    const std::size_t character = character_of(error);
    const std::optional<std::string> filter =
        character > 0 ? filter_of(request) : std::nullopt;
    const std::optional<std::size_t> place =
        filter ? offset_of(character, *filter) : std::nullopt;
    return place ? with_caret(*filter, *place) : std::string();
}
