// SPDX-License-Identifier: BSD-2-Clause

// From the events of a walk to lines.
//
// Opening a level costs next to nothing, for nothing is shown of it yet, and perhaps never: what
// has to stand above a line is made when the line is.
#include "render/dr_table_cwalker.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int BLOCK_INDENT = 4; // of what stands below a row
constexpr std::string_view EMPTY_TEXT = "\"\"";
constexpr std::string_view EMPTY_TYPE = "yes";
constexpr char PRESENT[] = "present";
// Longer texts are put together aside, and cut where a text would be that is sent by itself.
constexpr size_t USUAL_TEXT = 512;
constexpr size_t LONGEST_TEXT = STR_LIMIT / 2;

// Adds a text of a definition or a value to a cell.
void append_safe(dr_table_row_c& row, dr_table_cell_s& cell, std::string_view text) {
    char safe[DRI_ESCAPED_MAX * USUAL_TEXT];
    if (text.size() <= USUAL_TEXT) {
        char* const end = dri_table_escaper.write(safe, text);
        row.append(cell, {safe, static_cast<size_t>(end - safe)});
        return;
    }
    std::string longer;
    if (!dri_table_escaper.append(longer, text, LONGEST_TEXT)) {
        longer += STR_CUT_MARKER;
    }
    row.append(cell, longer);
}

} // namespace

int dr_table_cwalker_c::finalize() {
    show_pair();
    if (!cursor().empty()) {
        part_from_last(last_ != shown_e::NOTHING);
        lines_.add_text(0, "cursor: " + cursor());
    }
    send_everything();
    return finish_output();
}

// --- levels -----------------------------------------------------------------------------------

dr_table_cwalker_c::level_s& dr_table_cwalker_c::open_level(level_s::kind_e kind,
                                                            const drend_tag_object_c* tobj,
                                                            dr_table_layout_c& layout,
                                                            const dr_table_kid_s* kid) {
    show_pair();
    const level_s* below = depth_ == 0 ? nullptr : &top();
    if (depth_ == levels_.size()) {
        levels_.push_back(std::make_unique<level_s>());
    }
    level_s& level = *levels_[depth_++];
    level.kind = kind;
    level.tobj = tobj;
    level.layout = &layout;
    level.kid = kid;
    level.indent = below == nullptr ? 0 : below->indent;
    level.is_in_row = below != nullptr && (below->is_in_row || below->kind == level_s::ROW);
    level.cursor = 0;
    level.number = kind == level_s::SECTION ? ++sections_ : 0;
    level.is_single = false;
    return level;
}

void dr_table_cwalker_c::close_level() {
    show_pair();
    if (top().kind == level_s::ROW && top().has_content) {
        end_row(depth_ - 1);
    }
    --depth_;
    shown_levels_ = std::min(shown_levels_, depth_);
}

// The level of the whole answer, in which the command's top tag is the only kid.
void dr_table_cwalker_c::open_top() {
    const auto bottom = static_cast<unsigned>(context_.tag_depth()) - 1;
    auto& layout = layouts_[nullptr];
    layout = make_layout(*context_.get_top_tag(bottom)->dto_tag, true, nullptr);
    open_level(level_s::SECTION, nullptr, *layout, nullptr);
}

void dr_table_cwalker_c::push(const drend_tag_object_c* tobj) {
    if (depth_ == 0) {
        open_top();
    }
    if (tobj->type() == DT_TYPE_LIST) {
        open_row(tobj);
    } else if (tobj->type() == DT_TYPE_CONT) {
        open_container(tobj);
    }
}

void dr_table_cwalker_c::open_container(const drend_tag_object_c* tobj) {
    level_s& below = top();
    const bool is_present = tobj->isset_flag(DTO_FLAG_PRESENT);
    if (below.kind == level_s::ROW) {
        if (is_present) {
            presences_.push_back({tobj, shown_});
        }
        return;
    }
    const dr_table_kid_s* kid = below.layout->find(*tobj->dto_tag, below.cursor);
    if (kid == nullptr) {
        return; // seen through
    }
    level_s& level =
        open_level(level_s::SECTION, tobj, layout_of(*tobj->dto_tag, nullptr), kid);
    level.indent += kid->title.empty() ? 0 : TITLE_INDENT;
    if (is_present) {
        show_levels(depth_);
    }
}

void dr_table_cwalker_c::list_start(const drend_tag_object_c* tobj) {
    if (depth_ == 0) {
        open_top();
    }
    if (tobj->type() == DT_TYPE_LIST && !tobj->dto_tag->is_hidden()) {
        open_list(tobj);
    }
}

