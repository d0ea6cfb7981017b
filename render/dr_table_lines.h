// SPDX-License-Identifier: BSD-2-Clause

// dr_table_lines_c: the lines of a table on their way to the output.
//
//     row -> layout settled, nothing held -> formatted and sent
//         -> else                         -> held, as cells
//
//     held:  header  row  row  (open row)  header  row  row ...
//
//  1. Lines go out in the order in which they were added.
//  2. Lines are held until the widths of their columns are settled, which is when so much is held
//     as a screen shows, and at the end. From then on they go out as they come.
//  3. An open row is one whose cells are not all known while lines below it are: it holds back what
//     comes behind it until it is filled.
//  4. No more than HELD_LINES lines, HELD_CELLS cells or about HELD_TEXT bytes are held; it is the
//     walker's to see to that, by is_full.
//  5. The only control characters that go out are line feeds and, in colours, the sequences
//     ESC [ 0 m, ESC [ 1 m, ESC [ 3 1 m, ESC [ 3 2 m and ESC [ 3 3 m. For programs there is a
//     byte US in front of each field, and a letter that says what it is.
//
// Belongs to one walker.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "render/dr_output.h"
#include "render/dr_table_layout.h"

// The cells of one row and their texts, which are padded.
class dr_table_row_c {
  public:
    // Forgets the cells and keeps the memory.
    void begin(size_t columns) {
        size_ = 0;
        cells_.assign(columns, {});
    }
    // Begins with what another row has.
    void begin_as(const dr_table_row_c& other, size_t columns);

    const std::vector<dr_table_cell_s>& cells() const { return cells_; }
    dr_table_cell_s& cell(size_t column) { return cells_[column]; }
    size_t text_size() const { return size_; }
    const char* text() const { return text_.get(); }
    // Where up to `size` bytes of a cell's text go.
    char* room(size_t size) {
        return size <= capacity_ - size_ ? text_.get() + size_ : enlarge(size);
    }
    // Takes the text from its room to `end`, one byte to a character, as that of an empty cell.
    void take(dr_table_cell_s& cell, const char* end) {
        const auto size = static_cast<uint32_t>(end - (text_.get() + size_));
        cell.begin = static_cast<uint32_t>(size_);
        cell.size = cell.width = size;
        size_ += size;
    }
    // Adds to a cell's text, which becomes the last one.
    void append(dr_table_cell_s& cell, std::string_view text);

  private:
    [[gnu::noinline]] char* enlarge(size_t size);

    std::unique_ptr<char[]> text_; // with room for padding behind its capacity
    size_t size_ = 0;
    size_t capacity_ = 0;
    std::vector<dr_table_cell_s> cells_;
};

class dr_table_lines_c {
  public:
    static constexpr size_t HELD_LINES = 100;
    static constexpr size_t HELD_CELLS = 2000;
    static constexpr size_t HELD_TEXT = 16384;

    dr_table_lines_c(dr_output_c& output, bool has_color, bool has_fields)
        : output_(output), has_color_(has_color), has_fields_(has_fields) {}

    // Adds a line of text that is safe for a terminal; a title is bold.
    void add_text(int indent, std::string_view text);
    void add_title(int indent, std::string_view text);
    // Adds a column's heading, filled up to `width` columns, and what the row's first cell holds.
    void add_pair(int indent, const dr_table_column_s& column, size_t width,
                  const dr_table_row_c& row);
    void add_header(dr_table_layout_c& layout, int indent);
    void add_row(dr_table_layout_c& layout, int indent, const dr_table_row_c& row);
    // Adds an open row. Its number for fill_row.
    size_t add_open_row(dr_table_layout_c& layout, int indent);
    void fill_row(size_t number, const dr_table_row_c& row);

    bool is_full() const {
        return lines_.size() >= HELD_LINES || cells_.size() >= HELD_CELLS ||
               text_.size() >= HELD_TEXT;
    }
    // Settles the widths of everything that is held.
    void settle();
    // Sends what is held, up to the first open row.
    void send_held();

  private:
    enum class kind_e : uint8_t { TEXT, HEADER, ROW, OPEN_ROW };
    struct line_s {
        kind_e kind = kind_e::TEXT;
        int indent = 0;
        dr_table_layout_c* layout = nullptr; // of a header or row
        size_t begin = 0;                    // the first cell, or byte of text
        size_t size = 0;                     // cells or bytes
    };

    bool goes_through(const dr_table_layout_c& layout) const {
        return lines_.empty() && layout.is_settled();
    }
    void hold(kind_e kind, int indent, dr_table_layout_c* layout);
    void hold_cells(line_s& line, const dr_table_row_c& row);
    void send_if_settled();
    void send_line(const line_s& line);
    void drop(size_t count);

    char* begin_line(int indent, size_t room);
    void send_text(int indent, std::string_view text);
    void send_header(const dr_table_layout_c& layout, int indent);
    void send_row(const dr_table_layout_c& layout, int indent,
                  std::span<const dr_table_cell_s> cells, const char* text,
                  size_t text_size);
    char* put_left_out(char* at, const dr_table_layout_c& layout,
                       std::span<const dr_table_cell_s> cells, const char* text) const;
    char* put_cell(char* at, std::string_view text, dr_state_e state) const;
    std::string field(char letter) const;
    void end_line(char* end);

    dr_output_c& output_;
    const bool has_color_;
    const bool has_fields_;

    // What is held.
    std::vector<line_s> lines_;
    std::vector<dr_table_cell_s> cells_;
    std::string text_;
    size_t first_ = 0; // the number of the first line
    size_t open_ = 0;  // rows

    std::unique_ptr<char[]> line_; // the one that is being formatted
    size_t line_size_ = 0;
};
