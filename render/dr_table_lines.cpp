// SPDX-License-Identifier: BSD-2-Clause

// Holding lines, and formatting them.
//
// A row is formatted once its widths are known and never again: what is held are cells. A line is
// put together here and added to the output as one text, for its length is known.
#include "render/dr_table_lines.h"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <utility>

#include "frame/dr_text_width.h"

namespace {

constexpr size_t GAP = 2; // between columns
constexpr std::string_view MISSING = "-";
constexpr std::string_view BOLD = "\033[1m";
constexpr std::string_view PLAIN = "\033[0m";
constexpr char FIELD = '\x1f';
constexpr char TITLE_FIELD = 't';
constexpr char HEADING_FIELD = 'h';
constexpr char NAME_FIELD = 'n'; // of the value behind it
constexpr char BLANKS[DRI_PADDING + 1] = "                                ";
constexpr size_t FIRST_SIZE = 256;

std::string_view color_of(dr_state_e state) {
    switch (state) {
    case dr_state_e::GOOD:
        return "\033[32m";
    case dr_state_e::WARNING:
        return "\033[33m";
    case dr_state_e::BAD:
        return "\033[31m";
    case dr_state_e::NONE:
        break;
    }
    return "";
}

char letter_of(const dr_table_column_s& column) {
    switch (column.kind) {
    case dr_table_column_s::KEY:
        return 'k';
    case dr_table_column_s::COUNTER:
        return 'c';
    case dr_table_column_s::RATE:
        return 'r';
    case dr_table_column_s::VALUE:
        break;
    }
    return 'v';
}

char* put_field(char* at, char letter) {
    *at++ = FIELD;
    *at++ = letter;
    return at;
}

// Up to DRI_PADDING bytes more are written.
char* put_blanks(char* at, size_t count) {
    for (size_t done = 0; done < count; done += DRI_PADDING) {
        memcpy(at + done, BLANKS, DRI_PADDING);
    }
    return at + count;
}

size_t columns_of(int indent) {
    return static_cast<size_t>(indent);
}

} // namespace

// --- rows -------------------------------------------------------------------------------------

char* dr_table_row_c::enlarge(size_t size) {
    const size_t wanted = std::max(FIRST_SIZE, 2 * (size_ + size));
    auto text = std::make_unique_for_overwrite<char[]>(wanted + DRI_PADDING);
    if (size_ > 0) {
        memcpy(text.get(), text_.get(), size_);
    }
    text_ = std::move(text);
    capacity_ = wanted;
    return text_.get() + size_;
}

void dr_table_row_c::begin_as(const dr_table_row_c& other, size_t columns) {
    begin(columns);
    std::copy(other.cells_.begin(), other.cells_.end(), cells_.begin());
    dri_copy_text(room(other.size_), {other.text_.get(), other.size_});
    size_ = other.size_;
}

void dr_table_row_c::append(dr_table_cell_s& cell, std::string_view text) {
    char* const at = room(cell.size + text.size());
    if (cell.begin + cell.size != size_) {
        memcpy(at, text_.get() + cell.begin, cell.size);
        cell.begin = static_cast<uint32_t>(size_);
        size_ += cell.size;
    }
    dri_copy_text(text_.get() + size_, text);
    size_ += text.size();
    cell.size += static_cast<uint32_t>(text.size());
    cell.width += static_cast<uint32_t>(dri_text_width(text));
}

// --- adding lines -----------------------------------------------------------------------------

void dr_table_lines_c::add_text(int indent, std::string_view text) {
    if (lines_.empty()) {
        send_text(indent, text);
        return;
    }
    hold(kind_e::TEXT, indent, nullptr);
    lines_.back().begin = text_.size();
    lines_.back().size = text.size();
    text_ += text;
}

void dr_table_lines_c::add_title(int indent, std::string_view text) {
    std::string title = field(TITLE_FIELD);
    title.append(has_color_ ? BOLD : "").append(text).append(has_color_ ? PLAIN : "");
    add_text(indent, title);
}

void dr_table_lines_c::add_pair(int indent, const dr_table_column_s& column, size_t width,
                                const dr_table_row_c& row) {
    const dr_table_cell_s& cell = row.cells()[0];
    const std::string_view color = has_color_ ? color_of(cell.state) : "";
    const std::string& label = column.heading;
    const std::string& unit = column.unit;
    std::string text = field(NAME_FIELD) + label;
    text.append(1, ':').append(1 + width - std::min(width, dri_text_width(label)), ' ');
    text.append(field(letter_of(column)))
        .append(color)
        .append(row.text() + cell.begin, cell.size);
    text.append(color.empty() ? "" : PLAIN);
    text.append(unit.empty() ? 0 : 1, ' ').append(unit);
    add_text(indent, text);
}

