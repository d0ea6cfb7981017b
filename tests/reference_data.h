// SPDX-License-Identifier: BSD-2-Clause

// The daemon's data as the reference sees it: it is asked by position, and answers as the daemon of
// random_daemon.cpp does.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "drend.h"
#include "reference.h"

namespace reference {

struct place_s {
    const node_s* node;
    const mark_s* row = nullptr; // in a list: the current one; else that of the place above
    bool is_row = false;
    const mark_s* attribute = nullptr; // in a dynamic container
    std::string attribute_name{};
};

// From the root on. Empty: nowhere.
using position_t = std::vector<place_s>;

// Answers as the daemon does.
class data_c {
  public:
    explicit data_c(const case_s& drawn) : case_(drawn) {
        for (const node_s& node : drawn.nodes) {
            was_asked_.emplace_back(node.rows);
        }
    }

    const node_s& root() const { return case_.nodes.front(); }

    const node_s* below(const node_s& node, const std::string& name) const {
        for (const node_s& other : case_.nodes) {
            if (&other != &node && other.path == node.path + "/" + name) {
                return &other;
            }
        }
        return nullptr;
    }

    // The next row of a list, or null.
    const mark_s* next_row(const position_t& list) const {
        const node_s& node = *list.back().node;
        const unsigned above = row_of(list[list.size() - 2].row, node);
        const mark_s* at = list.back().row;
        const unsigned next = at == nullptr ? above * node.most : at->index + 1;
        const bool is_there = next < above * node.most + case_.count_of(node, above);
        return is_there ? &node.marks[next] : nullptr;
    }

    // Goes on to what a dynamic container names next. False at the end.
    bool name_kid(place_s& at) const {
        const node_s& node = *at.node;
        const mark_s* mark = node.marks_by_element ? at.row : at.attribute;
        const auto is_own = [&](const mark_s& own) { return &own == mark; };
        const bool has_begun = std::any_of(node.marks.begin(), node.marks.end(), is_own);
        const size_t next = has_begun ? mark->index + size_t{1} : 0;
        at.attribute = nullptr;
        if (next == node.marks.size()) {
            return false;
        }
        at.attribute_name = node.named[next].value_or(at.attribute_name);
        (node.marks_by_element ? at.row : at.attribute) = &node.marks[next];
        return true;
    }

    int read(const position_t& at, value_s& out) {
        out = {};
        if (at.empty() || at.back().node->kind != node_s::LEAF) {
            return DREND_ERR;
        }
        const node_s& leaf = *at.back().node;
        const unsigned row = row_of(at.back().row, leaf);
        const reading_s reading = case_.reading_of(leaf, row);
        const bool was_asked = was_asked_[leaf.id][row];
        was_asked_[leaf.id][row] = true;
        const int status = was_asked ? reading.later : reading.first;
        if (status == DREND_OK && reading.sets_value) {
            out = {static_cast<value_s::type_e>(int{value_s::TEXT} + int{leaf.form}),
                   case_.value_of(leaf, row)};
            out.is_long =
                leaf.form == node_s::INTEGER && leaf.bits_of(out.text.c_str()) > 32;
        }
        return status;
    }

  private:
    static unsigned row_of(const mark_s* mark, const node_s& node) {
        return mark == nullptr ? 0 : mark->index % node.rows;
    }

    const case_s& case_;
    std::vector<std::vector<bool>> was_asked_; // by node and row
};

inline std::string number_text(const char* format, int digits, const std::string& number) {
    char text[64];
    snprintf(text, sizeof text, format, digits, strtod(number.c_str(), nullptr));
    return text;
}

// As the daemon has it.
inline std::string raw_text(const value_s& value) {
    return value.type == value_s::NONE   ? "DREND_ERR"
           : value.type == value_s::REAL ? number_text("%.*e", 6, value.text)
                                         : value.text;
}

// As it is shown for a leaf.
inline std::string shown_text(const tag_s& tag, const value_s& value) {
    if (tag.data_type != "decimal64" || value.type == value_s::TEXT) {
        return raw_text(value);
    }
    return value.type == value_s::WHOLE || value.type == value_s::REAL
               ? number_text("%.*f", tag.fraction, value.text)
               : "Conversion Error";
}

} // namespace reference