void dr_table_cwalker_c::open_list(const drend_tag_object_c* tobj) {
    level_s& below = top();
    const dr_table_kid_s* kid = below.layout->find(*tobj->dto_tag, below.cursor);
    const bool is_in_row = below.kind == level_s::ROW;
    const bool is_repeated = is_in_row && kid->is_repeated;
    dr_table_layout_c& layout =
        layout_of(*tobj->dto_tag, is_repeated ? below.layout : nullptr);
    level_s& list = open_level(level_s::LIST, tobj, layout, kid);
    list.header = nullptr;
    list.table = depth_ - 1;
    if (is_repeated) {
        list.table = levels_[depth_ - 3]->table;
    } else {
        list.indent +=
            (is_in_row ? BLOCK_INDENT : 0) + (kid->title.empty() ? 0 : TITLE_INDENT);
    }
}

void dr_table_cwalker_c::list_stop(const drend_tag_object_c* tobj) {
    if (tobj->type() == DT_TYPE_LIST && !tobj->dto_tag->is_hidden()) {
        close_level();
    }
}

// A row of a list, or the one row that a source with a key has selected.
void dr_table_cwalker_c::open_row(const drend_tag_object_c* tobj) {
    if (top().kind != level_s::LIST || top().tobj != tobj) {
        open_list(tobj);
        top().is_single = true;
    }
    const level_s& list = top();
    dr_table_layout_c& layout = *list.layout;
    if (layout.is_section()) {
        open_level(level_s::SECTION, tobj, layout, nullptr);
    } else {
        level_s& row = open_level(level_s::ROW, tobj, layout, nullptr);
        row.line = level_s::TO_COME;
        row.has_content = false;
        if (list.table == depth_ - 2) {
            row.row.begin(layout.columns().size());
        } else {
            row.row.begin_as(levels_[depth_ - 3]->row, layout.columns().size());
        }
    }
    read_keys(top());
}

void dr_table_cwalker_c::read_keys(level_s& row) {
    const drend_tag_c& list = *row.tobj->dto_tag;
    for (const std::string& name : list.dt_keys) {
        const drend_tag_c* tag = list.find_child(name);
        if (tag == nullptr || tag->is_internal_tag()) {
            continue;
        }
        const dr_list_key_val* key = read_key(row.tobj, *tag);
        if (key != nullptr && row.kind == level_s::ROW) {
            const uint32_t column = row.layout->find(*key->tag, row.cursor)->column;
            put_text(row.row, column, row.layout->columns()[column], *key->tag, key->value);
        }
    }
    row.cursor = 0;
}

void dr_table_cwalker_c::pop(const drend_tag_object_c* tobj) {
    if (!presences_.empty() && presences_.back().tobj == tobj) {
        const bool is_empty = presences_.back().shown == shown_;
        presences_.pop_back();
        if (is_empty) {
            add_presence(*tobj->dto_tag);
        }
    }
    if (top().tobj != tobj || top().kind == level_s::LIST) {
        return; // of no level
    }
    close_level();
    if (tobj->type() == DT_TYPE_LIST) {
        clear_keys(tobj);
        if (top().is_single) {
            close_level();
        }
    }
}

// --- layouts ----------------------------------------------------------------------------------

std::unique_ptr<dr_table_layout_c>
dr_table_cwalker_c::make_layout(const drend_tag_c& tag, bool is_top,
                                const dr_table_layout_c* repeated) const {
    const auto is_shown = [this](const drend_tag_c& leaf, const drend_tag_c& named) {
        const bool is_for_wide = named.dt_table != nullptr && named.dt_table->is_wide;
        return context_.style_match(&leaf) && (look_.is_wide || !is_for_wide);
    };
    const bool is_section =
        is_top || tag.dt_type != DT_TYPE_LIST ||
        (tag.dt_table != nullptr && tag.dt_table->rows == dr_rows_e::SECTIONS);
    return std::make_unique<dr_table_layout_c>(
        dr_table_layout_c::scope_s{tag, is_top, is_section, look_.has_fields, repeated},
        is_shown);
}

// The layout of what is in a list's rows or in a container. Those of lists that repeat its columns
// are made with it, for rows without rows of such a list stand in the same table.
dr_table_layout_c& dr_table_cwalker_c::layout_of(const drend_tag_c& tag,
                                                 const dr_table_layout_c* repeated) {
    const auto known = layouts_.find(&tag);
    if (known != layouts_.end()) {
        return *known->second;
    }
    std::vector<dr_table_layout_c*> chain;
    for (const drend_tag_c* next = &tag; next != nullptr;) {
        auto& layout = layouts_[next];
        layout = make_layout(*next, false, repeated);
        chain.push_back(layout.get());
        repeated = layout.get();
        const dr_table_kid_s* kid = layout->first_repeated();
        next = kid == nullptr ? nullptr : kid->tag;
    }
    for (dr_table_layout_c* layout : chain) {
        layout->line_layout = chain.back();
    }
    return *chain.front();
}

// --- values -----------------------------------------------------------------------------------