void dr_table_lines_c::add_header(dr_table_layout_c& layout, int indent) {
    if (goes_through(layout)) {
        send_header(layout, indent);
    } else {
        hold(kind_e::HEADER, indent, &layout);
    }
}

void dr_table_lines_c::add_row(dr_table_layout_c& layout, int indent,
                               const dr_table_row_c& row) {
    if (goes_through(layout)) {
        send_row(layout, indent, row.cells(), row.text(), row.text_size());
        return;
    }
    hold(kind_e::ROW, indent, &layout);
    hold_cells(lines_.back(), row);
}

size_t dr_table_lines_c::add_open_row(dr_table_layout_c& layout, int indent) {
    hold(kind_e::OPEN_ROW, indent, &layout);
    ++open_;
    return first_ + lines_.size() - 1;
}

void dr_table_lines_c::fill_row(size_t number, const dr_table_row_c& row) {
    line_s& line = lines_[number - first_];
    assert(line.kind == kind_e::OPEN_ROW);
    line.kind = kind_e::ROW;
    hold_cells(line, row);
    --open_;
    send_if_settled();
}

void dr_table_lines_c::hold(kind_e kind, int indent, dr_table_layout_c* layout) {
    lines_.push_back({kind, indent, layout});
}

void dr_table_lines_c::hold_cells(line_s& line, const dr_table_row_c& row) {
    line.layout->measure(row.cells());
    line.begin = cells_.size();
    line.size = row.cells().size();
    for (dr_table_cell_s cell : row.cells()) {
        const size_t begin = text_.size();
        text_.append(cell.size == 0 ? nullptr : row.text() + cell.begin, cell.size);
        cell.begin = static_cast<uint32_t>(begin);
        cells_.push_back(cell);
    }
}

// --- holding ----------------------------------------------------------------------------------

void dr_table_lines_c::settle() {
    for (const line_s& line : lines_) {
        if (line.layout != nullptr && !line.layout->is_settled()) {
            line.layout->settle();
        }
    }
}

// Sends what was held for the sake of an open row.
void dr_table_lines_c::send_if_settled() {
    const auto is_settled = [](const line_s& line) {
        return line.layout == nullptr || line.layout->is_settled();
    };
    if (open_ == 0 && std::all_of(lines_.begin(), lines_.end(), is_settled)) {
        send_held();
    }
}

void dr_table_lines_c::send_held() {
    size_t sent = 0;
    text_.append(DRI_PADDING, ' ');
    while (sent < lines_.size() && lines_[sent].kind != kind_e::OPEN_ROW) {
        send_line(lines_[sent++]);
    }
    text_.resize(text_.size() - DRI_PADDING);
    drop(sent);
}

void dr_table_lines_c::send_line(const line_s& line) {
    switch (line.kind) {
    case kind_e::TEXT:
        send_text(line.indent, std::string_view(text_).substr(line.begin, line.size));
        break;
    case kind_e::HEADER:
        send_header(*line.layout, line.indent);
        break;
    default: {
        const auto cells = std::span(cells_).subspan(line.begin, line.size);
        const size_t size = std::accumulate(
            cells.begin(), cells.end(), size_t{0},
            [](size_t sum, const dr_table_cell_s& cell) { return sum + cell.size; });
        send_row(*line.layout, line.indent, cells, text_.data(), size);
    }
    }
}

// Forgets lines that were sent; what the others have of text and cells moves together.
void dr_table_lines_c::drop(size_t count) {
    first_ += count;
    lines_.erase(lines_.begin(), lines_.begin() + static_cast<std::ptrdiff_t>(count));
    const std::string text = std::exchange(text_, {});
    const std::vector<dr_table_cell_s> cells = std::exchange(cells_, {});
    for (line_s& line : lines_) {
        if (line.kind == kind_e::TEXT) {
            const size_t begin = std::exchange(line.begin, text_.size());
            text_.append(text, begin, line.size);
        } else if (line.kind == kind_e::ROW) {
            const size_t begin = std::exchange(line.begin, cells_.size());
            for (size_t i = begin; i < begin + line.size; ++i) {
                dr_table_cell_s cell = cells[i];
                cell.begin = static_cast<uint32_t>(text_.size());
                text_.append(text, cells[i].begin, cell.size);
                cells_.push_back(cell);
            }
        }
    }
}

// --- sending ----------------------------------------------------------------------------------

