// SPDX-License-Identifier: BSD-2-Clause

// dr_table_layout_c: what the tags below a list or a container become in a table, worked out once
// for a request.
//
//     list "interface"            kids, in the order of the walk     columns, in their order
//      +-- name (key)             name         -> 0                  0  name
//      +-- mtu                    mtu          -> 2                  1  state
//      +-- choice                                                    2  mtu (bytes)
//      |    +-- state             state        -> 1                  3  statistics in
//      +-- list "address"         address         (a table below)
//      +-- statistics
//           +-- in                statistics   -> 4 (presence)
//                                 in           -> 3
//
//  1. Hidden and internal containers and leaf-lists are seen through: what is in them is a kid
//     here. So are other containers of a list's row; those of a container or of a row that is a
//     section are kids.
//  2. A leaf that the request does not show (style, "wide") is a kid without a column. Kids of one
//     name in one container share a column.
//  3. Behind a counter there may be a column for its rate, which is shown when the counter is.
//  4. Widths grow with the rows that are measured until the layout is settled, and then stay. A
//     column without a value in those rows is not shown, unless the definition gives its width.
//
// Belongs to one walker. Its tags are those of the walk.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "definitions/drend_tag.h"

// A value in its column; the text stands in a buffer of the row's. Size 0: there is none.
struct dr_table_cell_s {
    uint32_t begin = 0;
    uint32_t size = 0;
    uint32_t width = 0; // in characters
    dr_state_e state = dr_state_e::NONE;
};

struct dr_table_column_s {
    std::string heading{}; // that of a value by itself
    std::string title{};   // the heading with the unit
    std::string unit{};
    const dr_table_tag_s* says = nullptr; // what the definition says of it, or null
    uint32_t width = 0;
    bool is_right = false;
    bool is_shown = false;
    enum kind_e : uint8_t { VALUE, KEY, COUNTER, RATE };
    kind_e kind = VALUE; // a rate is room for what its reader works out, and has no values
};

struct dr_table_kid_s {
    enum kind_e : uint8_t { VALUE, PRESENCE, CONTAINER, LIST };
    static constexpr uint32_t NO_COLUMN = UINT32_MAX;

    const drend_tag_c* tag;
    kind_e kind;
    uint32_t column = NO_COLUMN; // of a value or presence
    std::string title{};         // of a container or list; empty: none is shown
    bool is_last = false;        // no column comes behind this list
    bool is_repeated = false;    // a list whose rows repeat the columns of this one
};

class dr_table_layout_c {
  public:
    // Of a leaf that is no key, and of the tag that it shows the value of: itself or its leaf-list.
    using is_shown_t =
        std::function<bool(const drend_tag_c& leaf, const drend_tag_c& named)>;

    // What a layout is of: what stands below `tag`, or `tag` alone where that is the top of the
    // answer.
    struct scope_s {
        const drend_tag_c& tag;
        bool is_top;
        bool is_section;
        bool has_rates;                    // behind counters
        const dr_table_layout_c* repeated; // whose columns come first; null: none
    };

    dr_table_layout_c(const scope_s& scope, const is_shown_t& is_shown);
    dr_table_layout_c(const dr_table_layout_c&) = delete;
    dr_table_layout_c& operator=(const dr_table_layout_c&) = delete;

    bool is_section() const { return is_section_; }
    // The kid of that tag, or null; `cursor` is behind the one found last.
    const dr_table_kid_s* find(const drend_tag_c& tag, size_t& cursor) const {
        if (cursor < kids_.size() && kids_[cursor].tag == &tag) {
            return &kids_[cursor++];
        }
        return find_elsewhere(tag, cursor);
    }
    const dr_table_kid_s* first_repeated() const;
    const std::vector<dr_table_column_s>& columns() const { return columns_; }
    // Of a section: the widest heading among those of its values.
    size_t label_width() const { return label_width_; }

    // --- the columns of a table ---

    bool is_settled() const { return is_settled_; }
    void measure(const std::vector<dr_table_cell_s>& cells);
    void settle();
    // How many bytes a line has at most besides its values.
    size_t line_room() const { return line_room_; }

    // The layout that a row's own line is shown by: this one, or that of rows which repeat it.
    dr_table_layout_c* line_layout = this;

  private:
    const dr_table_kid_s* find_elsewhere(const drend_tag_c& tag, size_t& cursor) const;

    const bool is_section_;
    bool is_settled_ = false;
    std::vector<dr_table_kid_s> kids_;
    std::vector<dr_table_column_s> columns_;
    size_t label_width_ = 0;
    size_t line_room_ = 0;
};
