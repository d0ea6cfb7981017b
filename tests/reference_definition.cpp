// SPDX-License-Identifier: BSD-2-Clause

// Definitions and requests as the reference reads them.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <jansson.h>

#include "reference.h"

namespace reference {

// --- definitions -----------------------------------------------------------------------------

bool tag_s::is_hidden() const {
    return type == "choice" || type == "case" || name == "orvex-notification-root" ||
           name == "__root__";
}

const tag_s* tag_s::kid(const std::string& kid_name) const {
    for (const tag_ref_t& kid : kids) {
        if (kid->name == kid_name) {
            return kid.get();
        }
    }
    return nullptr;
}

namespace {

std::string text_of(json_t* object, const char* member) {
    const char* text = json_string_value(json_object_get(object, member));
    return text == nullptr ? "" : text;
}

std::vector<std::string> words_of(json_t* array) {
    std::vector<std::string> words;
    for (size_t i = 0; i < json_array_size(array); ++i) {
        std::istringstream text(json_string_value(json_array_get(array, i)));
        for (std::string word; text >> word;) {
            words.push_back(word);
        }
    }
    return words;
}

bool is_name(const std::string& text) {
    const auto is_letter = [](char c) {
        return isalpha(c & 0x7F) != 0 || c == '_' || c < 0;
    };
    return !text.empty() && is_letter(text[0]) &&
           std::all_of(text.begin(), text.end(), [&](char c) {
               return is_letter(c) || isdigit(c) != 0 || c == '-' || c == '.';
           });
}

// Whether it would come out as an element.
bool is_element(const tag_s& tag) {
    return (tag.is_hidden() && tag.type != "leaf") ||
           (is_name(tag.name) &&
            (tag.attributes.empty() || tag.attributes.find('=') != std::string::npos) &&
            tag.prefix.find_first_of("&<") == std::string::npos);
}

tag_ref_t read_tag(json_t* object);

std::vector<tag_ref_t> read_kids(json_t* array) {
    std::vector<tag_ref_t> kids;
    for (size_t i = 0; i < json_array_size(array); ++i) {
        kids.push_back(read_tag(json_array_get(array, i)));
    }
    return kids;
}

void know_kids(tag_s& tag) {
    std::erase_if(tag.kids, [](const tag_ref_t& kid) { return !is_element(*kid); });
    for (const std::string& key : tag.keys) {
        if (const tag_s* kid = tag.kid(key)) {
            const_cast<tag_s*>(kid)->is_key = true;
        }
    }
    for (const tag_ref_t& kid : tag.kids) {
        if (kid->is_value()) {
            kid->map = tag.map;
            kid->prefix = tag.prefix;
        } else {
            tag.has_source |= kid->has_source;
        }
    }
}

tag_ref_t read_tag(json_t* object) {
    auto tag = std::make_shared<tag_s>(tag_s{text_of(object, "dts_name")});
    tag->type = text_of(object, "dts_type");
    tag->source = text_of(object, "dts_source");
    tag->attributes = text_of(object, "dts_namespace");
    std::replace(tag->attributes.begin(), tag->attributes.end(), '\'', '"');
    tag->module = text_of(object, "dts_module");
    tag->prefix = text_of(object, "dts_prefix");
    tag->data_type = text_of(object, "dts_data_type");
    tag->fraction = static_cast<int>(
        json_integer_value(json_object_get(object, "dts_data_decimal64_fraction")));
    tag->has_presence = !text_of(object, "dts_presence").empty();
    tag->suppresses_zero = text_of(object, "dts_zero_suppression") == "true";
    json_t* map = json_object_get(object, "dts_map");
    for (size_t i = 0; i < json_array_size(map); ++i) {
        json_t* pair = json_array_get(map, i);
        tag->map.emplace_back(json_string_value(json_array_get(pair, 0)),
                              json_string_value(json_array_get(pair, 1)));
    }
    tag->keys = words_of(json_object_get(object, "dts_key"));
    tag->styles = words_of(json_object_get(object, "dts_style"));
    tag->kids = read_kids(json_object_get(object, "dts_kids"));
    tag->inputs = read_kids(json_object_get(object, "dts_input_kids"));
    tag->has_source = !tag->source.empty();
    know_kids(*tag);
    return tag;
}

// Puts a tag among the kids of a combined one. Where one of its name is there, the two become one,
// at the end.
void merge(tag_s& parent, const tag_ref_t& tag) {
    parent.has_source |= tag->has_source;
    const auto found =
        std::find_if(parent.kids.begin(), parent.kids.end(),
                     [&](const tag_ref_t& kid) { return kid->name == tag->name; });
    if (found == parent.kids.end()) {
        parent.kids.push_back(tag);
        return;
    }
    tag_ref_t kid = *found;
    if (!kid->is_combined) {
        kid = std::make_shared<tag_s>(*kid);
        kid->is_combined = true;
        kid->styles.clear();
        kid->inputs.clear();
        parent.kids.erase(found);
        parent.kids.push_back(kid);
    }
    if (kid->source.empty()) {
        kid->source = tag->source;
    }
    for (const tag_ref_t& below : tag->kids) {
        merge(*kid, below);
    }
}

} // namespace

tag_ref_t load(const std::string& json) {
    json_t* entries = json_loads(json.c_str(), 0, nullptr);
    std::vector<tag_ref_t> tops;
    for (size_t i = 0; i < json_array_size(entries); ++i) {
        tops.push_back(read_tag(json_object_get(json_array_get(entries, i), "dc_tag")));
    }
    json_decref(entries);
    std::erase_if(tops, [](const tag_ref_t& top) { return !is_element(*top); });
    if (tops.size() < 2) {
        return tops.empty() ? nullptr : tops[0];
    }
    auto root = std::make_shared<tag_s>(tag_s{"__root__"});
    for (const tag_ref_t& top : tops) {
        merge(*root, top);
    }
    return root;
}

// --- requests ----------------------------------------------------------------------------------

namespace {

bool is_separator(char c) {
    return c == ',' || isspace(static_cast<unsigned char>(c)) != 0;
}

using arguments_t = std::vector<std::pair<std::string, std::string>>;

// Up to what is broken.
arguments_t read_arguments(const std::string& text) {
    arguments_t arguments;
    std::string name;
    std::optional<std::string> value;
    bool is_in_name = false;
    const auto finish = [&] {
        if (is_in_name || value.has_value()) {
            arguments.emplace_back(name, value.value_or(""));
        }
        name.clear();
        value.reset();
        is_in_name = false;
    };
    for (size_t at = 0; at < text.size();) {
        const char c = text[at];
        if (is_separator(c)) {
            finish();
            ++at;
        } else if (c == '\'' || c == '"') {
            std::string quoted;
            if ((is_in_name && !value.has_value()) || !unquote(text, at, quoted)) {
                return arguments;
            }
            value.has_value() ? value->append(c + quoted + c) : name.assign(quoted);
        } else if (c == '=' && is_in_name && !value.has_value()) {
            value = "";
            ++at;
        } else {
            (value.has_value() ? *value : name) += c;
            is_in_name = true;
            ++at;
        }
    }
    finish();
    return arguments;
}

const std::string* find(const arguments_t& arguments, const std::string& name) {
    for (const auto& [known, value] : arguments) {
        if (known == name) {
            return &value;
        }
    }
    return nullptr;
}

std::string stripped(const std::string& value) {
    const bool is_quoted = value.size() > 1 && (value[0] == '\'' || value[0] == '"') &&
                           value.back() == value[0];
    return is_quoted ? value.substr(1, value.size() - 2) : value;
}

// Puts a predicate where the tag of that name stands. Steps that were found before stay, whatever
// branch they belong to.
bool add_parameter(const tag_s& tag, int depth, const std::string& name,
                   const std::string& value, std::vector<step_s>& steps) {
    if (tag.name == name && tag.type != "empty") {
        if (depth >= 0) {
            steps[static_cast<size_t>(depth)].predicates.push_back(
                {expression_s::OPERATOR,
                 "=",
                 {{expression_s::NAME, name}, {expression_s::LITERAL, value}}});
        }
        return true;
    }
    const int level = tag.is_hidden() ? depth : depth + 1;
    const bool adds = level > depth && steps.size() <= static_cast<size_t>(level);
    if (adds) {
        steps.push_back({false, false, tag.name});
    }
    for (const tag_ref_t& kid : tag.kids) {
        if (add_parameter(*kid, level, name, value, steps)) {
            return true;
        }
    }
    if (adds) {
        steps.pop_back();
    }
    return false;
}

void read_parameters(const tag_s& top, const arguments_t& arguments, request_s& request) {
    request.style = top.styles.empty() ? "" : top.styles.back();
    for (const tag_ref_t& input : top.inputs) {
        if (const std::string* value = find(arguments, input->name)) {
            add_parameter(top, -1, input->name, stripped(*value), request.steps);
            request.style = input->styles.empty() ? request.style : input->styles.back();
        }
    }
}

// Those that can be named so below a tag: its own kids first.
void collect_named(const tag_s& tag, const std::string& name,
                   std::vector<const tag_s*>& out) {
    for (const tag_ref_t& kid : tag.kids) {
        if (!kid->is_hidden() && kid->name == name) {
            out.push_back(kid.get());
        }
    }
    for (const tag_ref_t& kid : tag.kids) {
        if (kid->is_hidden()) {
            collect_named(*kid, name, out);
        }
    }
}

} // namespace

std::string cursor_s::text() const {
    const auto escaped = [](const std::string& word) {
        std::string out;
        for (const char c : word) {
            char code[4];
            snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
            const bool is_safe =
                c > 0 && (isalnum(c) != 0 || strchr("-._~:", c) != nullptr);
            out += is_safe ? std::string(1, c) : code;
        }
        return out;
    };
    std::string out;
    const tag_s* above = nullptr;
    for (const tag_s* tag : way) {
        if (!tag->is_hidden()) {
            std::vector<const tag_s*> twins;
            if (above != nullptr) {
                collect_named(*above, tag->name, twins);
            }
            const auto place = std::find(twins.begin(), twins.end(), tag) - twins.begin();
            out += "/" + escaped(tag->name);
            out += place > 0 ? "+" + std::to_string(place + 1) : "";
        }
        above = above == nullptr || !tag->is_hidden() ? tag : above;
    }
    for (const std::string& key : keys) {
        out += "=" + escaped(key);
    }
    return out + (keys.empty() && !way.empty() ? "#" + std::to_string(number) : "");
}

request_s read_request(const tag_s& top, const std::string& text) {
    static const std::pair<const char*, form_e> forms[] = {
        {"count", COUNT},          {"as-json", JSON},
        {"as-table", TABLE},       {"as-ietf-json", IETF_JSON},
        {"as-ietf-xml", IETF_XML}, {"as-json-lines", LINES}};
    static const std::set<std::string> no_content = {
        "count", "as-table", "as-ietf-json", "as-ietf-xml", "as-json-lines",
        "limit", "cursor",   "depth",        "wide",        "color",
        "ascii", "compact",  "content"};
    const arguments_t arguments = read_arguments(text);
    request_s request;
    for (const auto& [word, form] : forms) {
        if (request.form == XML && find(arguments, word) != nullptr) {
            request.form = form;
        }
    }
    const auto number = [&](const char* word) {
        const std::string* value = find(arguments, word);
        return value == nullptr ? 0 : static_cast<unsigned>(atoi(value->c_str()));
    };
    request.limit = number("limit");
    request.depth = number("depth");
    request.is_compact = find(arguments, "compact") != nullptr;
    request.is_ascii = find(arguments, "ascii") != nullptr;
    read_parameters(top, arguments, request);
    const bool asks_for_content =
        arguments.empty() ||
        std::any_of(arguments.begin(), arguments.end(),
                    [](const auto& given) { return !no_content.contains(given.first); });
    if (!asks_for_content) {
        request.style.clear();
    }
    const std::string* filter = find(arguments, "filter");
    if (request.steps.empty() && filter != nullptr) {
        request.steps = steps_of(stripped(*filter));
    }
    return request;
}

} // namespace reference