void dr_table_cwalker_c::leaf(const dr_row_kid_s& leaf, const dr_value_c& value) {
    constexpr uint32_t special = DT_FLAG_KEY | DT_FLAG_ZERO_SUPPRESSION;
    if (depth_ == 0) {
        open_top();
    }
    level_s& level = top();
    const dr_table_kid_s* kid = level.layout->find(*leaf.tag, level.cursor);
    if (kid == nullptr || kid->column == dr_table_kid_s::NO_COLUMN) {
        return;
    }
    if (leaf.tag->isset_flag(special) && is_left_out(*leaf.tag, value)) {
        return;
    }
    if (level.kind == level_s::ROW) {
        add_cell(level, *kid, value);
    } else {
        add_pair_value(*kid, value);
    }
}

// Whether a value is a zero that its definition suppresses, or that of a key, which its row has
// already.
bool dr_table_cwalker_c::is_left_out(const drend_tag_c& tag, const dr_value_c& value) {
    if (find_key(tag) == nullptr) {
        return !zero_suppression_check(tag, value);
    }
    ++shown_;
    if (top().kind == level_s::ROW) {
        top().has_content = true;
    } else {
        show_pair();
        show_levels(depth_);
    }
    return true;
}

void dr_table_cwalker_c::add_pair_value(const dr_table_kid_s& kid,
                                        const dr_value_c& value) {
    if (pair_kid_ != &kid || pair_.text_size() > dr_table_lines_c::HELD_TEXT) {
        show_pair();
        show_levels(depth_);
        pair_.begin(1);
        pair_kid_ = &kid;
    }
    ++shown_;
    put_value(pair_, 0, top().layout->columns()[kid.column], *kid.tag, value);
}

void dr_table_cwalker_c::add_cell(level_s& level, const dr_table_kid_s& kid,
                                  const dr_value_c& value) {
    ++shown_;
    level.has_content = true;
    if (level.row.text_size() > dr_table_lines_c::HELD_TEXT && level.line != level_s::OUT) {
        end_row(depth_ - 1);
    }
    if (level.line == level_s::OUT) {
        add_late_cell(level, kid, value);
    } else {
        put_value(level.row, kid.column, level.layout->columns()[kid.column], *kid.tag,
                  value);
    }
}

void dr_table_cwalker_c::add_late_cell(const level_s& level, const dr_table_kid_s& kid,
                                       const dr_value_c& value) {
    const dr_table_column_s& column = level.layout->columns()[kid.column];
    late_.begin(1);
    put_value(late_, 0, column, *kid.tag, value);
    lines_.add_pair(level.indent + BLOCK_INDENT, column, 0, late_);
    relieve();
}

// A container in a row that is there and in which nothing is shown.
void dr_table_cwalker_c::add_presence(const drend_tag_c& tag) {
    const dr_table_kid_s* kid = top().layout->find(tag, top().cursor);
    if (kid == nullptr) {
        return; // of no column: internal, or in the place of a leaf-list's value
    }
    dr_value_c value;
    value.set_string(PRESENT);
    add_cell(top(), *kid, value);
}

// Puts a value into a cell of a row, behind those that are there.
inline void dr_table_cwalker_c::put_value(dr_table_row_c& row, size_t cell,
                                          const dr_table_column_s& column,
                                          const drend_tag_c& tag,
                                          const dr_value_c& value) const {
    dr_table_cell_s& at = row.cell(cell);
    const bool has_states = look_.has_color && column.says != nullptr;
    if (at.size == 0 && tag.dt_prefix.empty() && !has_states) {
        if (value.is_plain() && !tag.is_decimal64()) {
            row.take(at, value.write_plain(row.room(DRI_DIGITS_ROOM)));
            return;
        }
        const bool is_text = value.type() == DRV_STRING && value.is_plain_text();
        const std::string_view text = is_text ? value.stored_text() : "";
        if (!text.empty() && text.size() <= USUAL_TEXT) {
            row.take(at, dri_copy_text(row.room(text.size()), text));
            return;
        }
    }
    dr_value_c::scratch_t scratch;
    put_text(row, cell, column, tag, tag.value_text(value, scratch));
}

void dr_table_cwalker_c::put_text(dr_table_row_c& row, size_t cell,
                                  const dr_table_column_s& column, const drend_tag_c& tag,
                                  std::string_view text) const {
    dr_table_cell_s& at = row.cell(cell);
    if (at.size != 0) {
        row.append(at, ", ");
    }
    append_safe(row, at, tag.dt_prefix);
    if (text.empty() && tag.dt_data_type == DT_DATA_EMPTY) {
        row.append(at, EMPTY_TYPE);
    } else if (text.empty() && tag.dt_prefix.empty()) {
        row.append(at, EMPTY_TEXT);
    }
    append_safe(row, at, text);
    if (look_.has_color && column.says != nullptr) {
        at.state = std::max(at.state, column.says->state_of(text));
    }
}
