// SPDX-License-Identifier: BSD-2-Clause

// dr_table_cwalker_c: output for people, as aligned columns.
//
//     snapshot-time: 2026-11-22T04:41:45Z      a container's leaf: a pair
//
//     name  state  mtu (bytes)                 a list: a table
//     lo    up           65536
//         ip         length                    a list below its row: a block
//         127.0.0.1       8
//     eth0  up            1500
//
// What is open is a level: a section, whose leaves are pairs; a list; a row of one. Containers in a
// row are no levels, their leaves are columns of the row.
//
//  1. A level shows itself (title, header, the row's own line) when something in it is shown, and
//     nothing otherwise.
//  2. A row's line goes out when the row ends, or before the block below it if no column of the row
//     comes behind that block. What comes for a row whose line is out, or that has more than fits
//     into memory set aside for it, stands below as a pair.
//  3. A row's keys are read when it opens and are shown with whatever else the row shows.
//  4. A leaf without a value is "-"; one with an empty text is two quotes, or "yes" when it is of
//     the type "empty". Values of a leaf-list are joined by ", ".
//  5. Memory: a row for each level, and what dr_table_lines_c holds.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "render/dr_table_layout.h"
#include "render/dr_table_lines.h"
#include "render/dr_tags_access_context.h"
#include "render/drend_context_walker.h"

struct dr_table_look_s {
    bool is_wide = false;    // leaves that are for wide tables are shown
    bool has_color = false;  // otherwise there is no escape byte
    bool has_fields = false; // a program can tell cells apart, and has columns for rates
};

class dr_table_cwalker_c : public dr_context_walker_c {
  public:
    dr_table_cwalker_c(dr_tags_access_context_c& context, void* peer, dr_table_look_s look)
        : dr_context_walker_c(context, peer),
          lines_(output_, look.has_color, look.has_fields), look_(look) {}

    int finalize() override;
    void push(const drend_tag_object_c* tobj) override;
    void push_value(const drend_tag_object_c* tobj, const dr_value_c& value) override {
        dr_table_cwalker_c::leaf({tobj->dto_tag}, value);
    }
    void leaf(const dr_row_kid_s& leaf, const dr_value_c& value) override;
    void pop(const drend_tag_object_c* tobj) override;
    void list_start(const drend_tag_object_c* tobj) override;
    void list_stop(const drend_tag_object_c* tobj) override;

  private:
    static constexpr int TITLE_INDENT = 2; // of what a title is above

    struct level_s {
        enum kind_e : uint8_t { SECTION, LIST, ROW };
        // A row's own line: to come, held open, or out.
        enum line_e : uint8_t { TO_COME, OPEN, OUT };

        kind_e kind = SECTION;
        const drend_tag_object_c* tobj = nullptr;
        dr_table_layout_c* layout = nullptr; // of a list: that of its rows
        const dr_table_kid_s* kid = nullptr; // in the level below; null: a row, or the top
        int indent = 0;                      // of its lines
        bool is_in_row = false;              // of a table
        size_t cursor = 0;                   // behind the kid that came last
        size_t number = 0;                   // of a section: no other one has it
        // Of a list: the level whose table its rows' lines are in, which of their layouts had the
        // last header there, and whether the list was opened for one row and ends with it.
        size_t table = 0;
        const dr_table_layout_c* header = nullptr;
        bool is_single = false;
        // Of a row.
        line_e line = TO_COME;
        size_t line_number = 0;
        bool has_content = false; // besides its keys
        dr_table_row_c row{};
    };
    // A container in a row that is there even without content.
    struct presence_s {
        const drend_tag_object_c* tobj;
        size_t shown; // before it
    };

    level_s& top() { return *levels_[depth_ - 1]; }
    level_s& open_level(level_s::kind_e kind, const drend_tag_object_c* tobj,
                        dr_table_layout_c& layout, const dr_table_kid_s* kid);
    void close_level();
    void open_top();
    void open_list(const drend_tag_object_c* tobj);
    void open_row(const drend_tag_object_c* tobj);
    void read_keys(level_s& row);
    void open_container(const drend_tag_object_c* tobj);
    dr_table_layout_c& layout_of(const drend_tag_c& tag, const dr_table_layout_c* repeated);
    std::unique_ptr<dr_table_layout_c> make_layout(const drend_tag_c& tag, bool is_top,
                                                   const dr_table_layout_c* repeated) const;

    [[gnu::noinline]] bool is_left_out(const drend_tag_c& tag, const dr_value_c& value);
    void add_pair_value(const dr_table_kid_s& kid, const dr_value_c& value);
    void add_cell(level_s& level, const dr_table_kid_s& kid, const dr_value_c& value);
    void add_late_cell(const level_s& level, const dr_table_kid_s& kid,
                       const dr_value_c& value);
    void add_presence(const drend_tag_c& tag);
    void put_value(dr_table_row_c& row, size_t cell, const dr_table_column_s& column,
                   const drend_tag_c& tag, const dr_value_c& value) const;
    [[gnu::noinline]] void put_text(dr_table_row_c& row, size_t cell,
                                    const dr_table_column_s& column, const drend_tag_c& tag,
                                    std::string_view text) const;

    void show_levels(size_t depth);
    void show_level(size_t index);
    void show_title(const level_s& level);
    void show_keys(level_s& section);
    void show_pair();
    void show_pair(const level_s& section, uint32_t column, const dr_table_row_c& row);
    void show_row_above(size_t index);
    void show_row(size_t index, bool is_open);
    void end_row(size_t index);
    void leave_to_repetition(size_t list);
    void show_header(level_s& list, dr_table_layout_c& layout);
    void relieve();
    void send_everything();

    // What the line shown last was.
    enum class shown_e : uint8_t { NOTHING, TITLE, PAIR, ROW };
    void part_from_last(bool is_parted) {
        if (is_parted) {
            lines_.add_text(0, "");
        }
    }

    dr_table_lines_c lines_;
    const dr_table_look_s look_;
    std::unordered_map<const drend_tag_c*, std::unique_ptr<dr_table_layout_c>> layouts_;
    std::vector<std::unique_ptr<level_s>>
        levels_; // those above depth_ are kept for their memory
    size_t depth_ = 0;
    size_t shown_levels_ = 0; // so many of them have shown themselves
    std::vector<presence_s> presences_;
    size_t shown_ = 0; // counts what is shown
    // The pair that values are added to.
    const dr_table_kid_s* pair_kid_ = nullptr;
    dr_table_row_c pair_;
    dr_table_row_c late_;
    shown_e last_ = shown_e::NOTHING;
    int last_title_indent_ = 0;
    size_t sections_ = 0;     // counts them
    size_t last_section_ = 0; // whose pair was shown last
};