// Begins a line that has room for so many bytes behind its indentation, and for padding.
char* dr_table_lines_c::begin_line(int indent, size_t room) {
    const size_t wanted = columns_of(indent) + room + 1 + 2 * DRI_PADDING;
    if (wanted > line_size_) {
        line_size_ = 2 * wanted;
        line_ = std::make_unique_for_overwrite<char[]>(line_size_ + DRI_PADDING);
    }
    return put_blanks(line_.get(), columns_of(indent));
}

void dr_table_lines_c::end_line(char* end) {
    *end++ = '\n';
    *end = '\0';
    output_.add({line_.get(), static_cast<size_t>(end - line_.get())});
}

void dr_table_lines_c::send_text(int indent, std::string_view text) {
    char* const at = begin_line(text.empty() ? 0 : indent, text.size());
    end_line(dri_copy_text(at, text));
}

void dr_table_lines_c::send_header(const dr_table_layout_c& layout, int indent) {
    std::string text;
    size_t blanks = 0;
    for (const dr_table_column_s& column : layout.columns()) {
        if (!column.is_shown) {
            continue;
        }
        const size_t taken = dri_text_width(column.title);
        const size_t rest = column.width - std::min<size_t>(column.width, taken);
        const bool is_first = text.empty();
        text.append(field(HEADING_FIELD)).append(is_first && has_color_ ? BOLD : "");
        text.append(blanks + (column.is_right ? rest : 0), ' ').append(column.title);
        blanks = GAP + (column.is_right ? 0 : rest);
    }
    if (blanks > 0) { // else the rows have nothing but rows below them
        send_text(indent, text.append(has_color_ ? PLAIN : ""));
    }
}

std::string dr_table_lines_c::field(char letter) const {
    return has_fields_ ? std::string{FIELD, letter} : std::string();
}

inline char* dr_table_lines_c::put_cell(char* at, std::string_view text,
                                        dr_state_e state) const {
    if (!has_color_ || state == dr_state_e::NONE) {
        return dri_copy_padded(at, text);
    }
    at = dri_copy_text(dri_copy_text(at, color_of(state)), text);
    return dri_copy_text(at, PLAIN);
}

// Values of columns that are not shown stand behind the others, with their headings.
char* dr_table_lines_c::put_left_out(char* at, const dr_table_layout_c& layout,
                                     std::span<const dr_table_cell_s> cells,
                                     const char* text) const {
    size_t blanks = 0;
    for (size_t i = 0; i < cells.size(); ++i) {
        const dr_table_column_s& column = layout.columns()[i];
        if (column.is_shown || cells[i].size == 0) {
            continue;
        }
        at = has_fields_ ? put_field(at, NAME_FIELD) : at;
        at = dri_copy_text(put_blanks(at, blanks), column.heading);
        at = dri_copy_text(at, ": ");
        at = has_fields_ ? put_field(at, letter_of(column)) : at;
        at = put_cell(at, {text + cells[i].begin, cells[i].size}, cells[i].state);
        at = put_blanks(at, column.unit.empty() ? 0 : 1);
        at = dri_copy_text(at, column.unit);
        blanks = GAP;
    }
    return at;
}

void dr_table_lines_c::send_row(const dr_table_layout_c& layout, int indent,
                                std::span<const dr_table_cell_s> cells, const char* text,
                                size_t text_size) {
    char* at = begin_line(indent, layout.line_room() + text_size);
    size_t blanks = 0;
    size_t left_out = 0;
    const dr_table_column_s* const columns = layout.columns().data();
    const size_t count = layout.columns().size();
    for (size_t i = 0; i < count; ++i) {
        const dr_table_column_s& column = columns[i];
        const bool is_there = i < cells.size() && cells[i].size != 0;
        if (!column.is_shown) {
            left_out += is_there ? 1 : 0;
            continue;
        }
        const size_t width = is_there ? cells[i].width : MISSING.size();
        const size_t rest = column.width - std::min<size_t>(column.width, width);
        if (has_fields_) [[unlikely]] {
            at = put_field(at, letter_of(column));
        }
        at = put_blanks(at, blanks + (column.is_right ? rest : 0));
        if (is_there) {
            at = put_cell(at, {text + cells[i].begin, cells[i].size}, cells[i].state);
        } else {
            at = dri_copy_text(at, MISSING);
        }
        blanks = GAP + (column.is_right ? 0 : rest);
    }
    if (left_out > 0) {
        at = put_left_out(put_blanks(at, blanks), layout, cells, text);
        blanks = GAP;
    }
    if (blanks > 0) {
        end_line(at);
    }
}
