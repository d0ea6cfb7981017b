// SPDX-License-Identifier: BSD-2-Clause

// Going through a JSON text that is known to be well-formed: only quotes, brackets and the
// beginnings of values matter, and nothing has to be checked.
//
// A file may be one line, so characters are counted in blocks: a place costs the same anywhere.
#include "definitions/dr_json_places.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "frame/str_util.h"

namespace {

constexpr std::string_view BETWEEN = " \t\r\n,:";
constexpr std::string_view BEHIND_A_WORD = " \t\r\n,]}";
constexpr size_t BLOCK = 1024;

} // namespace

dr_json_places_c::dr_json_places_c(std::string_view text) : text_(text) {
    lines_.push_back(0);
    for (size_t end = text.find('\n'); end != std::string_view::npos;
         end = text.find('\n', end + 1)) {
        lines_.push_back(end + 1);
    }
    blocks_.push_back(0);
    for (size_t at = 0; at + BLOCK <= text.size(); at += BLOCK) {
        blocks_.push_back(blocks_.back() + dri_count_characters(text.substr(at, BLOCK)));
    }
    go_through();
    assert(open_.empty());
}

void dr_json_places_c::go_through() {
    size_t at = text_.find_first_not_of(BETWEEN);
    while (at != std::string_view::npos) {
        const char c = text_[at];
        size_t end = at + 1;
        if (c == '{' || c == '[') {
            add(at);
            open_.push_back(static_cast<uint32_t>(nodes_.size() - 1));
        } else if (c == '}' || c == ']') {
            open_.pop_back();
        } else if (c != '"') {
            add(at);
            end = std::min(text_.find_first_of(BEHIND_A_WORD, at), text_.size());
        } else {
            end = end_of_text(at);
            const bool is_name =
                !has_name_ && !open_.empty() && text_[nodes_[open_.back()].begin] == '{';
            if (is_name) {
                pending_name_ = text_.substr(at + 1, end - at - 2);
            } else {
                add(at);
            }
            has_name_ = is_name;
        }
        at = text_.find_first_not_of(BETWEEN, end);
    }
}

// Behind the quote that closes the text which begins at `quote`.
size_t dr_json_places_c::end_of_text(size_t quote) const {
    size_t at = quote + 1;
    while (text_[at] != '"') {
        at += text_[at] == '\\' ? 2 : 1;
    }
    return at + 1;
}

void dr_json_places_c::add(size_t begin) {
    const auto node = static_cast<uint32_t>(nodes_.size());
    nodes_.push_back({begin, std::exchange(pending_name_, {})});
    has_name_ = false;
    if (open_.empty()) {
        return;
    }
    node_s& parent = nodes_[open_.back()];
    (parent.last == NONE ? parent.first : nodes_[parent.last].next) = node;
    parent.last = node;
}

uint32_t dr_json_places_c::member(uint32_t object, std::string_view name) const {
    uint32_t found = NONE;
    for (uint32_t node = first(object); node != NONE; node = nodes_[node].next) {
        found = nodes_[node].name == name ? node : found;
    }
    return found;
}

dr_text_place_s dr_json_places_c::place(uint32_t node) const {
    return node == NONE ? dr_text_place_s() : place_of(nodes_[node].begin);
}

dr_text_place_s dr_json_places_c::name_place(uint32_t node) const {
    if (node == NONE || nodes_[node].name.data() == nullptr) {
        return place(node);
    }
    return place_of(static_cast<size_t>(nodes_[node].name.data() - text_.data()) - 1);
}

dr_text_place_s dr_json_places_c::place_of(size_t offset) const {
    const auto behind = std::upper_bound(lines_.begin(), lines_.end(), offset);
    const size_t line = behind[-1];
    const size_t characters = offset - line <= BLOCK
                                  ? dri_count_characters(text_.substr(line, offset - line))
                                  : characters_before(offset) - characters_before(line);
    return {static_cast<uint32_t>(behind - lines_.begin()),
            static_cast<uint32_t>(characters + 1)};
}

size_t dr_json_places_c::characters_before(size_t offset) const {
    const size_t block = offset / BLOCK;
    return blocks_[block] +
           dri_count_characters(text_.substr(block * BLOCK, offset - block * BLOCK));
}
