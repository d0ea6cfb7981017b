// SPDX-License-Identifier: BSD-2-Clause

// What levels of a table show of themselves: titles, headers, pairs and the lines of rows, with the
// blank lines between them.
//
// Lines are added in the order in which they go out, so whether one stands apart from the one
// before it is decided when it is added.
#include <utility>

#include "render/dr_table_cwalker.h"

void dr_table_cwalker_c::show_levels(size_t depth) {
    for (; shown_levels_ < depth; ++shown_levels_) {
        show_level(shown_levels_);
    }
}

void dr_table_cwalker_c::show_level(size_t index) {
    level_s& level = *levels_[index];
    switch (level.kind) {
    case level_s::ROW:
        level.has_content = true;
        break;
    case level_s::LIST:
        if (level.table == index) {
            if (levels_[index - 1]->kind == level_s::ROW) {
                show_row_above(index);
            }
            show_title(level);
        }
        break;
    case level_s::SECTION:
        show_title(level);
        show_keys(level);
        break;
    }
}

void dr_table_cwalker_c::show_title(const level_s& level) {
    if (level.kid == nullptr || level.kid->title.empty()) {
        return;
    }
    const int indent = level.indent - TITLE_INDENT;
    const bool is_below_title = last_ == shown_e::TITLE && last_title_indent_ < indent;
    part_from_last(!level.is_in_row && last_ != shown_e::NOTHING && !is_below_title);
    lines_.add_title(indent, level.kid->title);
    last_ = shown_e::TITLE;
    last_title_indent_ = indent;
    relieve();
}

// The keys of a row that is a section.
void dr_table_cwalker_c::show_keys(level_s& section) {
    for (size_t i = 0; i < keys_used_; ++i) {
        const dr_list_key_val& key = keys_[i];
        if (key.owner == section.tobj) {
            const uint32_t column = section.layout->find(*key.tag, section.cursor)->column;
            late_.begin(1);
            put_text(late_, 0, section.layout->columns()[column], *key.tag, key.value);
            show_pair(section, column, late_);
        }
    }
    section.cursor = 0;
}

void dr_table_cwalker_c::show_pair() {
    if (pair_kid_ != nullptr) {
        const uint32_t column = std::exchange(pair_kid_, nullptr)->column;
        show_pair(top(), column, pair_);
    }
}

void dr_table_cwalker_c::show_pair(const level_s& section, uint32_t column,
                                   const dr_table_row_c& row) {
    part_from_last(last_ == shown_e::PAIR ? last_section_ != section.number
                                          : last_ == shown_e::ROW && !section.is_in_row);
    lines_.add_pair(section.indent, section.layout->columns()[column],
                    section.layout->label_width(), row);
    last_ = shown_e::PAIR;
    last_section_ = section.number;
    relieve();
}

// Shows the row that a block stands below, as far as it is known, before the block.
void dr_table_cwalker_c::show_row_above(size_t index) {
    level_s& row = *levels_[index - 1];
    if (levels_[index]->kid->is_last) {
        end_row(index - 1);
    } else if (row.line == level_s::TO_COME) {
        show_row(index - 1, true);
    }
}

// Has the line of a row go out with what is known of it.
void dr_table_cwalker_c::end_row(size_t index) {
    level_s& row = *levels_[index];
    if (row.line == level_s::TO_COME) {
        show_row(index, false);
    } else if (row.line == level_s::OPEN) {
        row.line = level_s::OUT;
        lines_.fill_row(row.line_number, row.row);
    }
}

void dr_table_cwalker_c::show_row(size_t index, bool is_open) {
    show_levels(index);
    level_s& row = *levels_[index];
    const level_s& list = *levels_[index - 1];
    dr_table_layout_c& layout = *row.layout->line_layout;
    show_header(*levels_[list.table], layout);
    if (is_open) {
        row.line_number = lines_.add_open_row(layout, list.indent);
    } else {
        lines_.add_row(layout, list.indent, row.row);
    }
    row.line = is_open ? level_s::OPEN : level_s::OUT;
    last_ = shown_e::ROW;
    if (list.table != index - 1) {
        leave_to_repetition(index - 1);
    }
    relieve();
}

// The rows whose columns a list's rows repeat need no lines of their own.
void dr_table_cwalker_c::leave_to_repetition(size_t list) {
    for (size_t at = list; levels_[at]->table != at; at -= 2) {
        level_s& row = *levels_[at - 1];
        row.line = row.line == level_s::TO_COME ? level_s::OUT : row.line;
    }
}

void dr_table_cwalker_c::show_header(level_s& list, dr_table_layout_c& layout) {
    if (list.header == &layout) {
        return;
    }
    part_from_last(!list.is_in_row && list.header == nullptr && last_ != shown_e::NOTHING &&
                   last_ != shown_e::TITLE);
    lines_.add_header(layout, list.indent);
    list.header = &layout;
}

// Sees to it that no more is held than is allowed.
void dr_table_cwalker_c::relieve() {
    if (!lines_.is_full()) {
        return;
    }
    for (size_t i = 0; i < depth_; ++i) {
        if (levels_[i]->kind == level_s::ROW && levels_[i]->line == level_s::OPEN) {
            levels_[i]->layout->line_layout->measure(levels_[i]->row.cells());
        }
    }
    lines_.settle();
    lines_.send_held();
    if (lines_.is_full()) {
        send_everything();
    }
}

void dr_table_cwalker_c::send_everything() {
    for (size_t i = 0; i < depth_; ++i) {
        if (levels_[i]->kind == level_s::ROW && levels_[i]->line == level_s::OPEN) {
            end_row(i);
        }
    }
    lines_.settle();
    lines_.send_held();
}
