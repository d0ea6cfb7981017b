// SPDX-License-Identifier: BSD-2-Clause

// The JSON Schema: what an editor can know of a file while it is written. Names that other members
// must have (keys, sources) are beyond a schema; drend-lint looks at those.
#include "definitions/dr_format.h"
#include "frame/escape.h"
#include "generated.h"

namespace {

std::string quoted(std::string_view text) {
    std::string json = "\"";
    dri_json_escaper.append(json, text, std::string::npos);
    return json + "\"";
}

// A sentence of the reference without its links: [text](place) becomes text.
std::string plain(std::string_view markdown) {
    std::string text;
    while (!markdown.empty()) {
        const size_t open = markdown.find('[');
        const size_t close = markdown.find("](", open);
        text += markdown.substr(0, open);
        if (open == std::string_view::npos || close == std::string_view::npos) {
            break;
        }
        text += markdown.substr(open + 1, close - open - 1);
        markdown.remove_prefix(markdown.find(')', close) + 1);
    }
    return text;
}

std::string words_of(const dr_member_s& member) {
    std::string words;
    dri_for_each_word(member.words, [&](std::string_view word) {
        words += (words.empty() ? "" : ", ") + quoted(word);
    });
    return words.empty() ? words : ", \"enum\": [" + words + "]";
}

// What is known of the second text of a pair.
std::string second_of(const dr_member_s& member) {
    const std::string words = words_of(member);
    return words.empty() ? words
                         : R"("prefixItems": [{"type": "string"}, {"type": "string")" +
                               words + "}], ";
}

std::string type_of(const dr_member_s& member) {
    switch (member.kind) {
    case dr_json_kind_e::TEXT:
        return R"("type": "string")";
    case dr_json_kind_e::INTEGER:
        return R"("type": "integer")";
    case dr_json_kind_e::TEXTS:
        return R"("type": "array", "items": {"type": "string"})";
    case dr_json_kind_e::PAIRS:
        return R"("type": "array", "items": {"type": "array", "items": {"type": "string"}, )" +
               second_of(member) + R"("minItems": 2, "maxItems": 2})";
    case dr_json_kind_e::TAG:
        return R"("$ref": "#/$defs/tag")";
    case dr_json_kind_e::TAGS:
        break;
    }
    const bool are_parameters = member.name == DR_TAG_MEMBERS[DR_MEMBER_INPUT_KIDS].name;
    return std::string(R"("type": "array", "items": {"$ref": "#/$defs/)") +
           (are_parameters ? "parameter" : "tag") + R"("})";
}

std::string property_of(const dr_member_s& member) {
    std::string range;
    if (member.most != 0) {
        range = ", \"minimum\": " + std::to_string(member.least) +
                ", \"maximum\": " + std::to_string(member.most);
    }
    const std::string words = member.kind == dr_json_kind_e::PAIRS ? "" : words_of(member);
    return "        " + quoted(member.name) + ": {" + type_of(member) + words + range +
           ", \"description\": " + quoted(plain(member.meaning)) + "}";
}

template <size_t Count>
std::string object_of(std::string_view name, const dr_member_s (&members)[Count],
                      bool needs_first) {
    std::string properties;
    for (const dr_member_s& member : members) {
        properties += (properties.empty() ? "\n" : ",\n") + property_of(member);
    }
    const std::string required =
        needs_first ? ",\n      \"required\": [" + quoted(members[0].name) + "]" : "";
    return "    " + quoted(name) + ": {\n      \"type\": \"object\"" + required +
           ",\n      \"additionalProperties\": false,\n      \"properties\": {" +
           properties + "\n      }\n    }";
}

std::string need_of(const dr_need_s& need) {
    const std::string when = quoted(DR_TAG_MEMBERS[need.when].name);
    const std::string needed = quoted(DR_TAG_MEMBERS[need.needs].name);
    const bool is_text = DR_TAG_MEMBERS[need.needs].kind == dr_json_kind_e::TEXT;
    return R"(        {"if": {"properties": {)" + when + R"(: {"const": )" +
           quoted(need.is) + R"(}}, "required": [)" + when +
           R"(]}, "then": {"required": [)" + needed + "]" +
           (is_text ? R"(, "properties": {)" + needed + R"(: {"minLength": 1}})" : "") +
           "}}";
}

std::string tag_of() {
    std::string needs;
    for (const dr_need_s& need : DR_NEEDS) {
        needs += ",\n" + need_of(need);
    }
    return "    \"tag\": {\n      \"allOf\": [\n        {\"$ref\": \"#/$defs/parameter\"}" +
           needs + "\n      ]\n    }";
}

// An entry is what the first of these members says that it has as a text.
std::string entry_of() {
    const auto has = [](std::string_view member) {
        return R"("if": {"properties": {)" + quoted(member) +
               R"(: {"type": "string"}}, "required": [)" + quoted(member) + "]}";
    };
    return "    \"entry\": {\n      \"type\": \"object\",\n      " +
           has(DR_COMMAND_MEMBERS[0].name) +
           ",\n      \"then\": {\"$ref\": \"#/$defs/command\"},\n      \"else\": {" +
           has(DR_NOTIFICATION_MEMBERS[0].name) +
           ",\n        \"then\": {\"$ref\": \"#/$defs/notification\"},\n"
           "        \"else\": {\"$ref\": \"#/$defs/notification-leaf\"}}\n    }";
}

} // namespace

std::string schema_text() {
    return "{\n  \"$schema\": \"https://json-schema.org/draft/2020-12/schema\",\n"
           "  \"title\": \"Render definitions\",\n"
           "  \"description\": \"Which elements a command prints, and where each of them "
           "takes its value\",\n"
           "  \"type\": \"array\",\n  \"items\": {\"$ref\": \"#/$defs/entry\"},\n"
           "  \"$defs\": {\n" +
           entry_of() + ",\n" + object_of("command", DR_COMMAND_MEMBERS, true) + ",\n" +
           object_of("notification", DR_NOTIFICATION_MEMBERS, true) + ",\n" +
           object_of("notification-leaf", DR_NOTIFICATION_LEAF_MEMBERS, true) + ",\n" +
           tag_of() + ",\n" + object_of("parameter", DR_TAG_MEMBERS, false) + "\n  }\n}\n";
}
