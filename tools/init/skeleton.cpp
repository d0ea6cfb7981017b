// SPDX-License-Identifier: BSD-2-Clause

// Written as one would by hand: a tag without kids stands on a line, if there is room.
#include "skeleton.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "definitions/dr_format.h"
#include "frame/escape.h"

namespace {

constexpr size_t WIDTH = 100;
constexpr size_t INDENT = 2;

std::string quoted(std::string_view text) {
    std::string json = "\"";
    dri_json_escaper.append(json, text, std::string::npos);
    return json + "\"";
}

// Texts, the comma between them to be added, that may stand on one line or on several.
using pieces_t = std::vector<std::string>;

void add_piece(pieces_t& pieces, dr_tag_member_e member, const std::string& value) {
    pieces.push_back(quoted(DR_TAG_MEMBERS[member].name) + ": " + value);
}

void add_text(pieces_t& pieces, dr_tag_member_e member, const std::string& text) {
    if (!text.empty()) {
        add_piece(pieces, member, quoted(text));
    }
}

std::string key_list(const std::vector<std::string>& keys) {
    std::string list;
    for (const std::string& key : keys) {
        list += (list.empty() ? "[" : ", ") + quoted(key);
    }
    return list + "]";
}

// A piece for each pair, so that a long map has several lines.
void add_map(pieces_t& pieces, const skeleton_tag_s& tag) {
    std::string begin = quoted(DR_TAG_MEMBERS[DR_MEMBER_MAP].name) + ": [";
    for (const auto& [value, shown] : tag.map) {
        pieces.push_back(begin + "[" + quoted(value) + ", " + quoted(shown) + "]");
        begin.clear();
    }
    if (!tag.map.empty()) {
        pieces.back() += "]";
    }
}

pieces_t pieces_of(const skeleton_tag_s& tag) {
    pieces_t pieces;
    add_piece(pieces, DR_MEMBER_NAME, quoted(tag.name));
    add_text(pieces, DR_MEMBER_TYPE, tag.type);
    add_text(pieces, DR_MEMBER_SOURCE, tag.source);
    add_text(pieces, DR_MEMBER_DATA_TYPE, tag.data_type);
    if (tag.fraction > 0) {
        add_piece(pieces, DR_MEMBER_FRACTION, std::to_string(tag.fraction));
    }
    if (!tag.keys.empty()) {
        add_piece(pieces, DR_MEMBER_KEY, key_list(tag.keys));
    }
    add_text(pieces, DR_MEMBER_PRESENCE, tag.has_presence ? "true" : "");
    add_text(pieces, DR_MEMBER_NAMESPACE, tag.attributes);
    add_text(pieces, DR_MEMBER_MODULE, tag.module);
    add_text(pieces, DR_MEMBER_CONFIG, tag.config);
    add_text(pieces, DR_MEMBER_PREFIX, tag.prefix);
    add_map(pieces, tag);
    return pieces;
}

// As many pieces on each line as there is room for.
void append_lines(std::string& text, const pieces_t& pieces, const std::string& margin) {
    size_t column = margin.size();
    for (const std::string& piece : pieces) {
        const bool is_first = &piece == &pieces.front();
        const size_t width = piece.size() + 3; // what separates it, and a bracket
        if (!is_first && column + width > WIDTH) {
            text += ",\n" + margin;
            column = margin.size();
        } else if (!is_first) {
            text += ", ";
        }
        text += piece;
        column += width;
    }
}

void append_tag(std::string& text, const skeleton_tag_s& tag, const std::string& margin) {
    const std::string inside = margin + std::string(INDENT, ' ');
    if (tag.kids.empty()) {
        text += margin + "{";
        append_lines(text, pieces_of(tag), margin + " ");
        text += "}";
        return;
    }
    text += margin + "{\n" + inside;
    append_lines(text, pieces_of(tag), inside);
    text += ",\n" + inside + quoted(DR_TAG_MEMBERS[DR_MEMBER_KIDS].name) + ": [\n";
    for (const skeleton_tag_s& kid : tag.kids) {
        append_tag(text, kid, inside + std::string(INDENT, ' '));
        text += &kid == &tag.kids.back() ? "\n" : ",\n";
    }
    text += inside + "]\n" + margin + "}";
}

std::string entry_of(const skeleton_tag_s& top, const skeleton_options_s& options) {
    const std::string name = options.command.empty() ? "show-" + top.name : options.command;
    std::string text = "  {\n    \"dc_name\": " + quoted(name) +
                       ",\n    \"dc_help\": " + quoted("Show " + top.name) + ",\n";
    if (!options.application.empty()) {
        text += "    \"dc_app_name\": " + quoted(options.application) + ",\n";
    }
    std::string tag;
    append_tag(tag, top, "    ");
    return text + "    \"dc_tag\": " + tag.substr(tag.find('{')) + "\n  }";
}

} // namespace

skeleton_tag_s make_leaf_list(skeleton_tag_s leaf, const std::string& source) {
    skeleton_tag_s value;
    value.name = DT_LEAF_LIST_VALUE;
    value.type = "leaf";
    value.source = source;
    value.data_type = std::exchange(leaf.data_type, {});
    value.fraction = std::exchange(leaf.fraction, 0);
    leaf.type = "leaf-list";
    leaf.kids.push_back(std::move(value));
    return leaf;
}

std::string skeleton_text(std::vector<skeleton_tag_s> tops,
                          const skeleton_options_s& options) {
    const auto others =
        std::stable_partition(tops.begin(), tops.end(),
                              [](const skeleton_tag_s& top) { return top.type.empty(); });
    if (others != tops.end()) {
        skeleton_tag_s data;
        data.name = "data";
        std::move(others, tops.end(), std::back_inserter(data.kids));
        tops.erase(others, tops.end());
        tops.push_back(std::move(data));
    }
    std::string text = "[\n";
    for (const skeleton_tag_s& top : tops) {
        text += entry_of(top, options) + (&top == &tops.back() ? "\n" : ",\n");
    }
    return text + "]\n";
}
