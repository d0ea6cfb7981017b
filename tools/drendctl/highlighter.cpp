// SPDX-License-Identifier: BSD-2-Clause

#include "highlighter.h"

namespace {

constexpr std::size_t DEPTH_MAX = 1024;
// In the order of the colours: none, names of tags, keys and attributes, values, other literals.
constexpr const char* SEQUENCES[] = {"\033[0m", "\033[36m", "\033[33m", "\033[32m",
                                     "\033[35m"};

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

} // namespace

void highlighter_c::add(std::string_view text, std::string& out) {
    for (const char c : text) {
        const colour_e colour = colour_of(c);
        if (!is_blank(c)) { // a blank has no colour of its own
            use(colour, out);
        }
        out += c;
    }
}

void highlighter_c::finish(std::string& out) {
    use(colour_e::none, out);
}

void highlighter_c::use(colour_e colour, std::string& out) {
    if (colour != used_) {
        out += SEQUENCES[static_cast<std::size_t>(colour)];
        used_ = colour;
    }
}

highlighter_c::colour_e highlighter_c::colour_of(char c) {
    if (language_ == language_e::unknown && !is_blank(c)) {
        language_ = c == '<'               ? language_e::xml
                    : c == '{' || c == '[' ? language_e::json
                                           : language_e::plain;
    }
    switch (language_) {
    case language_e::xml:
        return xml_colour(c);
    case language_e::json:
        return json_colour(c);
    default:
        return colour_e::none;
    }
}

highlighter_c::colour_e highlighter_c::xml_colour(char c) {
    switch (xml_) {
    case xml_e::text:
        xml_ = c == '<' ? xml_e::name : xml_e::text;
        return c == '<' ? colour_e::name : colour_e::value;
    case xml_e::value:
        xml_ = c == quote_ ? xml_e::attributes : xml_e::value;
        return colour_e::value;
    default:
        break;
    }
    if (c == '>') {
        xml_ = xml_e::text;
        return colour_e::name;
    }
    if (xml_ == xml_e::name) {
        xml_ = is_blank(c) ? xml_e::attributes : xml_e::name;
        return colour_e::name;
    }
    if (c == '"' || c == '\'') {
        xml_ = xml_e::value;
        quote_ = c;
        return colour_e::value;
    }
    return c == '/' || c == '?' ? colour_e::name : colour_e::key;
}

highlighter_c::colour_e highlighter_c::json_colour(char c) {
    const colour_e string_colour = is_key_ ? colour_e::key : colour_e::value;
    switch (json_) {
    case json_e::string:
        if (c == '"') {
            json_ = json_e::between;
        } else if (c == '\\') {
            json_ = json_e::escape;
        }
        return string_colour;
    case json_e::escape:
        json_ = json_e::string;
        return string_colour;
    default:
        return json_between(c);
    }
}

highlighter_c::colour_e highlighter_c::json_between(char c) {
    switch (c) {
    case '{':
    case '[':
        if (objects_.size() < DEPTH_MAX) {
            objects_.push_back(c == '{');
        } else {
            ++uncounted_;
        }
        is_key_ = c == '{';
        return colour_e::none;
    case '}':
    case ']':
        if (uncounted_ > 0) {
            --uncounted_;
        } else if (!objects_.empty()) {
            objects_.pop_back();
        }
        return colour_e::none;
    case ',':
        is_key_ = uncounted_ == 0 && !objects_.empty() && objects_.back();
        return colour_e::none;
    case ':':
        is_key_ = false;
        return colour_e::none;
    case '"':
        json_ = json_e::string;
        return is_key_ ? colour_e::key : colour_e::value;
    default:
        return colour_e::literal;
    }
}
